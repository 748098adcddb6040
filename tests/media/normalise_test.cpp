#include "media/normalise.h"

#include <gtest/gtest.h>

#include <cstring>

#include "media/pixel_layout.h"
#include "media/validity.h"
#include "media/video_format.h"

namespace xv {
namespace {

XV_VID_PROPS Video(int width, int height, double rate, std::uint32_t interlace = 0,
                   std::uint32_t fourcc = kFccUYVY) {
  XV_VID_PROPS vid{};
  vid.nWidth = width;
  vid.nHeight = height;
  vid.dblRate = rate;
  vid.eInterlace = interlace;
  vid.fccColor = fourcc;
  return vid;
}

XV_VID_PROPS Normalised(XV_VID_PROPS vid, bool writeBack = true) {
  NormaliseVideoProps(&vid, writeBack);
  return vid;
}

// Every row is found again from its own raster, rate and field order; aspect tells SD rows apart.
TEST(DetectVideoFormat, FindsEveryRow) {
  for (int id = 1; id < eXvVF_Disabled; ++id) {
    const VideoFormatRow& row = *FindVideoFormat(id);
    XV_VID_PROPS vid = Video(row.width, row.height, FormatRate(id), row.interlace);
    vid.nAspectX = static_cast<std::int16_t>(row.aspectX);
    vid.nAspectY = static_cast<std::int16_t>(row.aspectY);
    vid.nRowBytes = NaturalRowBytes(vid.fccColor, vid.nWidth);
    EXPECT_EQ(DetectVideoFormat(vid, true), id) << row.name;
    vid.nHeight = -vid.nHeight;
    vid.dblRate += 0.009;
    EXPECT_EQ(DetectVideoFormat(vid, false), id) << row.name;
  }
}

TEST(DetectVideoFormat, OrderDecidesWhereTheFieldOrderIsOpenAndBlankingLinesCountLoosely) {
  EXPECT_EQ(DetectVideoFormat(Video(1920, 1080, 25, eXvI_BottomFirst), true), 0);
  for (const auto& [width, height, rate, strict, format] :
       {std::tuple{1920, 1080, 25.0, true, int{eXvVF_HD1080_50i}},
        {1920, 1080, 25.02, true, 0},
        {3840, 2160, 25.0, true, eXvVF_4K_UHD_25p},
        {720, 480, 29.97, true, eXvVF_NTSC},
        {720, 479, 29.97, false, 0},
        {720, 608, 25.0, false, eXvVF_PAL},
        {720, 608, 25.0, true, 0},
        {720, 625, 25.0, false, eXvVF_PAL},
        {720, 626, 25.0, false, 0},
        {720, 512, 29.97, false, eXvVF_NTSC},
        {1920, 1125, 25.0, false, eXvVF_HD1080_50i},
        {1920, 1088, 25.0, true, 0},
        {3840, 2161, 25.0, false, 0}}) {
    EXPECT_EQ(DetectVideoFormat(Video(width, height, rate), strict), format) << height;
  }
}

TEST(DetectVideoFormat, TwoViewsInOnePicture) {
  EXPECT_EQ(DetectVideoFormat(Video(1920, 2160, 50), true), eXvVF_HD1080_50p | 0x1400);
  EXPECT_EQ(DetectVideoFormat(Video(1280, 1440, 50), true), eXvVF_HD720_50p | 0x1400);
  XV_VID_PROPS beside = Video(2560, 720, 50);
  beside.nRowBytes = NaturalRowBytes(kFccUYVY, 2560);
  EXPECT_EQ(DetectVideoFormat(beside, true), eXvVF_HD720_50p | 0x200);
  beside.nRowBytes *= 2;  // every second row is another picture's
  EXPECT_EQ(DetectVideoFormat(beside, true), 0);
  XV_VID_PROPS flagged = Video(1920, 1080, 50);
  flagged.eVideoFormat = 0x400;
  EXPECT_EQ(DetectVideoFormat(flagged, true), eXvVF_HD1080_50p | 0x400);
  EXPECT_EQ(DetectVideoFormat(Video(INT32_MAX, INT32_MIN, 25), false), 0);
  EXPECT_EQ(DetectVideoFormat(Video(1 << 30, 1080, 25), false), 0);
}

TEST(Normalise, FormatAloneBecomesAWholeRecord) {
  const auto normalised = [](int format, std::uint32_t fourcc = 0, int height = 0) {
    XV_VID_PROPS vid = Video(0, height, 0, 0, fourcc);
    vid.eVideoFormat = format;
    return Normalised(vid);
  };
  const XV_VID_PROPS vid = normalised(eXvVF_HD1080_50i);
  EXPECT_TRUE(vid.nWidth == 1920 && vid.nHeight == 1080 && vid.nRowBytes == 3840);
  EXPECT_EQ(vid.fccColor, kFccHDYC);
  EXPECT_EQ(vid.dblRate, 25.0);
  EXPECT_EQ(vid.eInterlace, eXvI_TopFirst);
  EXPECT_EQ(vid.nAspectX * 9, vid.nAspectY * 16);
  EXPECT_EQ(normalised(eXvVF_PAL).fccColor, kFccUYVY);
  EXPECT_EQ(normalised(eXvVF_HD720_60p, kFccRGB32).nHeight, -720);
  EXPECT_EQ(normalised(eXvVF_HD720_60p, kFccRGB32, 1).nHeight, 720);
  constexpr int kStereo = eXvVF_HD1080_25p | 0x1400;
  EXPECT_EQ(normalised(kStereo).nHeight, 2160);
  EXPECT_EQ(normalised(kStereo).eVideoFormat, kStereo);
}

TEST(Normalise, GivenFieldsWinOverTheFormat) {
  const auto normalised = [](int format, XV_VID_PROPS vid, int rowBytes = 0) {
    vid.eVideoFormat = format;
    vid.nRowBytes = rowBytes;
    return Normalised(vid);
  };
  const XV_VID_PROPS vid = normalised(eXvVF_PAL, Video(1920, 1080, 25, eXvI_Progressive), 4096);
  EXPECT_EQ(vid.eVideoFormat, eXvVF_HD1080_25p);
  EXPECT_TRUE(vid.nWidth == 1920 && vid.nRowBytes == 4096);
  EXPECT_EQ(normalised(eXvVF_PAL, Video(640, 360, 12)).eVideoFormat, 0);
  const XV_VID_PROPS wide = normalised(eXvVF_PAL_16x9, Video(720, 576, 25));
  EXPECT_EQ(wide.eVideoFormat, eXvVF_PAL_16x9);
  EXPECT_EQ(wide.nAspectX, 16);
  EXPECT_EQ(wide.eInterlace, eXvI_TopFirst);
  const XV_VID_PROPS partly = normalised(eXvVF_PAL, Video(0, 608, 0, 0, 0));
  EXPECT_EQ(partly.eVideoFormat, eXvVF_PAL);
  EXPECT_TRUE(partly.nWidth == 720 && partly.nHeight == 608);
}

TEST(Normalise, AlignsAndCompletes) {
  const XV_VID_PROPS yuv = Normalised(Video(721, -577, 24, eXvI_TopFirst, 0));
  EXPECT_EQ(yuv.nWidth, 720);
  EXPECT_EQ(yuv.nHeight, 576);
  EXPECT_EQ(yuv.fccColor, kFccUYVY);
  EXPECT_EQ(yuv.nRowBytes, 1440);
  EXPECT_EQ(Normalised(Video(720, 626, 24, 0, 0)).fccColor, kFccHDYC);
  const XV_VID_PROPS rgb = Normalised(Video(721, -577, 24, eXvI_BottomFirst, kFccRGB24));
  EXPECT_EQ(rgb.nWidth, 721);
  EXPECT_EQ(rgb.nHeight, -576);
  EXPECT_EQ(rgb.nRowBytes, 2164);
  EXPECT_EQ(Normalised(Video(640, 360, 25, 5)).eInterlace, eXvI_Progressive);
  EXPECT_EQ(Normalised(Video(640, 360, 25, 5), false).eInterlace, eXvI_Field);
  EXPECT_EQ(Normalised(Video(640, 360, 25, 0, 0), false).fccColor, 0u);
  XV_VID_PROPS half{};
  half.nAspectX = 16;
  EXPECT_EQ(Normalised(half).nAspectX, 0);
}

TEST(Normalise, SecondRunChangesNothing) {
  for (const std::int32_t id : {0, 5, 14, 46, 0x1200 + 17, 0x400 + 9, 99, -5}) {
    for (const std::uint32_t fourcc : {0u, kFccUYVY, kFccRGB32, kFccI420}) {
      for (const int width : {0, 641, 1920, 2560, 3840}) {
        XV_VID_PROPS vid = Video(width, width == 0 ? 0 : 1080, 25, 0, fourcc);
        vid.eVideoFormat = id;
        const XV_VID_PROPS once = Normalised(vid);
        const XV_VID_PROPS twice = Normalised(once);
        EXPECT_EQ(std::memcmp(&once, &twice, sizeof(once)), 0) << id << " " << width;
      }
    }
  }
  XV_VID_PROPS disabled = Video(641, 481, 25);
  disabled.eVideoFormat = eXvVF_Disabled;
  EXPECT_EQ(Normalised(disabled).nWidth, 641);
  NormaliseVideoProps(nullptr, true);
}

}  // namespace
}  // namespace xv
