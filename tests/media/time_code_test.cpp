#include "media/time_code.h"

#include <gtest/gtest.h>

#include <tuple>

namespace xv {
namespace {

// Counts as a clock on the wall does: one address after the other, each `repeat` frames long, with
// counts 0 and 1 left out at the start of a minute that is no multiple of ten.
struct Counter {
  unsigned base;
  bool drop;
  unsigned repeat;
  unsigned hour = 0, minute = 0, second = 0, frame = 0, shown = 0;

  void Next() {
    if (++shown < repeat) return;
    shown = 0;
    if (++frame < base) return;
    frame = 0;
    if (++second < 60) return;
    second = 0;
    if (++minute == 60) {
      minute = 0;
      ++hour;
    }
    if (drop && minute % 10 != 0) frame = 2;
  }
};

struct Rate {
  int num, den;
  unsigned base;
  bool drop;
  unsigned repeat;
  std::uint32_t flags;
};
constexpr Rate kRates[] = {
    {24000, 1001, 24, false, 1, eTC_Base24},
    {24, 1, 24, false, 1, eTC_Base24},
    {25, 1, 25, false, 1, eTC_Base25},
    {30000, 1001, 30, true, 1, eTC_Base30 | eXvTC_DropFrame},
    {30, 1, 30, false, 1, eTC_Base30},
    {50, 1, 25, false, 2, eTC_Base25},
    {60000, 1001, 30, true, 2, eTC_Base30 | eXvTC_DropFrame},
    {60, 1, 30, false, 2, eTC_Base30},
};

// Every frame of a day, at the time that a host gives it: rounded to 100 ns, or to 1 ms.
TEST(TimeCode, DayAgreesWithAnIndependentCounter) {
#if defined(XV_SANITIZED)
  constexpr int kHours = 2;
#else
  constexpr int kHours = 24;
#endif
  for (const Rate& rate : kRates) {
    const std::int64_t duration = (10'000'000LL * rate.den + rate.num / 2) / rate.num;
    const std::int64_t frames = std::int64_t{kHours} * 3600 * rate.num / rate.den;
    Counter counter{rate.base, rate.drop, rate.repeat};
    std::int64_t wrong = 0;
    for (std::int64_t n = 0; n < frames; ++n, counter.Next()) {
      const std::int64_t exact = (n * 10'000'000 * rate.den + rate.num / 2) / rate.num;
      const std::int64_t time = n % 2 == 0 ? exact : (exact + 5000) / 10000 * 10000;
      const XV_TIMECODE code = TimeCodeFromTime(time, duration, true);
      const std::uint32_t parity =
          rate.repeat == 1 ? 0 : (n % 2 == 0 ? eTC_EvenFrame : eTC_OddFrame) + 0u;
      wrong += std::tie(code.nHour, code.nMinute, code.nSecond, code.nFrame) !=
                   std::tie(counter.hour, counter.minute, counter.second, counter.frame) ||
               code.eTcFlags != (rate.flags | parity);
    }
    EXPECT_EQ(wrong, 0) << rate.num << "/" << rate.den;
  }
}

TEST(TimeCode, KnownAddresses) {
  const auto at = [](std::int64_t frame, double rate, bool drop = true) {
    return RenderTimeCode(TimeCodeFromFrames(frame, rate, drop));
  };
  EXPECT_EQ(at(1800, 29.97), "00:01:00;02");
  EXPECT_EQ(at(1800, 29.97, false), "00:01:00:00");
  EXPECT_EQ(at(1800, 29.996), "00:01:00:00");
  EXPECT_EQ(at(30, 0), "00:00:01:00");
  EXPECT_EQ(at(100LL * 3600 * 25, 25), "100:00:00:00");
  EXPECT_EQ(TimeCodeFromTime(-1, 400000, true).eTcFlags, eTC_Invalid);
  EXPECT_EQ(TimeCodeFromTime(0, 0, true).eTcFlags, eXvTC_DropFrame | eTC_Base30);
  // 2 ms ahead of a frame is that frame, more is the one before.
  EXPECT_EQ(TimeCodeFromTime(380000, 400000, true).nFrame, 1u);
  EXPECT_EQ(TimeCodeFromTime(379999, 400000, true).nFrame, 0u);
  EXPECT_EQ(TimeCodeFromTime(INT64_MAX, 1, true).eTcFlags & eTC_Invalid, 0u);
  EXPECT_EQ(TimeCodeFromTime(INT64_MAX, INT64_MAX, true).nHour, 0u);
}

}  // namespace
}  // namespace xv
