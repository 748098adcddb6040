#pragma once

#include <cstdint>

#include "picture/image_view.h"

// Rows of any RGB layout as B, G, R, A bytes and back.
namespace xv {

// RGB24, RGB32, ARGB32, r210.
bool IsRgbSource(std::uint32_t tag);

// Row `y` as BGRA: the picture's own memory where it has that form, else in scratch slot `slot`.
const std::uint8_t* BgraRow(const ImageView& view, int y, int slot);

// The 8-bit companion of R210ToRgb48: the upper 8 of each 10 bits, alpha 255.
void R210RowToBgra(const std::uint8_t* source, std::uint8_t* bgra, int width);

// Each little-endian word w gives B = (w << 4) & 0xFFC0, G = (w >> 6) & 0xFFC0,
// R = (w >> 16) & 0xFFC0, stored R, G, B in 16 bits.
void R210ToRgb48(const ImageView& source, std::uint8_t* target, std::ptrdiff_t targetStep);

}  // namespace xv
