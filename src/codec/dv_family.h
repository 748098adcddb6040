#pragma once

#include "contracts/av_handles.h"
#include "xvwriter/media.h"

namespace xv {

// Members of the DV family, in the order of the words of "dv_format": SD (IEC 61834), 25 Mbit/s and
// 50 Mbit/s (SMPTE 314M), HD (SMPTE 370M).
inline constexpr int kDvAuto = -1;
inline constexpr int kDvSd = 0;
inline constexpr int kDvHd = 3;

// The member for a file of DV frames alone, which tells nothing of its sampling: what every player
// knows at that raster, unless `index` is one.
int RawDvMember(const XV_VID_PROPS& input, int index);

// The raster and rate of member `index` (kDvAuto picks one from the input) and, in `pixelFormat`,
// the sampling. YUYV422 there stands for 4:2:2. Pictures of SD stay bottom first; all else becomes
// top first.
XV_VID_PROPS DvRaster(const XV_VID_PROPS& input, int index, int* pixelFormat);

}  // namespace xv
