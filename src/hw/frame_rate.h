#pragma once

#include <cstdint>

namespace xv {

struct HwRate {
  std::uint32_t numerator = 0;    // pictures
  std::uint32_t denominator = 1;  // seconds
};

// A rate as the NVIDIA encoders are told it: a whole number within a thousandth above it, a number
// of 1001sts likewise, else thousandths cut off, so that 29.97 is 29970/1000. Not the rule that
// gives time bases (TimeBaseFromRate). 0 for a rate that is not above 0.
HwRate HwFrameRate(double rate);

}  // namespace xv
