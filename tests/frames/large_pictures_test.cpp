#include <gtest/gtest.h>

#include "frames/picture_cases.h"
#include "picture/layout_conversion.h"

namespace xv {
namespace {

// A picture that begins at a multiple of 64 bytes.
struct AlignedPicture {
  AlignedPicture(std::uint32_t tag, int width, int height)
      : vid(test::VidProps(tag, width, height)),
        memory(static_cast<std::size_t>(FrameBytes(tag, width, height)) + 64) {}
  std::uint8_t* Data() {
    return memory.data() + (64 - reinterpret_cast<std::uintptr_t>(memory.data()) % 64);
  }
  ImageView View() { return MakeImageView(vid, Data()); }
  bool Equals(AlignedPicture& other) {
    return std::equal(Data(), Data() + memory.size() - 64, other.Data());
  }

  XV_VID_PROPS vid;
  std::vector<std::uint8_t> memory;
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
        AlignedPicture expected(to, width, kLines);
        AlignedPicture got(to, width, kLines);
        SetSimdLevel(SimdLevel::kPlain);
        const Status plain = ConvertPixels(source.View(), expected.View());
        SetSimdLevel(best);
        EXPECT_EQ(ConvertPixels(source.View(), got.View()), plain);
        EXPECT_TRUE(got.Equals(expected)) << std::hex << from << " to " << to;
      }
    }
    for (const int bytes : {1, 3, 4}) {
      test::Picture source(kFccRGB8, width * bytes, kLines);
      source.Randomise(3);
      AlignedPicture rotated[2] = {{kFccRGB8, (kLines + 2) * bytes, width},
                                   {kFccRGB8, (kLines + 2) * bytes, width}};
      for (const bool reference : {true, false}) {
        SetSimdLevel(reference ? SimdLevel::kPlain : best);
        const ImageView target = rotated[reference ? 0 : 1].View();
        RotatePlane(source.Row(0), source.View().step[0], target.data[0], target.step[0], width,
                    kLines, bytes, width == 1280);
      }
      EXPECT_TRUE(rotated[0].Equals(rotated[1])) << bytes << " bytes";
    }
  }
}

}  // namespace
}  // namespace xv
