#include <gmock/gmock.h>

#include <cmath>
#include <numbers>

#include "picture/filter_bank.h"
#include "picture/pictures.h"
#include "picture/scale_engine.h"
#include "picture/scale_vertical.h"

namespace xv {
namespace {

using test::Picture;
using ::testing::Each;

TEST(ScaleVertical, FlatPicturesAndEdgesBehaveKeepToTheirRules) {
  const std::vector<std::uint8_t> source(64 * 108, 128);
  FilterBank flat;
  std::vector<std::uint8_t> level(64 * 72, 1);
  ScaleVertical(flat, source.data(), level.data(), 108, 72, 64, 64, 64, 0.75, 0);
  EXPECT_THAT(level, Each(127));
  // The flags copy the neighbour over the first and the last row.
  std::vector<std::uint8_t> ramp(16 * 8);
  for (std::size_t i = 0; i < ramp.size(); ++i) ramp[i] = static_cast<std::uint8_t>(i / 16 * 10);
  FilterBank bank;
  std::vector<std::uint8_t> target(16 * 8);
  ScaleVertical(bank, ramp.data(), target.data(), 8, 8, 16, 16, 16, 1,
                static_cast<int>(FieldMode::kFrame) | kCopyFirstRow | kCopyLastRow);
  EXPECT_EQ(target[0], 10);
  EXPECT_EQ(target[16 * 7], 60);
  EXPECT_EQ(target[16 * 3], 30);
}

TEST(ScaleVertical, NegativeStepsGiveTheSamePictureUpsideDown) {
  Picture source(kFccRGB8, 64, 96);
  source.Randomise(1);
  FilterBank bank;
  std::vector<std::uint8_t> down(64 * 64), up(64 * 64);
  const auto flags = static_cast<int>(FieldMode::kFrame);
  ScaleVertical(bank, source.bytes.data(), down.data(), 96, 64, 64, 64, 64, 0.8, flags);
  ScaleVertical(bank, source.bytes.data(), up.data() + 63 * 64, 96, 64, 64, 64, -64, 0.8, flags);
  for (std::size_t y = 0; y < 64; ++y) {
    ASSERT_TRUE(std::equal(down.begin() + static_cast<std::ptrdiff_t>(64 * y),
                           down.begin() + static_cast<std::ptrdiff_t>(64 * (y + 1)),
                           up.end() - static_cast<std::ptrdiff_t>(64 * (y + 1))));
  }
}

// What a filter of the horizontal direction is meant to be, in double precision.
double MeantWeight(int quality, double distance, double ratio) {
  const double stretch = std::max(ratio, 1.0);
  const double x = std::fabs(distance) / stretch;
  const double sinc = x == 0 ? 1.0 : std::sin(std::numbers::pi * x) / (std::numbers::pi * x);
  switch (quality) {
    case 2:
      return std::max(0.0, 1 - x);
    case 16: {
      const double slow = x / 3;
      const double window =
          slow == 0 ? 1.0 : std::sin(std::numbers::pi * slow) / (std::numbers::pi * slow);
      return x < 3 ? sinc * window : 0.0;
    }
    default:
      return x < 1   ? 1.5 * x * x * x - 2.5 * x * x + 1
             : x < 2 ? -0.5 * x * x * x + 2.5 * x * x - 4 * x + 2
                     : 0.0;
  }
}

TEST(RowFilter, SamplesLieWithinHalfACodeOfTheFormula) {
  Picture source(kFccRGB8, 211, 1);
  source.Randomise(8);
  for (const int quality : {2, 4, 16}) {
    for (const int width : {80, 140, 211, 300, 633}) {
      const double ratio = 211.0 / width;
      std::vector<std::uint8_t> row(static_cast<std::size_t>(width));
      ScaleRow(MakeRowFilter(211, width, quality), source.Row(0), 0, row.data(), 1);
      double worst = 0;
      for (int t = 0; t < width; ++t) {
        const double position = (t + 0.5) * ratio - 0.5;
        double sum = 0, total = 0;
        for (int i = -40; i < 260; ++i) {
          const double weight = MeantWeight(quality, i - position, ratio);
          total += weight;
          sum += weight * source.Row(0)[std::clamp(i, 0, 210)];
        }
        const double exact = std::clamp(sum / total, 0.0, 255.0);
        worst = std::max(worst, std::fabs(row[static_cast<std::size_t>(t)] - exact));
      }
      EXPECT_LT(worst, 0.56) << "quality " << quality << " to " << width;
    }
  }
}

TEST(RowFilter, AreasAndNearestSamplesAreExact) {
  const std::vector<std::uint8_t> source = {10, 20, 60, 70, 200, 250, 3, 5};
  std::vector<std::uint8_t> half(4);
  ScaleRow(MakeRowFilter(8, 4, 8), source.data(), 0, half.data(), 1);
  EXPECT_THAT(half, testing::ElementsAre(15, 65, 225, 4));
  ScaleRow(MakeRowFilter(8, 4, 1), source.data(), 0, half.data(), 1);
  EXPECT_THAT(half, testing::ElementsAre(10, 60, 200, 3));
  // One sample is all that there is, for any filter.
  for (const int quality : {1, 2, 4, 8, 16}) {
    std::vector<std::uint8_t> many(9);
    ScaleRow(MakeRowFilter(1, 3, quality), source.data() + 4, 0, many.data(), 1);
    EXPECT_THAT(std::vector(many.begin(), many.begin() + 3), Each(200));
    ScaleRow(MakeRowFilter(1, 3, quality), source.data() + 4, 0, many.data(), 3);
    EXPECT_THAT(many, testing::ElementsAre(200, 250, 3, 200, 250, 3, 200, 250, 3));
  }
}

// A grey picture keeps its level through every path; a picture with structure comes back close.
TEST(ScaleEngine, EveryLayoutScalesBothWays) {
  for (const auto& [from, to] : {std::pair{kFccUYVY, kFccUYVY},
                                 {kFccUYVY, kFccYUY2},
                                 {kFccYVYU, kFccUYVY},
                                 {kFccI420, kFccI420},
                                 {kFccYV12, kFccI420},
                                 {kFccRGB32, kFccRGB32},
                                 {kFccRGB24, kFccRGB24},
                                 {kFccRGB24, kFccUYVY},
                                 {kFccUYVY, kFccRGB32},
                                 {kFccV210, kFccUYVY},
                                 {kFccUYVY, kFccV210},
                                 {kFccNV12, kFccI420},
                                 {kFccI420, kFccNV12},
                                 {kFccR210, kFccRGB32},
                                 {kFccUYVY, kFccI420}}) {
    for (const int width : {96, 60, 140}) {
      for (const int flags : {3, 0}) {
        const Picture source = test::Filled(from, 96, 64, 0xFF808080);
        const Picture target(to, width, 48);
        const Picture expected = test::Filled(to, width, 48, 0xFF808080);
        ScaleEngine engine;
        ASSERT_EQ(
            engine.ScaleImage(source.View(), target.View(), false, 4, 0, flags, Siting::kCentred),
            S_OK)
            << std::hex << from << " to " << to;
        const ImageView view = target.View();
        const int bytes = to == kFccV210 ? 0 : PixelRowBytes(to, width);
        for (int y = 0; y < view.height; ++y) {
          for (int x = 0; x < bytes; ++x) {
            if (to == kFccRGB32 && x % 4 == 3) continue;
            ASSERT_NEAR(target.Row(y)[x], expected.Row(y)[x], 2) << x << ',' << y;
          }
        }
      }
    }
  }
}

TEST(ScaleEngine, SameSizeIsAConversionAndFlipTurnsUpsideDown) {
  Picture source(kFccUYVY, 32, 8);
  source.Randomise(3);
  Picture target(kFccUYVY, 32, 8);
  ScaleEngine engine;
  ASSERT_EQ(engine.ScaleImage(source.View(), target.View(), false, 4, 0, 3), S_OK);
  EXPECT_EQ(target.bytes, source.bytes);
  ASSERT_EQ(engine.ScaleImage(source.View(), target.View(), true, 4, 0, 3), S_OK);
  for (int y = 0; y < 8; ++y) {
    EXPECT_TRUE(std::equal(target.Row(y), target.Row(y) + 64, source.Row(7 - y)));
  }
  EXPECT_EQ(engine.ScaleImage(source.View(), {}, false, 4, 0, 3), E_INVALIDARG);
}

}  // namespace
}  // namespace xv
