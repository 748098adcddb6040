#pragma once

#include <cstdint>

#include "xvwriter/media.h"

// Memory shape of the picture layouts. A layout is a four-character code or the first word of a
// media subtype; unknown ones have 0 bits a pixel and 0 row bytes.
namespace xv {

// The layouts whose sign of height tells the row order: positive is bottom-up.
bool IsRgb(std::uint32_t fourcc);
bool IsPlanar(std::uint32_t fourcc);
// An RGB layout with a positive height. RGB8, which serves as a mask, is always top-down.
bool IsBottomUp(std::uint32_t fourcc, int height);

// NV12 counts 16: its row arithmetic uses the width.
int BitsPerPixel(std::uint32_t fourcc);

// Bytes of one line of the first plane without padding beyond the layout's own: v210 in groups of
// 48 pixels of 128 bytes, r210 in groups of 64 pixels of 256 bytes, planar layouts the width, the
// others rounded up to 4. 0 for an unknown layout or a width below 1.
int NaturalRowBytes(std::uint32_t fourcc, int width);

// Bytes of a whole picture. `rowBytes` 0 takes the natural ones; signs of height and row bytes do
// not count. Every planar layout counts 3/2 of its first plane.
std::int64_t FrameBytes(std::uint32_t fourcc, int width, int height, int rowBytes = 0);

}  // namespace xv
