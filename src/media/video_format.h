#pragma once

#include <cstdint>

#include "xvwriter/media.h"

namespace xv {

// One standard raster and rate. Static storage; never freed.
struct VideoFormatRow {
  const char* name;     // the enumerator, "eXvVF_HD1080_50i"
  const char* display;  // "HD1080-50i"
  int rateNum;          // frames per second as a fraction; 0/1 without a rate
  int rateDen;
  std::uint32_t interlace;  // eXvInterlace
  int width;
  int height;
  int aspectX;
  int aspectY;
  int sizeClass;  // kClassNone, ...
  int lines;      // lines of blanking that a taller picture may carry on top of `height`
};

// Size classes.
inline constexpr int kClassNone = -1;
inline constexpr int kClassSD = 0;
inline constexpr int kClassHD = 1;
inline constexpr int kClass2K = 2;
inline constexpr int kClass4K = 4;
inline constexpr int kClass4KHighRate = 8;

inline constexpr int kVideoFormatCount = 47;

// Bits of an id that are not its row.
inline constexpr std::int32_t kStereoSplitMask = eXvVF_HorizontalSplit | eXvVF_VerticalSplit;
inline constexpr std::int32_t kStereoMask = kStereoSplitMask | eXvVF_FullSize;

// The row that the low byte of `id` names, or null.
const VideoFormatRow* FindVideoFormat(std::int32_t id);

struct PictureSize {
  int width = 0;
  int height = 0;
};

// Frames per second; 0.0 for no row.
double FormatRate(std::int32_t id);
// Of the row, doubled as the stereo flags ask: eXvVF_FullSize doubles the width together with
// eXvVF_HorizontalSplit and the height together with eXvVF_VerticalSplit.
PictureSize FormatSize(std::int32_t id);
// Both 0 for no row.
PictureSize FormatAspect(std::int32_t id);
std::uint32_t FormatInterlace(std::int32_t id);
int FormatLines(std::int32_t id);
// 0 for no row.
int FormatClass(std::int32_t id);

}  // namespace xv
