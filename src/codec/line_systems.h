#pragma once

#include <cmath>

// The two line systems of standard definition (ITU-R BT.601, BT.1700).
namespace xv {

inline constexpr double kRate625 = 25.0;
inline constexpr double kRate525 = 30000.0 / 1001;

// Whether pictures of that rate belong to the 625 lines: film, 25 and 50 a second.
inline bool Is625(double rate) { return rate <= 26.0 || std::fabs(rate - 50.0) < 0.5; }

}  // namespace xv
