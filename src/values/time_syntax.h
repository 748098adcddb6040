#pragma once

#include <string_view>

namespace xv {

// "hh:mm:ss:ff", or ";" or "." ahead of the frames of a drop-frame count; a time within one day and
// below 60 frames.
bool IsTimeCode(std::string_view text);

}  // namespace xv
