#pragma once

#include <span>

#include "contracts/av_handles.h"
#include "tree/node.h"

namespace xv {

// Puts attributes of `node` into `target`: those of `include` where it is given, else all, in
// order, less those of `exclude` (any case). `flags` are av_dict_set's. Gives how many were set.
int DictFromNode(const XMLParse::CoXMLNode& node, AvDictionary& target,
                 std::span<const char* const> include, std::span<const char* const> exclude,
                 int flags);

}  // namespace xv
