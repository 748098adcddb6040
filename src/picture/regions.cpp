#include "picture/regions.h"

#include <algorithm>
#include <utility>

#include "media/pixel_layout.h"
#include "picture/rounding.h"

namespace xv {
namespace {

void MakeEven(PixelRect& rect) {
  rect.left = (rect.left + 1) & ~1;
  rect.right &= ~1;
}

// Takes `over` off one side of a pair of intervals, and its counterpart off the other.
struct Side {
  int* source;
  int* target;
  double factor;  // target over source
  int sign;       // +1 moves to the right

  void TakeSource(int over) const {
    *source += sign * over;
    *target += sign * RoundHalfAway(over * factor);
  }
  void TakeTarget(int over) const {
    *target += sign * over;
    *source += sign * RoundHalfAway(over / factor);
  }
};

void FitInterval(int* sourceLow, int* sourceHigh, int sourceLimit, int* targetLow, int* targetHigh,
                 int targetLimit) {
  const int sourceSize = *sourceHigh - *sourceLow;
  const int targetSize = *targetHigh - *targetLow;
  if (sourceSize < 1 || targetSize < 1) return;
  const double factor = static_cast<double>(targetSize) / sourceSize;
  const Side low{sourceLow, targetLow, factor, 1};
  const Side high{sourceHigh, targetHigh, factor, -1};
  if (*sourceLow < 0) low.TakeSource(-*sourceLow);
  if (*targetLow < 0) low.TakeTarget(-*targetLow);
  if (*sourceHigh > sourceLimit) high.TakeSource(*sourceHigh - sourceLimit);
  if (*targetHigh > targetLimit) high.TakeTarget(*targetHigh - targetLimit);
}

// What rounding has left outside is cut.
void Clip(PixelRect& rect, const ImageView& view) {
  rect.left = std::clamp(rect.left, 0, view.width);
  rect.top = std::clamp(rect.top, 0, view.height);
  rect.right = std::clamp(rect.right, rect.left, view.width);
  rect.bottom = std::clamp(rect.bottom, rect.top, view.height);
}

}  // namespace

Status FitRectangles(const ImageView& source, const ImageView& target, PixelRect* sourceRect,
                     PixelRect* targetRect, bool scaled) {
  for (const auto& [rect, view] :
       {std::pair{sourceRect, &source}, std::pair{targetRect, &target}}) {
    if (rect->left >= view->width || rect->top >= view->height) return E_INVALIDARG;
  }
  const bool even = !IsRgb(source.tag) && !IsRgb(target.tag);
  if (even) {
    MakeEven(*sourceRect);
    MakeEven(*targetRect);
  }
  if (scaled) {
    FitInterval(&sourceRect->left, &sourceRect->right, source.width, &targetRect->left,
                &targetRect->right, target.width);
    FitInterval(&sourceRect->top, &sourceRect->bottom, source.height, &targetRect->top,
                &targetRect->bottom, target.height);
  }
  Clip(*sourceRect, source);
  Clip(*targetRect, target);
  if (!scaled) {
    const int width = std::min(sourceRect->Width(), targetRect->Width());
    const int height = std::min(sourceRect->Height(), targetRect->Height());
    for (PixelRect* rect : {sourceRect, targetRect}) {
      rect->right = rect->left + width;
      rect->bottom = rect->top + height;
    }
  }
  if (even) {
    MakeEven(*sourceRect);
    MakeEven(*targetRect);
  }
  return S_OK;
}

ImageView RegionView(const ImageView& view, const PixelRect& rect) {
  return RegionView(view, rect.left, rect.top, std::max(rect.Width(), 0),
                    std::max(rect.Height(), 0));
}

}  // namespace xv
