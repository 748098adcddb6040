#pragma once

#include <cmath>

namespace xv {

// To the nearest whole number, halves away from zero.
inline int RoundHalfAway(double value) { return static_cast<int>(std::lround(value)); }

}  // namespace xv
