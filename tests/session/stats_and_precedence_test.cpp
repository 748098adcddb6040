#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <thread>

#include "session/precedence.h"
#include "session/session_stats.h"

namespace xv {
namespace {

TEST(SessionStats, EveryNameRendersAndResets) {
  SessionStats stats;
  stats.drops = 3;
  for (const auto& [stream, bytes] :
       {std::pair{0, 1000}, {2, 10}, {2, 20}, {SessionStats::kMaxStreams, 5}, {-1, 5}}) {
    stats.CountPacket(stream, bytes);
  }
  stats.encodeTime.Add(2'000'000);
  for (const char* option : {"tune", "tun", "tune"}) stats.AddUnusedOption(option);
  stats.Fail("encode", "no luck", E_FAIL);
  for (const std::string& name : stats.Names()) EXPECT_TRUE(stats.Render(name)) << name;
  EXPECT_THAT(stats.Names(), testing::Contains("bytes.2"));
  for (const auto& [name, text] : {std::pair{"drops", "3"},
                                   {"packets.2", "2"},
                                   {"bytes.2", "30"},
                                   {"packets.1", "0"},
                                   {"unused_options", "tune\ntun"},
                                   {"last_error", "encode: no luck (0x80004005)"}}) {
    EXPECT_EQ(stats.Render(name), text);
  }
  stats.Fail("second output", "slow", S_OK);
  EXPECT_EQ(stats.Render("last_error"), "second output: slow (0x00000000)");
  EXPECT_EQ(stats.Render("last_status"), "0x80004005") << "a note is not the session's status";
  for (const char* unknown : {"", "packets.", "packets.x", "packets.-1", "packets.1x", "Drops"}) {
    EXPECT_FALSE(stats.Render(unknown)) << unknown;
  }
  stats.Reset();
  EXPECT_THAT(stats.Names(), testing::Not(testing::Contains("bytes.0")));
  for (const std::string& name : stats.Names()) {
    EXPECT_EQ(std::atof(stats.Render(name)->c_str()), 0.0) << name;
  }
  EXPECT_EQ(stats.Render("last_error"), "");
  EXPECT_EQ(stats.LastStatus(), Status(S_OK));
}

TEST(SessionStats, RemarksAreToldOnceAndNeverHideAFailure) {
  SessionStats stats;
  stats.Count(Remark::kCut, 0);
  EXPECT_EQ(stats.Render("last_error"), "");
  stats.Count(Remark::kSilence, 1500);
  stats.Count(Remark::kSilence, 2500);
  const std::string once = *stats.Render("last_error");
  EXPECT_EQ(stats.Render("audio.silence"), "4") << "milliseconds";
  stats.Count(Remark::kRepeat);
  stats.Count(Remark::kRepeat);
  EXPECT_THAT(*stats.Render("last_error"), testing::StartsWith(once + "; picture: repeats"));
  EXPECT_EQ(stats.LastStatus(), Status(S_OK));
  stats.Fail("encode", "no luck", E_FAIL);
  stats.Count(Remark::kRebase);
  EXPECT_EQ(stats.Render("last_error"), "encode: no luck (0x80004005)");
  EXPECT_EQ(stats.Render("rebases"), "1");
}

TEST(SessionStats, PercentilesStayWithinATenth) {
  LatencyHistogram times;
  EXPECT_EQ(times.Percentile(0.5), 0.0);
  for (int i = 1; i <= 10000; ++i) times.Add(i * std::int64_t{10'000});  // 0.01 to 100 ms
  for (const double fraction : {0.01, 0.1, 0.5, 0.9, 0.99, 1.0}) {
    EXPECT_NEAR(times.Percentile(fraction), 100 * fraction, 10 * fraction) << fraction;
  }
  LatencyHistogram ends;
  ends.Add(-5);
  EXPECT_LT(ends.Percentile(1), 0.001);
  ends.Add(INT64_MAX);
  EXPECT_GT(ends.Percentile(1), 1e9);
}

TEST(Precedence, OthersWaitWhileAQueueGrows) {
  Precedence live, calm, patient;
  live.Start(24);
  calm.Start(24);
  live.Note(3);
  patient.Note(20);  // not one that drops frames
  EXPECT_TRUE(Precedence::LetOthersCatchUp());
  live.Note(4);
  live.Note(5);
  calm.Note(0);
  EXPECT_FALSE(Precedence::LetOthersCatchUp());
  live.Note(2);  // has not caught up yet
  EXPECT_FALSE(Precedence::LetOthersCatchUp());
  calm.Note(4);
  live.Note(1);
  EXPECT_FALSE(Precedence::LetOthersCatchUp());
  calm.Note(0);
  EXPECT_TRUE(Precedence::LetOthersCatchUp());
}

TEST(Precedence, TheEndLetsThemGo) {
  std::jthread host;
  {
    Precedence live;
    live.Start(2);
    live.Note(3);
    EXPECT_FALSE(Precedence::LetOthersCatchUp());
    host = std::jthread([] {
      while (!Precedence::LetOthersCatchUp()) {
      }
    });
  }
  EXPECT_TRUE(Precedence::LetOthersCatchUp());
}

// A host that never pauses for a quarter of a frame's time, fifty times; one pause ends it.
TEST(PutPace, TellsFilesFromCameras) {
  constexpr std::int64_t kFrame = 40'000'000;  // ns
  PutPace pace;
  std::int64_t now = 1;
  const auto put = [&](std::int64_t pause) {
    pace.Begin(now += pause, kFrame);
    pace.End(now += 30'000'000);
  };
  for (int i = 0; i < 50; ++i) put(9'999'999);
  EXPECT_FALSE(pace.Hurries());  // the first has none ahead of it
  put(0);
  EXPECT_TRUE(pace.Hurries());
  put(10'000'000);
  EXPECT_FALSE(pace.Hurries());
}

}  // namespace
}  // namespace xv
