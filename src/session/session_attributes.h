#pragma once

#include <span>

#include "props/attribute_spec.h"

namespace xv {

// What the encoder session itself reads of the session node and its children.
std::span<const AttributeSpec> SessionAttributes();

// Names that a muxer is never given.
std::span<const char* const> MuxerLeaveOut();

}  // namespace xv
