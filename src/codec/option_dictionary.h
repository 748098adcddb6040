#pragma once

#include <span>
#include <string>

#include "contracts/av_handles.h"
#include "tree/node.h"

namespace xv {

// True for the name, also a former one, of an option of any muxer, protocol or codec. A dictionary
// of FFmpeg is searched from its front, so that names which nobody can take stay out of it.
bool IsOptionOfFFmpeg(const std::string& name);

// Puts the attributes of `node` into `target`, in order, but those of `ours` that FFmpeg does not
// get and those that are no options of FFmpeg. `flags` are av_dict_set's.
void DictForFFmpeg(const XMLParse::CoXMLNode& node, std::span<const AttributeRow> ours,
                   AvDictionary& target, int flags);

// The user's "flags" add to those that the context has: a text without a sign would replace them.
void KeepFlagsOfContext(AvDictionary& options);

}  // namespace xv
