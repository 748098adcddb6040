#include "writer/time_corrector.h"

#include <cmath>
#include <limits>

#include "media/frame_duration.h"

namespace xv {
namespace {

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

// A frame of which the host says nothing about time.
bool HasTime(const XV_TIME* time) {
  if (time == nullptr || time->rtStart == kNoTime) return false;
  return time->rtStart != 0 || time->rtStop != time->rtStart || time->eFlags != 0;
}

std::uint32_t FlagsOf(std::uint32_t source, std::uint32_t flags, int reason) {
  if ((source & eXvTF_EndMark) == eXvTF_EndMark) flags |= eXvTF_EndMark;
  if ((source & eXvTF_Rebase) != 0) flags |= eXvTF_Rebase;
  if (reason == kTimeFirst) return (flags & ~kMarks) | eXvTF_Break;
  if ((source & eXvTF_Gap) != 0) return flags | eXvTF_Gap;
  const bool jumped = reason == kTimeBreak || reason == kTimeJump;
  return (source & eXvTF_Jump) != 0 || jumped ? flags | eXvTF_Jump : flags;
}

}  // namespace

void XvTimeCorrector::Reset() { *this = {}; }

bool XvTimeCorrector::IsJump(const XV_TIME& time, std::int64_t tolerance) const {
  if ((time.eFlags & eXvTF_Break) != 0 || offset_ == kNoTime || tolerance < 1) return false;
  const std::int64_t off = Subtract(Add(time.rtStart, offset_), nextStart_);
  return std::fabs(static_cast<double>(off) - nextFraction_) > static_cast<double>(tolerance);
}

// Takes a new offset where the frame asks for one; the frame then starts where the last one ended.
int XvTimeCorrector::Rebase(const XV_TIME& time, std::int64_t tolerance) {
  const bool jump = IsJump(time, tolerance);
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
  offset_ = Subtract(nextStart_, time.rtStart);
  // Truncated toward zero: below zero the fraction counts.
  if (offset_ < 0 && nextFraction_ > 0) ++offset_;
  return reason;
}

void XvTimeCorrector::PlaceTimed(const XV_TIME& time, double step, XV_TIME* out) {
  constexpr std::int64_t kShortest = 1000;  // a stop that is not above this counts as absent
  out->rtStart = Add(time.rtStart, offset_);
  const bool hasStop = Subtract(time.rtStop, time.rtStart) > kShortest;
  out->rtStop = hasStop ? Add(time.rtStop, offset_) : Add(out->rtStart, RoundAwayFromZero(step));
  nextStart_ = out->rtStop;
  nextFraction_ = 0.0;
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

XV_TIME XvTimeCorrector::Correct(const XV_AV_PROPS& props, const XV_TIME* time,
                                 std::int64_t tolerance, int* reason) {
  XV_TIME out = time == nullptr ? XV_TIME{} : *time;
  const std::uint32_t source = out.eFlags;
  const bool first = offset_ == kNoTime;
  const double step = FrameDurationOrDefault(props.vid.dblRate);
  int why = kTimeKept;
  if (HasTime(time)) {
    why = Rebase(*time, tolerance);
    PlaceTimed(*time, step, &out);
  } else {
    PlaceUntimed(step, &out);
  }
  const std::uint32_t kept =
      first ? (source & ~kMarks) | eXvTF_Break : source & ~std::uint32_t{eXvTF_Break};
  out.eFlags = FlagsOf(source, kept, why);
  if (reason != nullptr) *reason = why;
  return out;
}

}  // namespace xv
