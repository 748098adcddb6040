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

struct Step {
  std::int64_t start, stop;
  std::uint32_t flags;
  int reason;
  std::int64_t corrected;
  std::uint32_t correctedFlags;
};

void ExpectSteps(const std::vector<Step>& steps) {
  Line line(25);
  for (const Step& step : steps) {
    const XV_TIME time = line.Next(step.start, step.stop, step.flags);
    EXPECT_EQ(line.reason, step.reason) << step.start;
    EXPECT_EQ(time.rtStart, step.corrected) << step.start;
    EXPECT_EQ(time.rtStop - time.rtStart, 400'000) << step.start;
    EXPECT_EQ(time.eFlags, step.correctedFlags) << step.start;
    EXPECT_EQ(time.tcFrame.nHour, 7u);
  }
}

TEST(TimeCorrector, FirstFrameStartsAtZero) {
  ExpectSteps({{5'000'000, 5'400'000, eXvTF_Cleared | eXvTF_End | eXvTF_Gap, kTimeFirst, 0,
                eXvTF_Break | eXvTF_Gap},
               {5'400'000, 5'800'000, 0, kTimeKept, 400'000, 0}});
  Line line(25);
  line.Next(5'000'000, 5'400'000);
  line.corrector.Reset();
  EXPECT_EQ(line.Next(9'000'000, 0).rtStart, 0);
}

TEST(TimeCorrector, JumpBeyondTheToleranceContinuesTheLine) {
  constexpr std::int64_t kOff = 9 * kMillisecond, kHour = 36'000'000'000;
  ExpectSteps({{0, 400'000, eXvTF_Gap, kTimeFirst, 0, eXvTF_Break | eXvTF_Gap},
               {400'000 + kOff, 800'000 + kOff, 0, kTimeKept, 400'000 + kOff, 0},
               {800'000 + 20 * kMillisecond, 1'200'000 + 20 * kMillisecond, 0, kTimeJump,
                800'000 + kOff, eXvTF_Jump},
               {-kHour, -kHour + 400'000, 0, kTimeJump, 1'200'000 + kOff, eXvTF_Jump}});
  // Without looking for jumps.
  Line line(25);
  line.Next(0, 400'000);
  XV_TIME far{};
  far.rtStart = 50'000'000;
  EXPECT_EQ(line.corrector.Correct(line.props, &far, 0, &line.reason).rtStart, 50'000'000);
  EXPECT_EQ(line.reason, kTimeKept);
}

TEST(TimeCorrector, ToleranceIsTenMillisecondsAtLeast) {
  Line line(120);
  line.Next(0, 83333);
  EXPECT_EQ(line.Next(83333 + 6 * kMillisecond, 0).rtStart, 83333 + 6 * kMillisecond);
  EXPECT_EQ(line.reason, kTimeKept);
}

TEST(TimeCorrector, MarksOfTheSource) {
  ExpectSteps(
      {{0, 400'000, eXvTF_Gap, kTimeFirst, 0, eXvTF_Break | eXvTF_Gap},
       {7'000'000, 7'400'000, eXvTF_Break, kTimeBreak, 400'000, eXvTF_Jump},
       {1'000'000, 1'400'000, eXvTF_Rebase, kTimeRebase, 800'000, eXvTF_Rebase},
       {1'400'000, 1'800'000, eXvTF_EndMark, kTimeBreak, 1'200'000, eXvTF_EndMark | eXvTF_Jump},
       {9'000'000, 9'400'000, eXvTF_Gap, kTimeJump, 1'600'000, eXvTF_Gap},
       {9'400'000, 9'800'000, eXvTF_Jump, kTimeKept, 2'000'000, eXvTF_Jump}});
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

// Frame n of a line without times starts at n * num / den * 1e7, rounded.
TEST(TimeCorrector, MonthDoesNotDrift) {
#if defined(XV_SANITIZED)
  constexpr std::int64_t kDays = 1;  // the arithmetic is the same, the run many times longer
#else
  constexpr std::int64_t kDays = 30;
#endif
  for (const std::int64_t num : {30000, 60000}) {
    constexpr std::int64_t kDen = 1001;
    Line line(static_cast<double>(num) / kDen);
    std::int64_t wrong = 0, stop = 0;
    for (std::int64_t n = 0; n < kDays * 24 * 3600 * num / kDen; ++n) {
      const XV_TIME time = line.Next(nullptr);
      const std::int64_t exact = n * kDen * 10'000'000 * 2 + num;
      wrong += time.rtStart != exact / (2 * num) || time.rtStart < stop;
      stop = time.rtStop;
    }
    EXPECT_EQ(wrong, 0) << num;
  }
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
