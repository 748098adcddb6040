#pragma once

#include <span>

#include "contracts/av_handles.h"
#include "tree/node.h"

namespace xv {

// Puts the attributes of `node` into `target`, in order, but those of `ours` that FFmpeg does not
// get. `flags` are av_dict_set's.
void DictForFFmpeg(const XMLParse::CoXMLNode& node, std::span<const AttributeRow> ours,
                   AvDictionary& target, int flags);

// The user's "flags" add to those that the context has: a text without a sign would replace them.
void KeepFlagsOfContext(AvDictionary& options);

}  // namespace xv
