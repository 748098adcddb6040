#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <set>
#include <string>

#include "media/frame_duration.h"
#include "media/pixel_layout.h"
#include "media/track_mask.h"
#include "media/validity.h"
#include "media/video_format.h"

namespace xv {
namespace {

using ::testing::ElementsAre;

// The name of a row tells its rate and scan; raster and aspect follow from the family.
TEST(VideoFormat, RowsAgreeWithTheirNames) {
  std::set<std::string> names;
  for (int id = 0; id < kVideoFormatCount; ++id) {
    const VideoFormatRow* row = FindVideoFormat(id);
    ASSERT_NE(row, nullptr) << id;
    const std::string name = row->name;
    EXPECT_TRUE(names.insert(name).second) << name;
    EXPECT_TRUE(names.insert(row->display).second) << row->display;
    if (row->rateNum == 0) {
      EXPECT_TRUE(id == eXvVF_Custom || id == eXvVF_Disabled);
      continue;
    }
    const std::string display = row->display;
    if (id > eXvVF_PAL_16x9) {
      const char scan = display.back();
      EXPECT_EQ(row->interlace, scan == 'i' ? 1u : 3u) << name;
      const std::string digits = display.substr(display.rfind('-') + 1, 2);
      const int frames = std::stoi(digits) / (scan == 'i' ? 2 : 1);
      EXPECT_EQ(static_cast<int>(FormatRate(id)), scan == 'i' && digits == "59" ? 29 : frames)
          << name;
      EXPECT_EQ(row->rateDen, digits == "23" || digits == "29" || digits == "59" ? 1001 : 1);
    }
    if (row->width > 720 && row->height != 1556) {
      EXPECT_EQ(row->width * row->aspectY, row->height * row->aspectX) << name;
    }
  }
  EXPECT_STREQ(FindVideoFormat(eXvVF_4K_UHD_5994i)->name, "eXvVF_4K_UHD_5994i");
  EXPECT_STREQ(FindVideoFormat(eXvVF_2K_24p)->name, "eXvVF_2K_24p");
  EXPECT_STREQ(FindVideoFormat(eXvVF_4K_DCI_60p)->name, "eXvVF_4K_DCI_60p");
  EXPECT_STREQ(FindVideoFormat(eXvVF_Disabled)->display, "Disabled");
  EXPECT_EQ(FindVideoFormat(eXvVF_NTSC)->interlace, eXvI_BottomFirst);
  EXPECT_EQ(FindVideoFormat(eXvVF_PAL)->interlace, eXvI_TopFirst);
}

TEST(VideoFormat, LookupsOutsideTheTable) {
  EXPECT_TRUE(FindVideoFormat(47) == nullptr && FindVideoFormat(-1) == nullptr);
  EXPECT_EQ(FindVideoFormat(0x100 + eXvVF_PAL), FindVideoFormat(eXvVF_PAL));
  EXPECT_EQ(FormatRate(48), 0.0);
  EXPECT_EQ(FormatClass(48), 0);
  EXPECT_EQ(FormatClass(eXvVF_4K_DCI_50p), kClass4KHighRate);
  EXPECT_EQ(FormatInterlace(200), eXvI_Auto);
  EXPECT_EQ(FormatLines(eXvVF_PAL) + FormatLines(eXvVF_NTSC) + FormatLines(eXvVF_HD720_60p), 118);
}

TEST(Validity, StrictVideoNeedsAWholeRasterAndLooseOneWord) {
  struct Case {
    int width, height;
    std::uint32_t fourcc;
    int format;
    std::int16_t aspectX, aspectY;
    double rate;
    std::uint32_t interlace;
    bool strict, loose;
  };
  const double nan = std::numeric_limits<double>::quiet_NaN();
  for (const Case& c : {Case{0, 0, 0, 0, 0, 0, 0, 0, false, false},
                        {1920, -1080, kFccRGB32, 0, 0, 0, 0, 0, true, true},
                        {1920, 1080, 0, 0, 0, 0, 0, 0, false, true},
                        {0, 1080, kFccUYVY, 0, 0, 0, 0, 0, false, true},
                        {-16, 1080, kFccUYVY, 0, 0, 0, 0, 0, false, true},
                        {1920, 0, kFccUYVY, 0, 0, 0, 0, 0, false, true},
                        {1920, 1080, kFccUYVY, eXvVF_Disabled, 0, 0, 0, 0, false, true},
                        {0, 0, 0, eXvVF_HD1080_25p, 0, 0, 0, 0, true, false},
                        {1, 0, 0, 0, 0, 0, 0, 0, false, false},
                        {1, -1, 0, 0, 0, 0, 0, 0, false, true},
                        {0, 0, 0, 0, 16, 0, 0, 0, false, false},
                        {0, 0, 0, 0, 16, 9, 0, 0, false, true},
                        {0, 0, 0, 0, 0, 0, -25, 0, false, false},
                        {0, 0, 0, 0, 0, 0, nan, 0, false, false},
                        {0, 0, 0, 0, 0, 0, nan, eXvI_Field, false, true}}) {
    XV_VID_PROPS vid{};
    vid.nWidth = c.width;
    vid.nHeight = c.height;
    vid.fccColor = c.fourcc;
    vid.eVideoFormat = c.format;
    vid.nAspectX = c.aspectX;
    vid.nAspectY = c.aspectY;
    vid.dblRate = c.rate;
    vid.eInterlace = c.interlace;
    EXPECT_EQ(VideoPropsValid(vid, true), c.strict) << c.width << " " << c.height << " " << c.rate;
    EXPECT_EQ(VideoPropsValid(vid, false), c.loose) << c.width << " " << c.height << " " << c.rate;
  }
}

TEST(Validity, AudioRangeAndDisabled) {
  const auto strict = [](int channels, int rate, int bits) {
    return AudioPropsValid(XV_AUD_PROPS{channels, rate, bits, 0}, true);
  };
  for (const int bits : {-32, 16, 20, 24, 32}) EXPECT_TRUE(strict(2, 48000, bits)) << bits;
  for (const int bits : {0, 8, -16, 64}) EXPECT_FALSE(strict(2, 48000, bits)) << bits;
  EXPECT_TRUE(strict(1, 801, 16) && strict(32, 48000, 16));
  EXPECT_FALSE(strict(1, 800, 16) || strict(33, 48000, 16) || strict(0, 48000, 16));
  const XV_AUD_PROPS disabled{-1, 0, 0, 0};
  EXPECT_TRUE(AudioPropsInRange(disabled));
  EXPECT_FALSE(AudioPropsValid(disabled, true));
  EXPECT_FALSE(AudioPropsValid(disabled, false));
  EXPECT_TRUE(AudioPropsValid(XV_AUD_PROPS{-1, 0, 16, 0}, false));
  EXPECT_TRUE(AudioPropsValid(XV_AUD_PROPS{0, 1, 0, 0}, false));
}

TEST(Validity, InterlaceOrderFallsBackToTheFormat) {
  for (const auto& [format, interlace, order] : {std::tuple{0, eXvI_Auto, 0},
                                                 {eXvVF_NTSC, eXvI_Auto, -1},
                                                 {eXvVF_HD1080_50i, eXvI_Auto, 1},
                                                 {eXvVF_HD1080_50i, eXvI_Progressive, 0},
                                                 {eXvVF_HD1080_50i, eXvI_Inverse, 0},
                                                 {eXvVF_HD1080_50i, eXvI_BottomFirst, -1}}) {
    XV_VID_PROPS vid{};
    vid.eVideoFormat = format;
    vid.eInterlace = interlace;
    EXPECT_EQ(InterlaceOrder(vid), order) << format << " " << interlace;
  }
}

TEST(FrameDuration, BroadcastRatesSnapAndOthersStay) {
  // The last rates lie at the ends of a range: the first count that is in, the first that is out.
  for (const auto& [rate, duration] : {std::pair{29.97, 333666.6666666667},
                                       {30000.0 / 1001, 333666.6666666667},
                                       {59.94, 166833.33333333334},
                                       {23.976, 417083.3333333333},
                                       {60, 166666.66666666666},
                                       {25.001, 400000.0},
                                       {24.5, 1e7 / 24.5},
                                       {1e7 / 199950.0, 200000.0},
                                       {1e7 / 199949.0, 1e7 / (1e7 / 199949.0)},
                                       {1e7 / 200051.0, 1e7 / (1e7 / 200051.0)}}) {
    EXPECT_EQ(FrameDuration(rate), duration) << rate;
  }
  for (const double rate : {0.0, -1.0, std::nan("")}) {
    EXPECT_EQ(FrameDuration(rate), 0.0);
    EXPECT_EQ(FrameDurationOrDefault(rate), 400000.0);
  }
  EXPECT_EQ(RoundAwayFromZero(2.5), 3);
  EXPECT_EQ(RoundAwayFromZero(-2.5), -3);
  EXPECT_EQ(RoundAwayFromZero(1e300), INT64_MAX);
  EXPECT_EQ(RoundAwayFromZero(-1e300), INT64_MIN);
}

TEST(TrackMask, SplitsChannels) {
  const auto tracks = [](int channels, std::uint32_t mask) {
    return TrackList(XV_AUD_PROPS{channels, 48000, 16, mask});
  };
  EXPECT_THAT(tracks(3, 1), ElementsAre(1, 2));
  EXPECT_THAT(tracks(6, 0), ElementsAre(6));
  EXPECT_THAT(tracks(3, kTrackMaskMono), ElementsAre(1, 1, 1));
  EXPECT_THAT(tracks(5, kTrackMaskPairs), ElementsAre(2, 2, 1));
  EXPECT_THAT(tracks(16, kTrackMaskSixes), ElementsAre(6, 6, 4));
  EXPECT_THAT(tracks(16, kTrackMaskEights), ElementsAre(8, 8));
  EXPECT_TRUE(tracks(0, kTrackMaskMono).empty());
  EXPECT_TRUE(tracks(-1, 0).empty());
  EXPECT_EQ(tracks(32, kTrackMaskFours).size(), 8u);
}

TEST(PixelLayout, RowsAndFrames) {
  for (const auto& [tag, width, bytes] : {std::tuple{kFccUYVY, 1920, 3840},
                                          {kFccRGB24, 1921, 5764},
                                          {kFccRGB8, 5, 8},
                                          {kFccNV12, 96, 96},
                                          {kFccY444, 96, 96},
                                          {kFccV210, 1, 128},
                                          {kFccV210, 1280, 3456},
                                          {kFccR210, 65, 512},
                                          {FourCC("ABCD"), 64, 0},
                                          {kFccUYVY, -8, 0},
                                          {kFccARGB32, INT32_MAX, INT32_MAX}}) {
    EXPECT_EQ(NaturalRowBytes(tag, width), bytes) << std::hex << tag << " " << width;
  }
  EXPECT_EQ(FrameBytes(kFccI420, 1920, 1080), 1920 * 1080 * 3 / 2);
  EXPECT_EQ(FrameBytes(kFccRGB32, 1920, -1080), 1920 * 1080 * 4);
  for (const int rowBytes : {4096, -4096}) {
    EXPECT_EQ(FrameBytes(kFccUYVY, 1920, 1080, rowBytes), 4096 * 1080);
  }
  EXPECT_EQ(FrameBytes(kFccARGB32, INT32_MAX, INT32_MIN), std::int64_t{INT32_MAX} << 31);
}

TEST(PixelLayout, RowOrderOfRgbAlone) {
  for (const std::uint32_t rgb : {kFccR210, kFccRGB24, kFccARGB32, kFccRGB555}) {
    EXPECT_TRUE(IsRgb(rgb) && IsBottomUp(rgb, 8) && !IsBottomUp(rgb, -8));
  }
  EXPECT_TRUE(IsRgb(kFccRGB8));
  EXPECT_FALSE(IsBottomUp(kFccRGB8, 8));
  EXPECT_FALSE(IsRgb(kFccV210));
  EXPECT_FALSE(IsBottomUp(kFccUYVY, 8));
  EXPECT_TRUE(IsPlanar(kFccNV12) && IsPlanar(kFccY422) && !IsPlanar(FourCC("IYU2")));
  EXPECT_EQ(BitsPerPixel(kFccNV12), 16);
  EXPECT_EQ(BitsPerPixel(FourCC("YVU9")), 9);
}

}  // namespace
}  // namespace xv
