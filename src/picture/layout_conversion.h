#pragma once

#include <cstdint>

#include "picture/image_view.h"

namespace xv {

// The pair of layouts has no conversion.
inline constexpr int kUnsupportedPair = -9999;

// Converts a picture to the layout of `target`, which has the same size. HDYC is BT.709 against
// RGB, every other YCbCr layout BT.601; all are video range. RGB32 to ARGB32 copies the fourth
// byte; what comes from other layouts is opaque. 0, or kUnsupportedPair.
int ConvertPixels(const ImageView& source, const ImageView& target);

// One entry of the table of direct conversions. `multiplier` is -1 where the routine writes a
// constant alpha of 255, else 1.
struct DirectConverter {
  int (*routine)(const ImageView& source, const ImageView& target);
  int multiplier;
};

// The entry of a pair of layouts, or null. RGB32, ARGB32 and r210 share a row; RGB24, UYVY, HDYC,
// YUY2 and v210 have one each. RGB to v210 has an entry whose routine gives kUnsupportedPair.
const DirectConverter* ConvertPair(std::uint32_t source, std::uint32_t target);

}  // namespace xv
