#include "frames/pts_clock.h"

#include <algorithm>
#include <cmath>

#include "media/frame_duration.h"

namespace xv {
namespace {

constexpr double kTrembling = 0.020;   // seconds
constexpr double kLeastBound = 0.625;  // ticks: what rounds to a neighbour, and a little more
constexpr double kLongPicture = 1.75;  // ticks: from here on the stop says where the next one is
constexpr double kDriftWeight = 0.125;

// Far enough from the ends of 64 bits that ticks may be added and subtracted.
std::int64_t NearestTick(double at) {
  constexpr double kFurthest = 1e18;
  return RoundAwayFromZero(std::clamp(at, -kFurthest, kFurthest));
}

}  // namespace

std::int64_t AVTimeFromRefTime(std::int64_t time, AVRational timeBase) {
  if (timeBase.num == 0 || timeBase.den == 0)
    return av_rescale(time, 1'000'000, kTimeUnitsPerSecond);
  return av_rescale(time, timeBase.den, std::int64_t{timeBase.num} * kTimeUnitsPerSecond);
}

// The tick of a picture that starts at `at` ticks. Pictures that are all off by the same keep their
// ticks; a gap is what one is off beyond that.
std::int64_t PtsClock::Locate(double at) {
  if (next_ == AV_NOPTS_VALUE) return NearestTick(at);
  const double off = at - static_cast<double>(next_) - drift_;
  const bool jumped = std::fabs(off) > std::max(kLeastBound, kTrembling * ticksPerSecond_);
  std::int64_t tick = jumped ? NearestTick(at - drift_) : next_;
  drift_ += kDriftWeight * (at - static_cast<double>(tick) - drift_);
  if (std::fabs(drift_) > kLeastBound) {
    const std::int64_t move = NearestTick(drift_);
    drift_ -= static_cast<double>(move);
    tick += move;
  }
  return tick;
}

void PtsClock::Expect(std::int64_t tick, double start, double stop) {
  next_ = tick + 1;
  if (stop - start >= kLongPicture) next_ = std::max(next_, NearestTick(stop));
}

PtsClock::Place PtsClock::Take(std::int64_t start, std::int64_t stop, AVRational timeBase,
                               double rate) {
  if (timeBase.num == 0 || timeBase.den == 0) return {};
  if (timeBase_.num != timeBase.num || timeBase_.den != timeBase.den) {
    *this = {};
    timeBase_ = timeBase;
    ticksPerSecond_ = av_q2d(av_inv_q(timeBase));
  }
  const auto ticks = [&](std::int64_t time) {
    return static_cast<double>(time) * ticksPerSecond_ / kTimeUnitsPerSecond;
  };
  const bool oneTickAFrame = std::fabs(rate - ticksPerSecond_) < 0.01;
  Place place{AVTimeFromRefTime(start, timeBase)};
  if (oneTickAFrame) {
    place.pts = Locate(ticks(start));
    if (lastPts_ != AV_NOPTS_VALUE) place.missing = place.pts - lastPts_ - 1;
  }
  if (place.missing >= 0) lastPts_ = place.pts;
  Expect(std::max(lastPts_, place.pts), ticks(start), ticks(stop));
  return place;
}

void PtsClock::Pass(std::int64_t start, std::int64_t stop, AVRational timeBase, double rate) {
  const std::int64_t last = lastPts_;
  (void)Take(start, stop, timeBase, rate);
  lastPts_ = last;
}

}  // namespace xv
