#pragma once

#include <string>
#include <string_view>

#include "contracts/av_handles.h"
#include "tree/node.h"

// Names that options had in earlier versions of FFmpeg. Lists and hosts still have them; they work
// wherever the option is there under its present name.
namespace xv {

// The present name of an option; "" where `name` is no former one.
std::string_view PresentNameOf(std::string_view name);

// Gives entries with former names the present ones, where `object` (an encoder's or a muxer's
// context) knows those alone and `options` has no entry for them yet.
void RenameFormerOptions(AvDictionary& options, void* object);

// The name under which `node` sets the option that FFmpeg calls `key`; "" where it does not.
std::string NameInNode(const XMLParse::CoXMLNode& node, const std::string& key);

}  // namespace xv
