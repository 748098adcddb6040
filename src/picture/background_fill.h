#pragma once

#include <cstddef>
#include <cstdint>

#include "base/status.h"
#include "picture/image_view.h"

namespace xv {

inline constexpr std::uint32_t kBlack = 0xFF000000;

// Video-range BT.601 of a colour 0x..RRGGBB, rounded, luma in 16-235 and chroma in 16-240.
struct YuvColour {
  std::uint8_t y;
  std::uint8_t u;
  std::uint8_t v;
};
YuvColour YuvFromRgb(std::uint32_t colour);

// Lays colour 0xAARRGGBB over the picture; `opacity` 0 to 1 in steps of 1/128. S_FALSE when that is
// nothing. Layouts that are not 8-bit are filled or left, not blended.
Status FillBackground(const ImageView& view, std::uint32_t colour, double opacity);

}  // namespace xv
