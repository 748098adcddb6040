#include "frames/pts_clock.h"

#include <cmath>

#include "xvwriter/results.h"

namespace xv {

std::int64_t AVTimeFromRefTime(std::int64_t time, AVRational timeBase) {
  if (timeBase.num == 0 || timeBase.den == 0)
    return av_rescale(time, 1'000'000, kTimeUnitsPerSecond);
  return av_rescale(time, timeBase.den, std::int64_t{timeBase.num} * kTimeUnitsPerSecond);
}

std::int64_t ComputeFramePts(PtsClock& clock, std::int64_t time, AVRational timeBase,
                             double targetRate, int* status) {
  if (clock.timeBase.num != timeBase.num || clock.timeBase.den != timeBase.den) {
    clock = {AV_NOPTS_VALUE, timeBase};
  }
  if (timeBase.num == 0 || timeBase.den == 0) return E_INVALIDARG;

  std::int64_t pts = AVTimeFromRefTime(time, timeBase);
  int result = 0;
  const bool oneTickAFrame = std::fabs(targetRate - av_q2d(av_inv_q(timeBase))) < 0.01;
  if (clock.lastPts != AV_NOPTS_VALUE && oneTickAFrame) {
    if (pts > clock.lastPts + 1) {
      --pts;
    } else if (pts <= clock.lastPts) {
      ++pts;
    }
    result = static_cast<int>(pts - clock.lastPts - 1);
  }
  clock.lastPts = pts;
  if (status != nullptr) *status = result;
  return pts;
}

}  // namespace xv
