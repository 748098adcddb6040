#include "media/pixel_layout.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>

namespace xv {
namespace {

struct Layout {
  std::uint32_t fourcc;
  int bits;  // a pixel
  bool planar;
  bool rgb;
};

constexpr Layout kLayouts[] = {
    {FourCC("YVU9"), 9, false, false},  // planar by nature; its rows are counted as packed
    {kFccI420, 12, true, false},       {kFccYV12, 12, true, false},
    {kFccNV12, 16, true, false},       {kFccY422, 16, true, false},
    {kFccY444, 24, true, false},       {FourCC("IYU2"), 24, false, false},
    {kFccYUY2, 16, false, false},      {kFccUYVY, 16, false, false},
    {kFccYVYU, 16, false, false},      {kFccHDYC, 16, false, false},
    {kFccRGB555, 16, false, true},     {kFccRGB565, 16, false, true},
    {kFccV210, 20, false, false},      {kFccR210, 32, false, true},
    {kFccRGB24, 24, false, true},      {kFccRGB32, 32, false, true},
    {kFccARGB32, 32, false, true},     {kFccRGB8, 8, false, true},
};

const Layout* Find(std::uint32_t fourcc) {
  const auto* found = std::find_if(std::begin(kLayouts), std::end(kLayouts),
                                   [&](const Layout& layout) { return layout.fourcc == fourcc; });
  return found == std::end(kLayouts) ? nullptr : found;
}

// A row in whole groups of `pixels`, each of `bytes`.
std::int64_t GroupedRow(std::int64_t width, int pixels, int bytes) {
  return (width + pixels - 1) / pixels * bytes;
}

std::int64_t RowBytes(std::uint32_t fourcc, std::int64_t width) {
  if (fourcc == kFccV210) return GroupedRow(width, 48, 128);
  if (fourcc == kFccR210) return GroupedRow(width, 64, 256);
  const Layout* layout = Find(fourcc);
  if (layout == nullptr) return 0;
  if (layout->planar) return width;
  return (width * layout->bits / 8 + 3) / 4 * 4;
}

}  // namespace

bool IsRgb(std::uint32_t fourcc) {
  const Layout* layout = Find(fourcc);
  return layout != nullptr && layout->rgb;
}

bool IsPlanar(std::uint32_t fourcc) {
  const Layout* layout = Find(fourcc);
  return layout != nullptr && layout->planar;
}

bool IsBottomUp(std::uint32_t fourcc, int height) {
  return height > 0 && fourcc != kFccRGB8 && IsRgb(fourcc);
}

int BitsPerPixel(std::uint32_t fourcc) {
  const Layout* layout = Find(fourcc);
  return layout == nullptr ? 0 : layout->bits;
}

int NaturalRowBytes(std::uint32_t fourcc, int width) {
  if (width < 1) return 0;
  return static_cast<int>(std::min<std::int64_t>(RowBytes(fourcc, width), INT32_MAX));
}

std::int64_t FrameBytes(std::uint32_t fourcc, int width, int height, int rowBytes) {
  const std::int64_t row =
      rowBytes != 0 ? std::abs(std::int64_t{rowBytes}) : NaturalRowBytes(fourcc, width);
  const std::int64_t bytes = row * std::abs(std::int64_t{height});
  return IsPlanar(fourcc) ? bytes * 3 / 2 : bytes;
}

}  // namespace xv
