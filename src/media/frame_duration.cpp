#include "media/frame_duration.h"

#include <cmath>
#include <limits>

namespace xv {
namespace {

// Durations in 100 ns whose rounded count lies in [from, below) become `exact`.
struct Snap {
  std::int64_t from;
  std::int64_t below;
  double exact;
};

constexpr Snap kSnaps[] = {
    {166600, 166701, 166666.66666666666},  // 60
    {166800, 166901, 166833.33333333334},  // 60000/1001
    {199950, 200051, 200000.0},            // 50
    {333300, 333401, 333333.3333333333},   // 30
    {333600, 333701, 333666.6666666667},   // 30000/1001
    {399950, 400051, 400000.0},            // 25
    {416600, 416701, 416666.6666666667},   // 24
    {417000, 417201, 417083.3333333333},   // 24000/1001
};

}  // namespace

std::int64_t RoundAwayFromZero(double value) {
  constexpr double kLimit = 9223372036854775808.0;  // 2^63
  if (std::isnan(value)) return 0;
  const double rounded = std::round(value);
  if (rounded >= kLimit) return std::numeric_limits<std::int64_t>::max();
  if (rounded < -kLimit) return std::numeric_limits<std::int64_t>::min();
  return static_cast<std::int64_t>(rounded);
}

std::int64_t UnitsFromMilliseconds(double milliseconds) {
  return RoundAwayFromZero(milliseconds * (kTimeUnitsPerSecond / 1000));
}

double SnapDuration(double duration) {
  const std::int64_t count = RoundAwayFromZero(duration);
  for (const Snap& snap : kSnaps) {
    if (count >= snap.from && count < snap.below) return snap.exact;
  }
  return duration;
}

bool HasTime(const XV_TIME* time) {
  if (time == nullptr || time->rtStart == kNoTime) return false;
  return time->rtStart != 0 || time->rtStop != time->rtStart || time->eFlags != 0;
}

double FrameDuration(double rate) { return rate > 0 ? SnapDuration(1e7 / rate) : 0.0; }

double FrameDurationOrDefault(double rate) {
  const double duration = FrameDuration(rate);
  return duration > 0 ? duration : static_cast<double>(kDefaultFrameDuration);
}

}  // namespace xv
