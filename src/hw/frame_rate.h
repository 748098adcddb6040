#pragma once

#include <cstdint>

namespace xv {

struct HwRate {
  std::uint32_t numerator = 0;    // pictures
  std::uint32_t denominator = 1;  // seconds
};

// A rate as the NVIDIA encoders are told it: a whole number within a thousandth above it, a number
// of 1001sts likewise, else thousandths cut off, so that 29.97 is 29970/1000. Not the rule of
// FrameRateToRatio. 0 for a rate that is not above 0.
HwRate HwFrameRate(double rate);

// A rate as time bases and QuickSync have it: the nearest whole number within 0.005, the nearest
// number of 1001sts of a thousand within 0.01, else ten-thousandths cut off: 29.97 is 30000/1001.
// 0 for a rate that is not above 0.
HwRate FrameRateToRatio(double rate);

}  // namespace xv
