#include "writer/time_corrector.h"

#include <gtest/gtest.h>

#include <cstring>

namespace xv {
namespace {

constexpr std::int64_t kMillisecond = 10000;

struct Line {
  explicit Line(double rate) { props.vid.dblRate = rate; }

  XV_TIME Next(const XV_TIME* time) { return corrector.Correct(props, time, 100000, &reason); }
  XV_TIME Next(std::int64_t start, std::int64_t stop, std::uint32_t flags = 0) {
    XV_TIME time{};
    time.rtStart = start;
    time.rtStop = stop;
    time.eFlags = flags;
    time.tcFrame.nHour = 7;
    return Next(&time);
  }

  XvTimeCorrector corrector;
  XV_AV_PROPS props{};
  int reason = -1;
};

TEST(TimeCorrector, FirstFrameStartsAtZero) {
  Line line(25);
  const XV_TIME first = line.Next(5'000'000, 5'400'000, eXvTF_Cleared | eXvTF_End | eXvTF_Gap);
  EXPECT_EQ(first.rtStart, 0);
  EXPECT_EQ(first.rtStop, 400000);
  EXPECT_EQ(first.eFlags, eXvTF_Break | eXvTF_Gap);
  EXPECT_EQ(first.tcFrame.nHour, 7u);
  EXPECT_EQ(line.reason, kTimeFirst);
  const XV_TIME second = line.Next(5'400'000, 5'800'000);
  EXPECT_EQ(second.rtStart, 400000);
  EXPECT_EQ(second.eFlags, 0u);
  EXPECT_EQ(line.reason, kTimeKept);
  line.corrector.Reset();
  EXPECT_EQ(line.Next(9'000'000, 0).rtStart, 0);
}

TEST(TimeCorrector, JumpBeyondTheToleranceContinuesTheLine) {
  Line line(25);
  line.Next(0, 400000, eXvTF_Gap);
  XV_TIME time = line.Next(400000 + 9 * kMillisecond, 800000 + 9 * kMillisecond);
  EXPECT_EQ(time.rtStart, 400000 + 9 * kMillisecond);
  EXPECT_EQ(time.eFlags & eXvTF_Jump, 0u);
  time = line.Next(800000 + 20 * kMillisecond, 1200000 + 20 * kMillisecond);
  EXPECT_EQ(line.reason, kTimeJump);
  EXPECT_EQ(time.rtStart, 800000 + 9 * kMillisecond);
  EXPECT_EQ(time.rtStop, 1200000 + 9 * kMillisecond);
  EXPECT_EQ(time.eFlags, eXvTF_Jump);
  // Back in time by an hour, and without looking for jumps.
  time = line.Next(-36'000'000'000, -36'000'000'000 + 400000);
  EXPECT_EQ(line.reason, kTimeJump);
  EXPECT_EQ(time.rtStart, 1200000 + 9 * kMillisecond);
  XV_TIME far{};
  far.rtStart = 50'000'000;
  EXPECT_EQ(line.corrector.Correct(line.props, &far, 0, &line.reason).rtStart,
            50'000'000 + 36'000'000'000 + 1200000 + 9 * kMillisecond);
  EXPECT_EQ(line.reason, kTimeKept);
}

TEST(TimeCorrector, ToleranceIsTenMillisecondsAtLeast) {
  Line line(120);
  line.Next(0, 83333);
  EXPECT_EQ(line.Next(83333 + 6 * kMillisecond, 0).rtStart, 83333 + 6 * kMillisecond);
  EXPECT_EQ(line.reason, kTimeKept);
}

TEST(TimeCorrector, MarksOfTheSource) {
  Line line(25);
  line.Next(0, 400000, eXvTF_Gap);
  XV_TIME time = line.Next(7'000'000, 7'400'000, eXvTF_Break);
  EXPECT_EQ(line.reason, kTimeBreak);
  EXPECT_EQ(time.rtStart, 400000);
  EXPECT_EQ(time.eFlags, eXvTF_Jump);
  time = line.Next(1'000'000, 1'400'000, eXvTF_Rebase);
  EXPECT_EQ(line.reason, kTimeRebase);
  EXPECT_EQ(time.rtStart, 800000);
  EXPECT_EQ(time.eFlags, eXvTF_Rebase);
  time = line.Next(1'400'000, 1'800'000, eXvTF_EndMark);
  EXPECT_EQ(line.reason, kTimeBreak);
  EXPECT_EQ(time.eFlags, eXvTF_EndMark | eXvTF_Jump);
  time = line.Next(9'000'000, 9'400'000, eXvTF_Gap);
  EXPECT_EQ(line.reason, kTimeJump);
  EXPECT_EQ(time.eFlags, eXvTF_Gap);
  time = line.Next(9'400'000, 9'800'000, eXvTF_Jump);
  EXPECT_EQ(line.reason, kTimeKept);
  EXPECT_EQ(time.eFlags, eXvTF_Jump);
}

TEST(TimeCorrector, FramesWithoutATime) {
  Line line(0);
  XV_TIME time = line.Next(nullptr);
  EXPECT_EQ(line.reason, kTimeKept);
  EXPECT_EQ(time.eFlags, eXvTF_Break);
  EXPECT_EQ(time.rtStart, 0);
  EXPECT_EQ(time.rtStop, 400000);
  EXPECT_EQ(line.Next(0, 0).rtStart, 400000);
  EXPECT_EQ(line.Next(kNoTime, kNoTime).rtStart, 800000);
  // The first real time joins the line where it is.
  time = line.Next(77'000'000, 77'001'000);
  EXPECT_EQ(line.reason, kTimeFirst);
  EXPECT_EQ(time.rtStart, 1200000);
  EXPECT_EQ(time.rtStop, 1600000);
  EXPECT_EQ(line.Next(77'400'000, 77'400'000).rtStop, 2000000);
  EXPECT_EQ(Line(256).Next(nullptr).rtStop, 39063) << "half a unit goes up";
}

TEST(TimeCorrector, FractionCountsWhenTheLineContinues) {
  Line line(30000.0 / 1001);
  for (int i = 0; i < 2; ++i) line.Next(nullptr);
  // Expected at 667333.33: the offset is truncated toward zero on either side of it.
  const XV_TIME time = line.Next(10'000'000, 0, eXvTF_Break);
  EXPECT_EQ(time.rtStart, 667334);
  line.corrector.Reset();
  for (int i = 0; i < 2; ++i) line.Next(nullptr);
  EXPECT_EQ(line.Next(-10'000'000, 0, eXvTF_Break).rtStart, 667333);
}

// frame n of a line without times starts at n * num / den * 1e7, rounded, after a month as well.
void ExpectNoDriftOverAMonth(int num, int den) {
#if defined(XV_SANITIZED)
  constexpr std::int64_t kDays = 1;  // the arithmetic is the same, the run many times longer
#else
  constexpr std::int64_t kDays = 30;
#endif
  Line line(static_cast<double>(num) / den);
  const std::int64_t frames = kDays * 24 * 3600 * num / den;
  std::int64_t wrong = 0;
  std::int64_t stop = 0;
  for (std::int64_t n = 0; n < frames; ++n) {
    const XV_TIME time = line.Next(nullptr);
    const std::int64_t exact = n * den * 10'000'000 * 2 + num;
    wrong += time.rtStart != exact / (2 * num) || time.rtStart < stop;
    stop = time.rtStop;
  }
  EXPECT_EQ(wrong, 0);
}

TEST(TimeCorrector, MonthDoesNotDrift) {
  ExpectNoDriftOverAMonth(30000, 1001);
  ExpectNoDriftOverAMonth(60000, 1001);
}

TEST(TimeCorrector, TimesAtTheEndOfTheRangeStayDefined) {
  Line line(1e-300);
  line.Next(INT64_MAX, INT64_MIN + 1);
  line.Next(INT64_MIN + 1, INT64_MAX);
  line.Next(nullptr);
  line.Next(1, INT64_MAX, eXvTF_Break);
  const XV_TIME time = line.Next(nullptr);
  EXPECT_GE(time.rtStop, time.rtStart);
}

}  // namespace
}  // namespace xv
