#pragma once

#include <cstdint>

#include "xvwriter/media.h"

namespace xv {

// The duration used where a rate is not known: 25 frames per second, in 100 ns.
inline constexpr std::int64_t kDefaultFrameDuration = 400000;

// To a whole count, half away from zero. Values outside the range of the type give its limits, NaN
// gives 0.
std::int64_t RoundAwayFromZero(double value);

// In 100 ns.
std::int64_t UnitsFromMilliseconds(double milliseconds);

// A duration near that of a broadcast rate (24, 25, 30, 50, 60 and their 1000/1001 forms) becomes
// exactly that rate's, others stay; in 100 ns, with its fraction. What a host has rounded would be
// off by a frame within the hour.
double SnapDuration(double duration);

// Duration of one frame in 100 ns, snapped. 0 for a rate of 0 or less.
double FrameDuration(double rate);

// The host says something about the frame's time. Null has none.
bool HasTime(const XV_TIME* time);

// FrameDuration, or kDefaultFrameDuration where that is 0.
double FrameDurationOrDefault(double rate);

}  // namespace xv
