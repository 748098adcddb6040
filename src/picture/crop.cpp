#include "picture/crop.h"

#include <algorithm>
#include <cstdlib>

#include "contracts/av_handles.h"
#include "media/pixel_layout.h"
#include "media/validity.h"
#include "picture/image_view.h"

namespace xv {
namespace {

// Larger cuts leave nothing of any picture; sums of them stay in range.
constexpr int kMostPixels = 1 << 20;

constexpr int Below(int value, int unit) {
  return std::clamp(value, -kMostPixels, kMostPixels) & -unit;
}

}  // namespace

CropSides WholeSamples(const CropSides& sides, const XV_VID_PROPS& vid) {
  const int across = IsRgb(vid.fccColor) ? 1 : 2;
  const int down = LineUnit(vid.fccColor, InterlaceOrder(vid) != 0);
  return {Below(sides.left, across), Below(sides.top, down),
          Below(sides.right, across) + vid.nWidth % across, Below(sides.bottom, down)};
}

XV_VID_PROPS CutProps(const XV_VID_PROPS& vid, const CropSides& sides) {
  XV_VID_PROPS cut = vid;
  const int lines = std::abs(vid.nHeight);
  const int width = vid.nWidth - sides.left - sides.right;
  const int height = lines - sides.top - sides.bottom;
  cut.eVideoFormat = eXvVF_Custom;
  cut.nWidth = width;
  cut.nHeight = vid.nHeight < 0 ? -height : height;
  if (width < 1 || height < 1) return cut;
  const bool known = vid.nAspectX > 0 && vid.nAspectY > 0;
  const std::int64_t x = known ? std::int64_t{vid.nAspectX} * lines : vid.nWidth;
  const std::int64_t y = known ? std::int64_t{vid.nAspectY} * vid.nWidth : vid.nWidth;
  AVRational aspect{};
  av_reduce(&aspect.num, &aspect.den, x * width, y * height, INT16_MAX);
  cut.nAspectX = static_cast<std::int16_t>(aspect.num);
  cut.nAspectY = static_cast<std::int16_t>(aspect.den);
  return cut;
}

}  // namespace xv
