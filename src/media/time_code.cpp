#include "media/time_code.h"

#include <fmt/format.h>

#include <cmath>

#include "media/frame_duration.h"

namespace xv {
namespace {

std::uint32_t BaseFlag(std::int64_t base) {
  if (base == 24) return eTC_Base24;
  if (base == 25) return eTC_Base25;
  return base == 30 ? std::uint32_t{eTC_Base30} : 0;
}

// Remainder that is never negative.
std::int64_t Modulo(std::int64_t value, std::int64_t by) { return (value % by + by) % by; }

void SetFields(std::int64_t seconds, std::int64_t frames, XV_TIMECODE* code) {
  code->nHour = static_cast<std::uint32_t>(seconds / 3600);
  code->nMinute = static_cast<std::uint32_t>(Modulo(seconds, 3600) / 60);
  code->nSecond = static_cast<std::uint32_t>(Modulo(seconds, 60));
  code->nFrame = static_cast<std::uint32_t>(frames);
}

// Ten minutes hold 18 counts fewer; their first minute is whole, the nine others lack two.
void SetDropFields(std::int64_t frame, std::int64_t base, XV_TIMECODE* code) {
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

XV_TIMECODE TimeCodeFromFrames(std::int64_t frame, double rate, bool dropAllowed) {
  constexpr std::int64_t kHighestSingle = 45;
  XV_TIMECODE code{};
  std::int64_t base = RoundAwayFromZero(rate);
  const bool fractional = static_cast<double>(base) - rate >= 0.005;
  const bool drop = dropAllowed && (base == 30 || base == 60) && fractional;
  if (base > kHighestSingle) {
    code.eTcFlags |= frame % 2 != 0 ? eTC_OddFrame : eTC_EvenFrame;
    base /= 2;
    frame /= 2;
  }
  code.eTcFlags |= BaseFlag(base);
  if (base <= 0) base = 30;
  if (drop) {
    code.eTcFlags |= eXvTC_DropFrame;
    SetDropFields(frame, base, &code);
  } else {
    SetFields(frame / base, Modulo(frame, base), &code);
  }
  return code;
}

XV_TIMECODE TimeCodeFromTime(std::int64_t time, std::int64_t duration, bool dropAllowed) {
  constexpr double kDefaultDuration = 333667;
  constexpr double kEarly = 20000;  // absorbs the rounding of host times
  if (time < 0) {
    XV_TIMECODE invalid{};
    invalid.eTcFlags = eTC_Invalid;
    return invalid;
  }
  const double exact =
      SnapDuration(duration < 1 ? kDefaultDuration : static_cast<double>(duration));
  const std::int64_t frame =
      RoundAwayFromZero(std::floor((static_cast<double>(time) + kEarly) / exact));
  return TimeCodeFromFrames(frame, 1e7 / exact, dropAllowed);
}

std::string RenderTimeCode(const XV_TIMECODE& code) {
  const char separator = (code.eTcFlags & eXvTC_DropFrame) != 0 ? ';' : ':';
  return fmt::format("{:02}:{:02}:{:02}{}{:02}", code.nHour, code.nMinute, code.nSecond, separator,
                     code.nFrame);
}

}  // namespace xv
