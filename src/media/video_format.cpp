#include "media/video_format.h"

#include <iterator>

namespace xv {
namespace {

// Indexed by eXvVideoFormat. Rates, rasters and field orders: SMPTE ST 125 and ITU-R BT.601 (SD),
// SMPTE ST 296 (720 lines), ST 274 (1080 lines), ST 2048 (2K), ST 2036 (UHD), DCI DCSS (4096).
constexpr VideoFormatRow kRows[] = {
    // clang-format off
    {"eXvVF_Custom", "Custom", 0, 1, eXvI_Auto, 0, 0, 0, 0, kClassNone, 0},
    {"eXvVF_NTSC", "NTSC", 30000, 1001, eXvI_BottomFirst, 720, 486, 4, 3, kClassSD, 39},
    {"eXvVF_NTSC_2398p", "NTSC-23p", 24000, 1001, eXvI_Progressive, 720, 486, 4, 3, kClassSD, 39},
    {"eXvVF_NTSC_16x9", "NTSC-16x9", 30000, 1001, eXvI_BottomFirst, 720, 486, 16, 9, kClassSD, 39},
    {"eXvVF_PAL", "PAL", 25, 1, eXvI_TopFirst, 720, 576, 4, 3, kClassSD, 49},
    {"eXvVF_PAL_16x9", "PAL-16x9", 25, 1, eXvI_TopFirst, 720, 576, 16, 9, kClassSD, 49},
    {"eXvVF_HD720_50p", "HD720-50p", 50, 1, eXvI_Progressive, 1280, 720, 16, 9, kClassHD, 30},
    {"eXvVF_HD720_5994p", "HD720-59p", 60000, 1001, eXvI_Progressive, 1280, 720, 16, 9, kClassHD, 30},
    {"eXvVF_HD720_60p", "HD720-60p", 60, 1, eXvI_Progressive, 1280, 720, 16, 9, kClassHD, 30},
    {"eXvVF_HD1080_2398p", "HD1080-23p", 24000, 1001, eXvI_Progressive, 1920, 1080, 16, 9, kClassHD, 45},
    {"eXvVF_HD1080_24p", "HD1080-24p", 24, 1, eXvI_Progressive, 1920, 1080, 16, 9, kClassHD, 45},
    {"eXvVF_HD1080_25p", "HD1080-25p", 25, 1, eXvI_Progressive, 1920, 1080, 16, 9, kClassHD, 45},
    {"eXvVF_HD1080_2997p", "HD1080-29p", 30000, 1001, eXvI_Progressive, 1920, 1080, 16, 9, kClassHD, 45},
    {"eXvVF_HD1080_30p", "HD1080-30p", 30, 1, eXvI_Progressive, 1920, 1080, 16, 9, kClassHD, 45},
    {"eXvVF_HD1080_50i", "HD1080-50i", 25, 1, eXvI_TopFirst, 1920, 1080, 16, 9, kClassHD, 45},
    {"eXvVF_HD1080_5994i", "HD1080-59i", 30000, 1001, eXvI_TopFirst, 1920, 1080, 16, 9, kClassHD, 45},
    {"eXvVF_HD1080_60i", "HD1080-60i", 30, 1, eXvI_TopFirst, 1920, 1080, 16, 9, kClassHD, 45},
    {"eXvVF_HD1080_50p", "HD1080-50p", 50, 1, eXvI_Progressive, 1920, 1080, 16, 9, kClassHD, 45},
    {"eXvVF_HD1080_5994p", "HD1080-59p", 60000, 1001, eXvI_Progressive, 1920, 1080, 16, 9, kClassHD, 45},
    {"eXvVF_HD1080_60p", "HD1080-60p", 60, 1, eXvI_Progressive, 1920, 1080, 16, 9, kClassHD, 45},
    {"eXvVF_2K_DCI_2398p", "2K-DCI-23p", 24000, 1001, eXvI_Progressive, 2048, 1080, 256, 135, kClass2K, 0},
    {"eXvVF_2K_DCI_24p", "2K-DCI-24p", 24, 1, eXvI_Progressive, 2048, 1080, 256, 135, kClass2K, 0},
    {"eXvVF_2K_DCI_25p", "2K-DCI-25p", 25, 1, eXvI_Progressive, 2048, 1080, 256, 135, kClass2K, 0},
    {"eXvVF_2K_DCI_50p", "2K-DCI-50p", 50, 1, eXvI_Progressive, 2048, 1080, 256, 135, kClass2K, 0},
    {"eXvVF_2K_DCI_5994p", "2K-DCI-59p", 60000, 1001, eXvI_Progressive, 2048, 1080, 256, 135, kClass2K, 0},
    {"eXvVF_2K_DCI_60p", "2K-DCI-60p", 60, 1, eXvI_Progressive, 2048, 1080, 256, 135, kClass2K, 0},
    {"eXvVF_2K_2398p", "2K-23p", 24000, 1001, eXvI_Progressive, 2048, 1556, 239, 100, kClass2K, 0},
    {"eXvVF_2K_24p", "2K-24p", 24, 1, eXvI_Progressive, 2048, 1556, 239, 100, kClass2K, 0},
    {"eXvVF_2K_25p", "2K-25p", 25, 1, eXvI_Progressive, 2048, 1556, 239, 100, kClass2K, 0},
    {"eXvVF_4K_UHD_50i", "4K-UHD-50i", 25, 1, eXvI_TopFirst, 3840, 2160, 16, 9, kClass4K, 0},
    {"eXvVF_4K_UHD_5994i", "4K-UHD-59i", 30000, 1001, eXvI_TopFirst, 3840, 2160, 16, 9, kClass4K, 0},
    {"eXvVF_4K_UHD_60i", "4K-UHD-60i", 30, 1, eXvI_TopFirst, 3840, 2160, 16, 9, kClass4K, 0},
    {"eXvVF_4K_UHD_2398p", "4K-UHD-23p", 24000, 1001, eXvI_Progressive, 3840, 2160, 16, 9, kClass4K, 0},
    {"eXvVF_4K_UHD_24p", "4K-UHD-24p", 24, 1, eXvI_Progressive, 3840, 2160, 16, 9, kClass4K, 0},
    {"eXvVF_4K_UHD_25p", "4K-UHD-25p", 25, 1, eXvI_Progressive, 3840, 2160, 16, 9, kClass4K, 0},
    {"eXvVF_4K_UHD_2997p", "4K-UHD-29p", 30000, 1001, eXvI_Progressive, 3840, 2160, 16, 9, kClass4K, 0},
    {"eXvVF_4K_UHD_30p", "4K-UHD-30p", 30, 1, eXvI_Progressive, 3840, 2160, 16, 9, kClass4K, 0},
    {"eXvVF_4K_DCI_2398p", "4K-DCI-23p", 24000, 1001, eXvI_Progressive, 4096, 2160, 256, 135, kClass4K, 0},
    {"eXvVF_4K_DCI_24p", "4K-DCI-24p", 24, 1, eXvI_Progressive, 4096, 2160, 256, 135, kClass4K, 0},
    {"eXvVF_4K_DCI_25p", "4K-DCI-25p", 25, 1, eXvI_Progressive, 4096, 2160, 256, 135, kClass4K, 0},
    {"eXvVF_4K_UHD_50p", "4K-UHD-50p", 50, 1, eXvI_Progressive, 3840, 2160, 16, 9, kClass4KHighRate, 0},
    {"eXvVF_4K_UHD_5994p", "4K-UHD-59p", 60000, 1001, eXvI_Progressive, 3840, 2160, 16, 9, kClass4KHighRate, 0},
    {"eXvVF_4K_UHD_60p", "4K-UHD-60p", 60, 1, eXvI_Progressive, 3840, 2160, 16, 9, kClass4KHighRate, 0},
    {"eXvVF_4K_DCI_50p", "4K-DCI-50p", 50, 1, eXvI_Progressive, 4096, 2160, 256, 135, kClass4KHighRate, 0},
    {"eXvVF_4K_DCI_5994p", "4K-DCI-59p", 60000, 1001, eXvI_Progressive, 4096, 2160, 256, 135, kClass4KHighRate, 0},
    {"eXvVF_4K_DCI_60p", "4K-DCI-60p", 60, 1, eXvI_Progressive, 4096, 2160, 256, 135, kClass4KHighRate, 0},
    {"eXvVF_Disabled", "Disabled", 0, 1, eXvI_Auto, 0, 0, 0, 0, kClassNone, 0},
    // clang-format on
};
static_assert(std::size(kRows) == kVideoFormatCount);

}  // namespace

const VideoFormatRow* FindVideoFormat(std::int32_t id) {
  const int index = id & 0xFF;
  return index < kVideoFormatCount ? &kRows[index] : nullptr;
}

double FormatRate(std::int32_t id) {
  const VideoFormatRow* row = FindVideoFormat(id);
  return row == nullptr ? 0.0 : static_cast<double>(row->rateNum) / row->rateDen;
}

PictureSize FormatSize(std::int32_t id) {
  const VideoFormatRow* row = FindVideoFormat(id);
  if (row == nullptr) return {};
  const bool full = (id & eXvVF_FullSize) != 0;
  const bool wide = full && (id & eXvVF_HorizontalSplit) != 0;
  const bool tall = full && (id & eXvVF_VerticalSplit) != 0;
  return {wide ? 2 * row->width : row->width, tall ? 2 * row->height : row->height};
}

PictureSize FormatAspect(std::int32_t id) {
  const VideoFormatRow* row = FindVideoFormat(id);
  return row == nullptr ? PictureSize{} : PictureSize{row->aspectX, row->aspectY};
}

std::uint32_t FormatInterlace(std::int32_t id) {
  const VideoFormatRow* row = FindVideoFormat(id);
  return row == nullptr ? std::uint32_t{eXvI_Auto} : row->interlace;
}

int FormatLines(std::int32_t id) {
  const VideoFormatRow* row = FindVideoFormat(id);
  return row == nullptr ? 0 : row->lines;
}

int FormatClass(std::int32_t id) {
  const VideoFormatRow* row = FindVideoFormat(id);
  return row == nullptr ? 0 : row->sizeClass;
}

}  // namespace xv
