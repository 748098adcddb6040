#include "writer/time_corrector.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "media/frame_duration.h"

namespace xv {
namespace {

constexpr double kLeastTolerance = 100'000;  // 10 ms
constexpr double kMostLead = 100'000;
constexpr double kMeanWeight = 0.125;
constexpr double kMostTrembling = 150'000;
constexpr std::uint32_t kMarks = eXvTF_Break | eXvTF_Cleared | eXvTF_End;

// Sums of a host's times may leave 64 bits; then the limit stands.
std::int64_t Add(std::int64_t a, std::int64_t b) {
  std::int64_t sum = 0;
  if (!__builtin_add_overflow(a, b, &sum)) return sum;
  return a < 0 ? std::numeric_limits<std::int64_t>::min()
               : std::numeric_limits<std::int64_t>::max();
}

std::int64_t Subtract(std::int64_t a, std::int64_t b) {
  std::int64_t difference = 0;
  if (!__builtin_sub_overflow(a, b, &difference)) return difference;
  return a < 0 ? std::numeric_limits<std::int64_t>::min()
               : std::numeric_limits<std::int64_t>::max();
}

std::uint32_t FlagsOf(std::uint32_t source, std::uint32_t flags, int reason) {
  if ((source & eXvTF_EndMark) == eXvTF_EndMark) flags |= eXvTF_EndMark;
  if ((source & eXvTF_Rebase) != 0) flags |= eXvTF_Rebase;
  if (reason == kTimeFirst) return (flags & ~kMarks) | eXvTF_Break;
  if ((source & eXvTF_Gap) != 0) return flags | eXvTF_Gap;
  const bool jumped = reason == kTimeBreak || reason == kTimeJump;
  return (source & eXvTF_Jump) != 0 || jumped ? flags | eXvTF_Jump : flags;
}

bool HasStop(const XV_TIME& time) {
  constexpr std::int64_t kShortest = 1000;  // a stop that is not above this counts as absent
  return Subtract(time.rtStop, time.rtStart) > kShortest;
}

}  // namespace

void XvTimeCorrector::Reset() { *this = {}; }

// A gap that sound fills, in frames of its own up to here or in this one, is the source's own.
XvTimeCorrector::Expected XvTimeCorrector::ExpectPicture(const XV_TIME& time, double step,
                                                         const FrameContent& content) const {
  const std::int64_t length =
      HasStop(time) ? Subtract(time.rtStop, time.rtStart) : RoundAwayFromZero(step);
  const std::int64_t surplus = Subtract(content.sound, length);
  Expected expected{nextStart_, nextStart_, nextStart_, step};
  if (soundStop_ != kNoTime) expected.last = std::max(expected.last, soundStop_);
  if (surplus > length / 2) expected.last = std::max(expected.last, Add(nextStart_, surplus));
  return expected;
}

// Frames of sound alone may run ahead of the pictures or behind them.
XvTimeCorrector::Expected XvTimeCorrector::ExpectSound(double step) const {
  const std::int64_t stop = soundStop_ == kNoTime ? nextStart_ : soundStop_;
  return {std::min(stop, nextStart_), std::max(stop, nextStart_), stop, step, true};
}

// How far a frame is from its place on the line that the stamps tremble around.
double XvTimeCorrector::OffBy(std::int64_t start, const Expected& expected) const {
  const std::int64_t place = std::clamp(start, expected.first, expected.last);
  const double fraction = place == nextStart_ ? nextFraction_ : 0.0;
  const double off = static_cast<double>(Subtract(start, place)) - fraction;
  return start > expected.first && start <= expected.last ? 0.0 : off + lead_;
}

// A whole frame is never within the tolerance, unless frames are shorter than 20 ms or stamps
// tremble. Behind a gap that sound fills, the sound's own trembling comes on top.
bool XvTimeCorrector::IsJump(const XV_TIME& time, const Expected& expected,
                             std::int64_t tolerance) const {
  if ((time.eFlags & eXvTF_Break) != 0 || offset_ == kNoTime || tolerance < 1) return false;
  const auto widest = static_cast<double>(tolerance);
  const double half = std::max(kLeastTolerance, expected.step / 2);
  const bool trembles = trembling_ > kLeastTolerance / 4;
  const double most = trembles || expected.sound ? widest : std::min(widest, half);
  const std::int64_t start = Add(time.rtStart, offset_);
  const bool behindGap = expected.last > expected.first && start > expected.last;
  return std::fabs(OffBy(start, expected)) > (behindGap ? 2 * most : most);
}

// The offset that puts a frame to where the last one ended. Times that tremble keep their phase: a
// jump by whole frames, but for the trembling, is closed by whole frames, so that lost frames never
// add up to a drift.
std::int64_t XvTimeCorrector::OffsetTo(const Expected& expected, std::int64_t start,
                                       int reason) const {
  const std::int64_t whole = Subtract(expected.anchor, start);
  if (reason != kTimeJump) return whole;
  const double move = static_cast<double>(Subtract(whole, offset_)) - lead_;
  const double frames = std::round(move / expected.step) * expected.step;
  const bool phaseKept =
      frames != 0 && std::fabs(move - frames) <= std::min(3 * trembling_, kMostTrembling);
  return phaseKept ? Add(offset_, RoundAwayFromZero(frames)) : whole;
}

// Takes a new offset where the frame asks for one; the frame then starts where the last one ended.
int XvTimeCorrector::Rebase(const XV_TIME& time, const Expected& expected, std::int64_t tolerance) {
  const bool jump = IsJump(time, expected, tolerance);
  int reason = kTimeKept;
  if (offset_ == kNoTime) {
    reason = kTimeFirst;
  } else if ((time.eFlags & eXvTF_Break) != 0) {
    reason = kTimeBreak;
  } else if ((time.eFlags & eXvTF_Rebase) != 0) {
    reason = kTimeRebase;
  } else if (jump) {
    reason = kTimeJump;
  }
  if (reason == kTimeKept) return reason;
  offset_ = OffsetTo(expected, time.rtStart, reason);
  // Truncated toward zero: below zero the fraction counts.
  if (expected.anchor == nextStart_ && offset_ < 0 && nextFraction_ > 0) ++offset_;
  return reason;
}

// What a picture that starts at `start` tells about the trembling: how far it is from the mean,
// whole frames that are missing left out.
void XvTimeCorrector::Learn(std::int64_t start, double step, std::int64_t tolerance) {
  const double off = static_cast<double>(Subtract(start, nextStart_)) - nextFraction_ + lead_;
  const bool gap = std::fabs(off) > static_cast<double>(tolerance);
  const double rest = gap ? off - std::round(off / step) * step : off;
  if (std::fabs(rest) > static_cast<double>(tolerance)) return;
  trembling_ += kMeanWeight * (std::fabs(rest) - trembling_);
  lead_ = std::clamp(rest * (1 - kMeanWeight), -kMostLead, kMostLead);
}

void XvTimeCorrector::PlaceTimed(const XV_TIME& time, double step, XV_TIME* out) const {
  out->rtStart = Add(time.rtStart, offset_);
  out->rtStop =
      HasStop(time) ? Add(time.rtStop, offset_) : Add(out->rtStart, RoundAwayFromZero(step));
}

void XvTimeCorrector::PlaceUntimed(double step, XV_TIME* out) {
  const auto rounded = [this] {
    const bool up = nextFraction_ > 0.5 || (nextFraction_ == 0.5 && nextStart_ >= 0);
    return up ? Add(nextStart_, 1) : nextStart_;
  };
  out->rtStart = rounded();
  const double whole = std::floor(step);
  nextStart_ = Add(nextStart_, RoundAwayFromZero(whole));
  nextFraction_ += step - whole;
  if (nextFraction_ >= 1.0) {
    nextStart_ = Add(nextStart_, 1);
    nextFraction_ -= 1.0;
  }
  out->rtStop = rounded();
}

int XvTimeCorrector::CorrectPicture(const XV_TIME* time, double step, std::int64_t tolerance,
                                    const FrameContent& content, XV_TIME* out) {
  int reason = kTimeKept;
  if (HasTime(time)) {
    const Expected expected = ExpectPicture(*time, step, content);
    reason = Rebase(*time, expected, tolerance);
    PlaceTimed(*time, step, out);
    Learn(out->rtStart, step, tolerance);
    nextStart_ = out->rtStop;
    nextFraction_ = 0.0;
  } else {
    PlaceUntimed(step, out);
  }
  if (content.sound > 0) soundStop_ = out->rtStop;
  return reason;
}

// Without a time sound goes on behind the last one. Only sound that is a second off tells of
// another time of the source; nearer sound is the audio stage's to place.
int XvTimeCorrector::CorrectSound(const XV_TIME* time, std::int64_t tolerance,
                                  const FrameContent& content, XV_TIME* out) {
  const auto length = static_cast<double>(content.sound);
  const Expected expected = ExpectSound(length);
  int reason = kTimeKept;
  if (HasTime(time)) {
    reason = Rebase(*time, expected, tolerance < 1 ? tolerance : kTimeUnitsPerSecond);
    PlaceTimed(*time, length, out);
  } else {
    out->rtStart = expected.anchor;
    out->rtStop = Add(out->rtStart, content.sound);
  }
  soundStop_ = out->rtStop;
  return reason;
}

XV_TIME XvTimeCorrector::Correct(const XV_AV_PROPS& props, const XV_TIME* time,
                                 std::int64_t tolerance, int* reason, const FrameContent& content) {
  XV_TIME out = time == nullptr ? XV_TIME{} : *time;
  const std::uint32_t source = out.eFlags;
  const bool first = offset_ == kNoTime;
  if (!begun_) picturesAreTheClock_ = content.picture;
  begun_ = true;
  const bool soundAlone = !content.picture && content.sound > 0;
  int why = kTimeKept;
  if (soundAlone && picturesAreTheClock_) {
    why = CorrectSound(time, tolerance, content, &out);
  } else {
    const double step =
        soundAlone ? static_cast<double>(content.sound) : FrameDurationOrDefault(props.vid.dblRate);
    why = CorrectPicture(time, step, tolerance, content, &out);
  }
  const std::uint32_t kept =
      first ? (source & ~kMarks) | eXvTF_Break : source & ~std::uint32_t{eXvTF_Break};
  out.eFlags = FlagsOf(source, kept, why);
  if (reason != nullptr) *reason = why;
  return out;
}

}  // namespace xv
