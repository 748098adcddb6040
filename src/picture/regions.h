#pragma once

#include "base/status.h"
#include "picture/image_view.h"

namespace xv {

// Right and bottom are past the last column and row.
struct PixelRect {
  int left = 0;
  int top = 0;
  int right = 0;
  int bottom = 0;

  int Width() const { return right - left; }
  int Height() const { return bottom - top; }
};

// Makes two rectangles consistent with their pictures; a null one is the whole picture. Unless one
// side is RGB, left and right become even. `scaled` takes overshoot off both at once, in
// proportion; else both get the smaller width and height.
//   E_INVALIDARG  left or top lies at or past the picture's right or bottom.
Status FitRectangles(const ImageView& source, const ImageView& target, PixelRect* sourceRect,
                     PixelRect* targetRect, bool scaled);

ImageView RegionView(const ImageView& view, const PixelRect& rect);

}  // namespace xv
