#include "session/precedence.h"

#include <gtest/gtest.h>

#include <thread>

namespace xv {
namespace {

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
