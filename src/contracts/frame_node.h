#pragma once

#include "tree/node.h"
#include "xvwriter/frames.h"

namespace xv {

// The frame's own attributes, or null. A node that a host implements itself is read through its
// interface into a copy.
XMLParse::XMLNodePtr NodeOfFrame(IUnknown* frame);

}  // namespace xv
