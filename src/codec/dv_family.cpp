#include "codec/dv_family.h"

#include <cstdlib>

#include "codec/line_systems.h"
#include "frames/scaling_choice.h"
#include "media/pixel_layout.h"

namespace xv {
namespace {

int PickMember(const XV_VID_PROPS& input) {
  if (std::abs(input.nHeight) >= 625 || input.nWidth >= 1280) return kDvHd;
  return IsPlanar(input.fccColor) ? 1 : 2;
}

}  // namespace

int RawDvMember(const XV_VID_PROPS& input, int index) {
  const bool asked = index >= 0 && index <= kDvHd;
  return asked || PickMember(input) == kDvHd ? index : kDvSd;
}

XV_VID_PROPS DvRaster(const XV_VID_PROPS& input, int index, int* pixelFormat) {
  if (index < 0 || index > kDvHd) index = PickMember(input);
  const bool ntscRate = !Is625(input.dblRate);
  XV_VID_PROPS raster = input;
  raster.dblRate = ntscRate ? kRate525 : kRate625;
  raster.eVideoFormat = eXvVF_Custom;
  raster.fccColor = kFccYUY2;
  raster.eInterlace = eXvI_TopFirst;
  const bool bottomFirst = input.eInterlace == eXvI_BottomFirst;
  if (index == kDvHd) {
    raster.nAspectX = 16;
    raster.nAspectY = 9;
    if (input.dblRate > 35.0) {
      raster.nWidth = 960;
      raster.nHeight = 720;
      raster.dblRate *= 2;
      raster.eInterlace = eXvI_Progressive;
    } else {
      raster.nWidth = ntscRate ? 1280 : 1440;
      raster.nHeight = 1080;
    }
  } else {
    if (bottomFirst) raster.eInterlace = eXvI_BottomFirst;
    const bool wide = DisplayAspect(input) > 1.5;
    raster.nAspectX = wide ? 16 : 4;
    raster.nAspectY = wide ? 9 : 3;
    raster.nWidth = 720;
    raster.nHeight = ntscRate ? 480 : 576;
  }
  raster.nRowBytes = NaturalRowBytes(raster.fccColor, raster.nWidth);
  *pixelFormat = AV_PIX_FMT_YUYV422;
  if (index == 0) *pixelFormat = ntscRate ? AV_PIX_FMT_YUV411P : AV_PIX_FMT_YUV420P;
  if (index == 1) *pixelFormat = AV_PIX_FMT_YUV411P;
  return raster;
}

}  // namespace xv
