#include "audio/sound_timeline.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "media/frame_duration.h"
#include "xvwriter/media.h"

namespace xv {
namespace {

constexpr double kMeanOver = kTimeUnitsPerSecond;
constexpr double kStayingPart = 0.25;  // of the tolerance

// The value between both that is nearest to zero.
double Nearest(double a, double b) {
  if (a * b <= 0) return 0;
  return std::fabs(a) < std::fabs(b) ? a : b;
}

}  // namespace

void SoundTimeline::Start(std::int64_t tolerance) {
  *this = {};
  tolerance_ = static_cast<double>(tolerance);
}

// What the samples must move by: positive ones are late and lose as much.
double SoundTimeline::Needed(double off, double length) {
  const double missed = std::exchange(missed_, 0.0);
  const bool hole = missed > 0 && off - mean_ < -missed / 2;
  const double rest = hole ? off + missed : off;
  mean_ += std::min(1.0, length / kMeanOver) * (rest - mean_);
  double move = 0;
  if (std::fabs(rest) > tolerance_) {
    move = rest;
  } else if (std::fabs(mean_) > kStayingPart * tolerance_) {
    move = mean_;
  }
  if (move != 0) mean_ = 0;
  return hole ? move - missed : move;
}

SoundTimeline::Correction SoundTimeline::Place(std::int64_t start, std::int64_t stop,
                                               std::int64_t samples, int rate) {
  Correction correction;
  const double length = static_cast<double>(samples) * kTimeUnitsPerSecond / rate;
  const auto from = static_cast<double>(start);
  const auto to = static_cast<double>(stop);
  if (tolerance_ > 0) {
    const double move = Needed(Nearest(end_ - from, end_ + length - to), length);
    const std::int64_t count = RoundAwayFromZero(move * rate / kTimeUnitsPerSecond);
    correction = {std::max<std::int64_t>(-count, 0), std::clamp<std::int64_t>(count, 0, samples)};
  }
  Follow(samples + correction.silence - correction.cut, rate);
  return correction;
}

void SoundTimeline::Follow(std::int64_t samples, int rate) {
  end_ += static_cast<double>(samples) * kTimeUnitsPerSecond / rate;
}

void SoundTimeline::Miss(std::int64_t start, std::int64_t stop) {
  missed_ += std::max(0.0, static_cast<double>(stop) - static_cast<double>(start));
}

}  // namespace xv
