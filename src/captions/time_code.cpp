#include "captions/time_code.h"

#include <fmt/format.h>

#include <cmath>

#include "media/frame_duration.h"

namespace xv {
namespace {

// Durations strictly between the limits are those of a rate that 100 ns do not divide, rounded by a
// host: kept as they are they would be off by a frame within the hour.
struct NearDuration {
  std::int64_t above;
  std::int64_t below;
  double exact;
};
constexpr NearDuration kNearDurations[] = {
    {417000, 417200, 417083.3333333333},  {333660, 333670, 333666.6666666667},
    {166830, 166840, 166833.33333333334}, {416660, 416670, 416666.6666666667},
    {333330, 333340, 333333.3333333333},  {166660, 166670, 166666.66666666666},
};

double ExactDuration(std::int64_t duration) {
  for (const NearDuration& near : kNearDurations) {
    if (duration > near.above && duration < near.below) return near.exact;
  }
  return static_cast<double>(duration);
}

std::uint32_t BaseFlag(std::int64_t base) {
  if (base == 24) return eTC_Base24;
  if (base == 25) return eTC_Base25;
  return base == 30 ? std::uint32_t{eTC_Base30} : 0;
}

// Remainder that is never negative.
std::int64_t Modulo(std::int64_t value, std::int64_t by) { return (value % by + by) % by; }

void SetFields(std::int64_t seconds, std::int64_t frames, TimeCode* code) {
  code->hours = static_cast<std::uint32_t>(seconds / 3600);
  code->minutes = static_cast<std::uint32_t>(Modulo(seconds, 3600) / 60);
  code->seconds = static_cast<std::uint32_t>(Modulo(seconds, 60));
  code->frames = static_cast<std::uint32_t>(frames);
}

// Ten minutes hold 18 counts fewer; their first minute is whole, the nine others lack two.
void SetDropFields(std::int64_t frame, std::int64_t base, TimeCode* code) {
  const std::int64_t block = base * 600 - 18;
  const std::int64_t minute = base * 60;
  const std::int64_t tens = frame / block * 600;  // in seconds
  const std::int64_t rest = frame % block;
  if (rest < minute) {
    SetFields(rest / base + tens, rest % base, code);
    return;
  }
  const std::int64_t minutes = (rest - minute) / (minute - 2) + 1;
  const std::int64_t inMinute = (rest - minute) % (minute - 2);
  const std::int64_t start = minutes * 60 + tens;
  if (inMinute < base - 2) {
    SetFields(start, inMinute + 2, code);
    return;
  }
  const std::int64_t behindFirst = inMinute - (base - 2);
  SetFields(start + 1 + behindFirst / base, behindFirst % base, code);
}

}  // namespace

TimeCode TimeCodeFromFrames(std::int64_t frame, double rate, bool dropAllowed) {
  constexpr std::int64_t kHighestSingle = 45;
  TimeCode code;
  std::int64_t base = RoundAwayFromZero(rate);
  const bool fractional = static_cast<double>(base) - rate >= 0.005;
  const bool drop = dropAllowed && (base == 30 || base == 60) && fractional;
  if (base > kHighestSingle) {
    code.flags |= frame % 2 != 0 ? eTC_OddFrame : eTC_EvenFrame;
    base /= 2;
    frame /= 2;
  }
  code.flags |= BaseFlag(base);
  if (base <= 0) base = 30;
  if (drop) {
    code.flags |= eTC_DropFrame;
    SetDropFields(frame, base, &code);
  } else {
    SetFields(frame / base, Modulo(frame, base), &code);
  }
  return code;
}

TimeCode TimeCodeFromTime(std::int64_t time, std::int64_t duration, bool dropAllowed) {
  constexpr std::int64_t kDefaultDuration = 333667;
  constexpr double kEarly = 20000;  // absorbs the rounding of host times
  if (time < 0) {
    TimeCode invalid;
    invalid.flags = eTC_Invalid;
    return invalid;
  }
  const double exact = ExactDuration(duration < 1 ? kDefaultDuration : duration);
  const std::int64_t frame =
      RoundAwayFromZero(std::floor((static_cast<double>(time) + kEarly) / exact));
  return TimeCodeFromFrames(frame, 1e7 / exact, dropAllowed);
}

std::string RenderTimeCode(const TimeCode& code) {
  const char separator = (code.flags & eTC_DropFrame) != 0 ? ';' : ':';
  return fmt::format("{:02}:{:02}:{:02}{}{:02}", code.hours, code.minutes, code.seconds, separator,
                     code.frames);
}

}  // namespace xv
