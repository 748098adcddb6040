#include "picture/layout_conversion.h"

#include <gmock/gmock.h>

#include <cmath>

#include "kernels/guarded_row.h"
#include "kernels/simd_level.h"
#include "picture/mirror.h"
#include "picture/pictures.h"

namespace xv {
namespace {

using test::Picture;
using ::testing::ElementsAre;
using ::testing::Pointwise;

constexpr std::uint32_t kColour = 0xFF4A90D8;  // R 74, G 144, B 216

// The colour in the middle of a picture, as RGB.
std::vector<int> ColourOf(const Picture& picture) {
  Picture target(kFccARGB32, picture.vid.nWidth, -std::abs(picture.vid.nHeight));
  EXPECT_EQ(ConvertPixels(picture.View(), target.View()), S_OK);
  const std::uint8_t* pixel = target.Row(std::abs(picture.vid.nHeight) / 2) + 4 * 5;
  return {pixel[2], pixel[1], pixel[0]};
}

constexpr std::uint32_t kLayouts[] = {kFccRGB32, kFccARGB32, kFccRGB24, kFccUYVY,
                                      kFccYUY2,  kFccYVYU,   kFccI420,  kFccYV12,
                                      kFccV210,  kFccR210,   kFccNV12};

bool HasCell(std::uint32_t source, std::uint32_t target) {
  const bool deepTarget = target == kFccV210 || target == kFccR210;
  if (target == kFccR210) return source == kFccR210;
  if (deepTarget) return FindPackedOrder(source).has_value() || source == kFccV210;
  return !(source == kFccV210 && (IsPlanar420(target) || target == kFccNV12));
}

TEST(ConvertFormat, EveryPairKeepsTheColour) {
  for (const std::uint32_t from : kLayouts) {
    for (const std::uint32_t to : kLayouts) {
      const Picture source = test::Filled(from, 34, 8, kColour);
      Picture target(to, 34, 8);
      const Status status = ConvertFormat(source.View(), target.View());
      if (!HasCell(from, to)) {
        EXPECT_EQ(status, E_FAIL);
        continue;
      }
      ASSERT_EQ(status, S_OK);
      // Against the layout's flat colour: nothing but rounding of two conversions.
      if (to != kFccR210) {
        EXPECT_THAT(ColourOf(target),
                    Pointwise(testing::Truly([](const std::tuple<int, int>& pair) {
                                return std::abs(std::get<0>(pair) - std::get<1>(pair)) <= 3;
                              }),
                              {74, 144, 216}));
      }
      if (IsRgb32(to) && from != kFccRGB32) {
        EXPECT_EQ(target.Row(3)[4 * 7 + 3], 255);
      }
    }
  }
}

TEST(ConvertFormat, HdycIsBt709AndUyvyBt601) {
  const Picture red = test::Filled(kFccRGB32, 8, -2, 0xFFFF0000);
  Picture uyvy(kFccUYVY, 8, 2);
  Picture hdyc(kFccHDYC, 8, 2);
  ASSERT_EQ(ConvertPixels(red.View(), uyvy.View()), S_OK);
  ASSERT_EQ(ConvertPixels(red.View(), hdyc.View()), S_OK);
  EXPECT_THAT(std::vector<int>(uyvy.bytes.begin(), uyvy.bytes.begin() + 4),
              ElementsAre(90, 81, 240, 81));
  EXPECT_THAT(std::vector<int>(hdyc.bytes.begin(), hdyc.bytes.begin() + 4),
              ElementsAre(102, 62, 239, 62));
}

TEST(ConvertFormat, RectanglesAreMadeConsistent) {
  const Picture source(kFccUYVY, 100, 50);
  const Picture target(kFccYUY2, 60, 40);
  PixelRect from{3, 1, 90, 50};
  PixelRect to{1, 0, 60, 40};
  ASSERT_EQ(FitRectangles(source.View(), target.View(), &from, &to, false), S_OK);
  EXPECT_THAT((std::vector{from.left, from.top, from.right, from.bottom}),
              ElementsAre(4, 1, 62, 41));
  EXPECT_THAT((std::vector{to.left, to.top, to.right, to.bottom}), ElementsAre(2, 0, 60, 40));

  // Scaled: what overhangs on one side takes its share of the other.
  from = {-20, 0, 100, 50};
  to = {0, 0, 60, 40};
  ASSERT_EQ(FitRectangles(source.View(), target.View(), &from, &to, true), S_OK);
  EXPECT_EQ(from.left, 0);
  EXPECT_EQ(to.left, 10);
  from = {0, 0, 100, 50};
  to = {0, -8, 60, 48};
  ASSERT_EQ(FitRectangles(source.View(), target.View(), &from, &to, true), S_OK);
  EXPECT_THAT((std::vector{from.top, from.bottom, to.top, to.bottom}), ElementsAre(7, 43, 0, 40));
  from = {100, 0, 100, 50};
  EXPECT_EQ(FitRectangles(source.View(), target.View(), &from, &to, true), E_INVALIDARG);
}

TEST(ConvertFormat, RegionWritesOnlyItsRectangle) {
  Picture source(kFccUYVY, 16, 8);
  source.Randomise(3);
  Picture target(test::VidProps(kFccUYVY, 16, 8), 0xEE);
  const PixelRect from{4, 2, 12, 6};
  const PixelRect to{2, 1, 16, 8};
  ASSERT_EQ(ConvertFormat(source.View(), target.View(), &from, &to), S_OK);
  for (int y = 0; y < 8; ++y) {
    for (int x = 0; x < 32; ++x) {
      const bool inside = y >= 1 && y < 5 && x >= 4 && x < 20;
      ASSERT_EQ(target.Row(y)[x], inside ? source.Row(y + 1)[x + 4] : 0xEE) << x << ',' << y;
    }
  }
  // A width of one pixel becomes nothing.
  Picture narrow(kFccUYVY, 1, 2);
  Picture untouched(test::VidProps(kFccYUY2, 1, 2), 0xEE);
  EXPECT_EQ(ConvertFormat(narrow.View(), untouched.View()), S_OK);
  EXPECT_THAT(untouched.bytes, testing::Each(0xEE));
}

TEST(ConvertFormat, StripsEqualOneBand) {
  for (const int height : {2, 50}) {  // whole chroma rows
    Picture source(kFccUYVY, 50, height);
    source.Randomise(4);
    Picture one(kFccI420, 50, height);
    Picture six = one;
    ASSERT_EQ(ConvertRegion(source.View(), one.View(), 1), S_OK);
    ASSERT_EQ(ConvertRegion(source.View(), six.View(), 6), S_OK);
    EXPECT_EQ(one.bytes, six.bytes) << height;
  }
  EXPECT_EQ(ConvertRegion(Picture(kFccRGB24, 8, 8).View(), Picture(kFccV210, 8, 8).View(), 6),
            E_FAIL);
}

TEST(BackgroundFill, OpacityMixesInSteps) {
  Picture picture(test::VidProps(kFccRGB32, 12, -2), 200);
  EXPECT_EQ(FillBackground(picture.View(), 0xFF0040FF, 0.005), S_FALSE);
  EXPECT_THAT(picture.bytes, testing::Each(200));
  ASSERT_EQ(FillBackground(picture.View(), 0xFF0040FF, 0.25), S_OK);
  // 32 of 128: 200 * 96 >> 7 = 150, plus component * 32 >> 7.
  EXPECT_THAT(std::vector<int>(picture.bytes.begin(), picture.bytes.begin() + 4),
              ElementsAre(150 + 63, 150 + 16, 150, 150 + 63));
  ASSERT_EQ(FillBackground(picture.View(), 0xFF0040FF, 1.0), S_OK);
  EXPECT_THAT(std::vector<int>(picture.bytes.end() - 4, picture.bytes.end()),
              ElementsAre(0xFF, 0x40, 0, 0xFF));
  const YuvColour black = YuvFromRgb(kBlack);
  EXPECT_THAT((std::vector<int>{black.y, black.u, black.v}), ElementsAre(16, 128, 128));
}

TEST(Mirror, FlipsKeepChromaAndFieldOrder) {
  Picture yuy2(kFccYUY2, 4, 1);
  yuy2.bytes = {1, 20, 2, 30, 3, 21, 4, 31};
  ASSERT_EQ(MirrorInPlace(yuy2.View(), Mirror::kHorizontal), S_OK);
  EXPECT_THAT(yuy2.bytes, ElementsAre(4, 21, 3, 31, 2, 20, 1, 30));

  const auto rows = [](std::uint32_t interlace, Mirror mirror) {
    Picture picture(kFccRGB8, 1, 4, interlace);
    for (int y = 0; y < 4; ++y) *picture.Row(y) = static_cast<std::uint8_t>(y);
    EXPECT_EQ(MirrorInPlace(picture.View(), mirror), S_OK);
    std::vector<int> out;
    for (int y = 0; y < 4; ++y) out.push_back(*picture.Row(y));
    return out;
  };
  EXPECT_THAT(rows(eXvI_Progressive, Mirror::kVertical), ElementsAre(3, 2, 1, 0));
  EXPECT_THAT(rows(eXvI_TopFirst, Mirror::kVertical), ElementsAre(2, 1, 0, 0));
  EXPECT_THAT(rows(eXvI_TopFirst, Mirror::kBoth), ElementsAre(2, 1, 0, 0));

  for (const std::uint32_t tag : {kFccRGB24, kFccRGB32}) {
    Picture picture(tag, 5, -3);
    picture.Randomise(6);
    const Picture before = picture;
    ASSERT_EQ(MirrorInPlace(picture.View(), Mirror::kBoth), S_OK);
    const int bytes = tag == kFccRGB24 ? 3 : 4;
    for (int y = 0; y < 3; ++y) {
      for (int x = 0; x < 5; ++x) {
        ASSERT_TRUE(std::equal(picture.Row(y) + x * bytes, picture.Row(y) + (x + 1) * bytes,
                               before.Row(2 - y) + (4 - x) * bytes));
      }
    }
  }
  EXPECT_EQ(MirrorInPlace(Picture(kFccY422, 4, 4).View(), Mirror::kBoth), E_NOTIMPL);
}

// What a picture converts to at a level, from the beginning of a page on.
struct Converted {
  Converted(const Picture& source, std::uint32_t tag, SimdLevel level)
      : vid(test::VidProps(tag, source.vid.nWidth, source.vid.nHeight)),
        memory(static_cast<std::size_t>(FrameBytes(tag, vid.nWidth, vid.nHeight)),
               test::GuardedRow::Edge::kBegin) {
    SetSimdLevel(level);
    status = ConvertPixels(source.View(), MakeImageView(vid, memory.data()));
  }

  XV_VID_PROPS vid;
  test::GuardedRow memory;
  Status status;
};

// Pictures that outgrow the cache go past it: by the kernels into aligned rows, through a scratch
// row into all others.
TEST(LargePictures, AreStreamedToTheReferencesBytes) {
  constexpr std::uint32_t kFrom[] = {kFccUYVY, kFccYVYU,   kFccHDYC, kFccI420,
                                     kFccNV12, kFccARGB32, kFccV210};
  constexpr std::uint32_t kTo[] = {kFccUYVY,  kFccYVYU,   kFccI420, kFccNV12,
                                   kFccRGB24, kFccARGB32, kFccV210};
  constexpr int kLines = 832;
  const SimdLevel best = ActiveSimdLevel();
  for (const int width : {1280, 1278}) {
    for (const std::uint32_t from : kFrom) {
      Picture source(from, width, kLines);
      source.Randomise(from);
      for (const std::uint32_t to : kTo) {
        Converted expected(source, to, SimdLevel::kPlain);
        Converted got(source, to, best);
        EXPECT_EQ(got.status, expected.status);
        EXPECT_TRUE(std::ranges::equal(got.memory.bytes(), expected.memory.bytes()))
            << std::hex << from << " to " << to;
      }
    }
  }
}

}  // namespace
}  // namespace xv
