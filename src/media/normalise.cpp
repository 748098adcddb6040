#include "media/normalise.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <initializer_list>

#include "media/pixel_layout.h"
#include "media/validity.h"
#include "media/video_format.h"

namespace xv {
namespace {

constexpr double kRateTolerance = 0.01;
constexpr int kSdLines = 625;  // taller pictures are high definition: BT.709

int Lines(const XV_VID_PROPS& vid) { return vid.nHeight == INT32_MIN ? 0 : std::abs(vid.nHeight); }

bool RateMatches(const XV_VID_PROPS& vid, int row) {
  return std::fabs(vid.dblRate - FormatRate(row)) <= kRateTolerance;
}

// The lines of `vid` can be those of a row `height` lines tall.
bool HeightMatches(const XV_VID_PROPS& vid, int height, int row, bool strict) {
  const int extra = strict ? 0 : FormatLines(row);
  return Lines(vid) >= height && Lines(vid) <= FormatSize(row).height + extra;
}

// The first row that has the raster, the rate and (where the record gives one) the field order.
std::int32_t FirstRow(const XV_VID_PROPS& vid, std::initializer_list<int> rows, bool strict) {
  for (const int row : rows) {
    const PictureSize size = FormatSize(row);
    if (vid.nWidth != size.width || !HeightMatches(vid, size.height, row, strict)) continue;
    if (!RateMatches(vid, row)) continue;
    if (vid.eInterlace == eXvI_Auto || vid.eInterlace == FormatInterlace(row)) return row;
  }
  return 0;
}

// 720 pixels: the field order does not tell the formats apart, the picture aspect does.
std::int32_t DetectSd(const XV_VID_PROPS& vid, bool strict) {
  constexpr int kNtscActiveLines = 480;  // of 486
  constexpr double kWide = 1.4;
  const bool wide = vid.nAspectY != 0 && static_cast<double>(vid.nAspectX) / vid.nAspectY > kWide;
  if (HeightMatches(vid, FormatSize(eXvVF_PAL).height, eXvVF_PAL, strict)) {
    if (!RateMatches(vid, eXvVF_PAL)) return 0;
    return wide ? eXvVF_PAL_16x9 : eXvVF_PAL;
  }
  if (!HeightMatches(vid, kNtscActiveLines, eXvVF_NTSC, strict)) return 0;
  if (RateMatches(vid, eXvVF_NTSC)) return wide ? eXvVF_NTSC_16x9 : eXvVF_NTSC;
  return RateMatches(vid, eXvVF_NTSC_2398p) ? eXvVF_NTSC_2398p : 0;
}

// One picture of one view. The interlaced rows come before the progressive ones of their rate where
// broadcast would take them so.
std::int32_t DetectPlain(const XV_VID_PROPS& vid, bool strict) {
  switch (vid.nWidth) {
    case 720:
      return DetectSd(vid, strict);
    case 1280:
    case 1920: {
      const std::int32_t row =
          FirstRow(vid,
                   {eXvVF_HD720_5994p, eXvVF_HD720_60p, eXvVF_HD720_50p, eXvVF_HD1080_2398p,
                    eXvVF_HD1080_24p, eXvVF_HD1080_50i, eXvVF_HD1080_25p, eXvVF_HD1080_5994i,
                    eXvVF_HD1080_2997p, eXvVF_HD1080_60i, eXvVF_HD1080_30p, eXvVF_HD1080_50p,
                    eXvVF_HD1080_5994p, eXvVF_HD1080_60p},
                   strict);
      return row == 0 ? 0 : row | (vid.eVideoFormat & kStereoMask);
    }
    case 2048:
      return FirstRow(
          vid,
          {eXvVF_2K_DCI_2398p, eXvVF_2K_DCI_24p, eXvVF_2K_DCI_25p, eXvVF_2K_DCI_50p,
           eXvVF_2K_DCI_5994p, eXvVF_2K_DCI_60p, eXvVF_2K_2398p, eXvVF_2K_24p, eXvVF_2K_25p},
          strict);
    case 3840:
      return FirstRow(vid,
                      {eXvVF_4K_UHD_2398p, eXvVF_4K_UHD_24p, eXvVF_4K_UHD_25p, eXvVF_4K_UHD_2997p,
                       eXvVF_4K_UHD_30p, eXvVF_4K_UHD_50i, eXvVF_4K_UHD_5994i, eXvVF_4K_UHD_60i,
                       eXvVF_4K_UHD_50p, eXvVF_4K_UHD_5994p, eXvVF_4K_UHD_60p},
                      strict);
    case 4096:
      return FirstRow(vid,
                      {eXvVF_4K_DCI_2398p, eXvVF_4K_DCI_24p, eXvVF_4K_DCI_25p, eXvVF_4K_DCI_50p,
                       eXvVF_4K_DCI_5994p, eXvVF_4K_DCI_60p},
                      strict);
    default:
      return 0;
  }
}

bool IsPlainFormat(std::int32_t id) { return id > 0 && (id & kStereoMask) == 0; }

// Two full views, one above the other.
std::int32_t DetectAbove(const XV_VID_PROPS& vid) {
  XV_VID_PROPS view = vid;
  view.eVideoFormat = 0;
  view.nHeight /= 2;
  const std::int32_t id = DetectVideoFormat(view, false);
  return IsPlainFormat(id) ? id | eXvVF_VerticalSplit | eXvVF_FullSize : 0;
}

// Two views side by side.
std::int32_t DetectBeside(const XV_VID_PROPS& vid, bool strict) {
  XV_VID_PROPS view = vid;
  view.eVideoFormat = 0;
  view.nWidth /= 2;
  view.nRowBytes /= 2;
  const std::int32_t id = DetectVideoFormat(view, strict);
  return IsPlainFormat(id) ? id | eXvVF_HorizontalSplit : 0;
}

void CompleteLayout(XV_VID_PROPS* vid) {
  if (vid->fccColor != 0) return;
  vid->fccColor = FormatClass(vid->eVideoFormat) == kClassSD ? kFccUYVY : kFccHDYC;
}

// The record gives a raster and a rate that are not those of the format it names.
bool Contradicts(const XV_VID_PROPS& vid) {
  if (!IsPlainFormat(vid.eVideoFormat)) return false;
  if (!(vid.dblRate > 0) || vid.nWidth <= 0 || Lines(vid) < 2) return false;
  const PictureSize size = FormatSize(vid.eVideoFormat);
  return vid.nWidth != size.width || !RateMatches(vid, vid.eVideoFormat) ||
         !HeightMatches(vid, size.height, vid.eVideoFormat, false);
}

void CompleteAspect(XV_VID_PROPS* vid) {
  if (vid->nAspectX != 0) return;
  const PictureSize aspect = FormatAspect(vid->eVideoFormat);
  vid->nAspectX = static_cast<std::int16_t>(aspect.width);
  vid->nAspectY = static_cast<std::int16_t>(aspect.height);
}

// What the record leaves open is the format's; what it gives wins over the format.
void ExpandFormat(XV_VID_PROPS* vid) {
  CompleteLayout(vid);
  if (FormatRate(vid->eVideoFormat) == 0.0) return;
  if (Contradicts(*vid)) vid->eVideoFormat = DetectVideoFormat(*vid, false);
  const std::int32_t id = vid->eVideoFormat;
  const PictureSize size = FormatSize(id);
  if (!(vid->dblRate > 0)) vid->dblRate = FormatRate(id);
  if (vid->eInterlace == eXvI_Auto) vid->eInterlace = FormatInterlace(id);
  CompleteAspect(vid);
  if (vid->nWidth <= 0) vid->nWidth = size.width;
  if (vid->nHeight == 0) vid->nHeight = IsRgb(vid->fccColor) ? -size.height : size.height;
  if (Lines(*vid) == 1) vid->nHeight *= size.height;
}

bool HasFormat(const XV_VID_PROPS& vid) {
  return vid.eVideoFormat > 0 && FindVideoFormat(vid.eVideoFormat) != nullptr;
}

void CompleteFromSize(XV_VID_PROPS* vid) {
  if (vid->nWidth <= 0 || vid->nHeight == 0) return;
  if (vid->eInterlace < eXvI_TopFirst || vid->eInterlace > eXvI_Progressive) {
    vid->eInterlace = eXvI_Progressive;
  }
  if (vid->fccColor == 0) vid->fccColor = Lines(*vid) <= kSdLines ? kFccUYVY : kFccHDYC;
}

void AlignSize(XV_VID_PROPS* vid) {
  if (!IsRgb(vid->fccColor)) {
    vid->nWidth &= ~1;
    vid->nHeight = Lines(*vid);
  }
  if (InterlaceOrder(*vid) != 0) {
    vid->nHeight = (vid->nHeight < 0 ? -1 : 1) * (Lines(*vid) & ~1);
  }
}

}  // namespace

std::int32_t DetectVideoFormat(const XV_VID_PROPS& vid, bool strict) {
  constexpr int kTwoViewsTall = 1440;
  constexpr int kOneViewWide = 2048;
  constexpr int kTwoViewsWide = 2560;
  constexpr int kOneViewTall = 1080;
  if (const std::int32_t id = DetectPlain(vid, strict); id != 0) return id;
  if (Lines(vid) >= kTwoViewsTall && vid.nWidth <= kOneViewWide) {
    if (const std::int32_t id = DetectAbove(vid); id != 0) return id;
  }
  if (vid.nWidth >= kTwoViewsWide && Lines(vid) <= kOneViewTall &&
      (vid.nRowBytes == 0 ||
       vid.nRowBytes < 2 * std::int64_t{NaturalRowBytes(vid.fccColor, vid.nWidth)})) {
    return DetectBeside(vid, strict);
  }
  return 0;
}

void NormaliseVideoProps(XV_VID_PROPS* vid, bool writeBack) {
  if (vid == nullptr || vid->eVideoFormat == eXvVF_Disabled) return;
  if (vid->nAspectX == 0 || vid->nAspectY == 0) vid->nAspectX = vid->nAspectY = 0;
  const bool named = HasFormat(*vid);
  if (named) ExpandFormat(vid);
  if (writeBack) CompleteFromSize(vid);
  if (!named) {
    vid->eVideoFormat = DetectVideoFormat(*vid, false);
    CompleteAspect(vid);
  }
  AlignSize(vid);
  // Rows shorter than the layout's own cannot be.
  vid->nRowBytes = std::max(vid->nRowBytes, NaturalRowBytes(vid->fccColor, vid->nWidth));
}

}  // namespace xv
