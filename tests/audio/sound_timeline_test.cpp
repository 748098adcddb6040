#include "audio/sound_timeline.h"

#include <gtest/gtest.h>

namespace xv {
namespace {

constexpr int kRate = 48000, kBlock = 1920;          // of 40 ms
constexpr std::int64_t kFrame = 400'000;             // 100 ns
constexpr std::int64_t kTolerance = 400'000;         // 40 ms
constexpr std::int64_t kMillisecond = kRate / 1000;  // samples

// Samples of silence, less those that were cut, over `blocks` blocks that come `late` behind the
// samples before them.
std::int64_t Moved(std::int64_t late, int blocks) {
  SoundTimeline timeline;
  timeline.Start(kTolerance);
  std::int64_t samples = 0;
  for (int i = 0; i < blocks; ++i) {
    const std::int64_t start = i * kFrame + late;
    const auto correction = timeline.Place(start, start + kFrame, kBlock, kRate);
    samples += correction.silence - correction.cut;
  }
  return samples;
}

// Up to a quarter of the tolerance stays; more is mended once it has stayed for about a second, and
// more than the tolerance at once.
TEST(SoundTimeline, MendsWhatStays) {
  EXPECT_EQ(Moved(8 * 10'000, 500), 0);
  EXPECT_EQ(Moved(15 * 10'000, 10), 0);
  EXPECT_NEAR(static_cast<double>(Moved(15 * 10'000, 500)), 15 * kMillisecond, 6 * kMillisecond);
  EXPECT_EQ(Moved(50 * 10'000, 1), 50 * kMillisecond);
}

}  // namespace
}  // namespace xv
