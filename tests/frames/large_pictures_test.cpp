#include <gtest/gtest.h>

#include "kernels/guarded_row.h"
#include "kernels/simd_level.h"
#include "picture/layout_conversion.h"
#include "picture/pictures.h"

namespace xv {
namespace {

// What a picture converts to at a level, from the beginning of a page on.
struct Converted {
  Converted(const test::Picture& source, std::uint32_t tag, SimdLevel level)
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
      test::Picture source(from, width, kLines);
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
