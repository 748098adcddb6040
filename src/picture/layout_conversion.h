#pragma once

#include <cstdint>

#include "base/status.h"
#include "picture/image_view.h"
#include "picture/regions.h"

namespace xv {

// Converts a picture to the layout of `target`, which has the same size. Against
// RGB the source's matrix counts, HDYC's is made with a formula of integers; all are video range.
// RGB32 to ARGB32 copies the fourth byte; what comes from other layouts is opaque.
//   E_NOTIMPL  the pair of layouts has no conversion; the target is as it was.
Status ConvertPixels(const ImageView& source, const ImageView& target);

// One entry of the table of direct conversions. `multiplier` is -1 where the routine writes a
// constant alpha of 255, else 1.
struct DirectConverter {
  Status (*routine)(const ImageView& source, const ImageView& target);
  int multiplier;
};

// The entry of a pair of layouts, or null. RGB32, ARGB32 and r210 share a row; RGB24, UYVY, HDYC,
// YUY2 and v210 have one each. RGB to v210 has an entry whose routine gives E_NOTIMPL.
const DirectConverter* ConvertPair(std::uint32_t source, std::uint32_t target);

// Conversion of layout without scaling: the smaller of the two rectangles. Null: whole pictures.
//   E_INVALIDARG  a null picture, or a rectangle outside of it.
//   E_FAIL        the pair of layouts has no conversion.
Status ConvertFormat(const ImageView& source, const ImageView& target,
                     const PixelRect* sourceRect = nullptr, const PixelRect* targetRect = nullptr);

// Conversion of two pictures of one size in `strips` bands of rows side by side.
//   E_FAIL  the pair of layouts has no conversion.
Status ConvertRegion(const ImageView& source, const ImageView& target, int strips);

}  // namespace xv
