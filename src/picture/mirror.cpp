#include "picture/mirror.h"

#include <algorithm>
#include <cstring>

#include "kernels/channel_kernels.h"
#include "kernels/channel_plain.h"
#include "kernels/packed_kernels.h"
#include "kernels/row_sink.h"
#include "media/pixel_layout.h"
#include "picture/v210_row.h"

namespace xv {
namespace {

using ReverseRow = void (*)(const std::uint8_t*, std::uint8_t*, int);

ReverseRow ReverseFor(std::uint32_t tag) {
  if (IsRgb32(tag) || tag == kFccR210) return Channels().reverse4;
  if (tag == kFccRGB24) return plain::Reverse<3>;
  if (tag == kFccRGB8) return Channels().reverse1;
  return Channels().reverse2;  // packed 4:2:2: pixels of luma and one chroma sample
}

// Reversing the pixels of packed 4:2:2 has exchanged U and V of each group.
void RestoreChroma(std::uint32_t tag, std::uint8_t* row, int width) {
  const auto order = FindPackedOrder(tag);
  if (!order) return;
  constexpr std::uint8_t kLumaFirst[4] = {0, 3, 2, 1};
  constexpr std::uint8_t kChromaFirst[4] = {2, 1, 0, 3};
  Packed().swizzle4(row, row, static_cast<std::size_t>(width / 2),
                    order->lumaFirst ? kLumaFirst : kChromaFirst, Stores::kCached);
}

// The samples that a row of a plane is made of.
struct PlaneShape {
  int rows;
  int samples;
  std::size_t bytes;
  ReverseRow reverse;
};

PlaneShape ShapeOf(const ImageView& view, std::size_t plane) {
  const auto bytes = static_cast<std::size_t>(PixelRowBytes(view.tag, view.width));
  if (plane == 0) {
    const bool planar = IsPlanar(view.tag);
    return {view.height, view.width, bytes, planar ? Channels().reverse1 : ReverseFor(view.tag)};
  }
  const int pairs = (view.width + 1) / 2;
  const bool both = view.tag == kFccNV12;
  return {view.chromaHeight, pairs, static_cast<std::size_t>(both ? 2 * pairs : pairs),
          both ? Channels().reverse2 : Channels().reverse1};
}

// Ten-bit samples go backwards through planes of words.
void ReverseV210(std::uint8_t* row, int width) {
  static thread_local V210Row samples;
  samples.Unpack(row, width);
  samples.Reverse();
  samples.Pack(row);
}

void ReverseRows(const ImageView& view, std::size_t plane, const PlaneShape& shape) {
  std::uint8_t* scratch = RowScratch(4, shape.bytes);
  for (int y = 0; y < shape.rows; ++y) {
    std::uint8_t* row = view.data[plane] + y * view.step[plane];
    if (view.tag == kFccV210) {
      ReverseV210(row, view.width);
      continue;
    }
    std::memcpy(scratch, row, shape.bytes);
    shape.reverse(scratch, row, shape.samples);
    RestoreChroma(view.tag, row, view.width);
  }
}

// A quarter of `other` into a row.
void MixQuarter(std::uint8_t* row, const std::uint8_t* other, std::size_t bytes) {
  for (std::size_t x = 0; x < bytes; ++x) {
    row[x] = static_cast<std::uint8_t>((3 * row[x] + other[x] + 2) >> 2);
  }
}

void FlipRows(const ImageView& view, std::size_t plane, const PlaneShape& shape) {
  const auto row = [&](int y) { return view.data[plane] + y * view.step[plane]; };
  for (int top = 0, bottom = shape.rows - 1; top < bottom; ++top, --bottom) {
    std::swap_ranges(row(top), row(top) + shape.bytes, row(bottom));
  }
  if (!view.Interlaced()) return;
  // A line is half the distance of two rows of a field's chroma, which lie a quarter beside the
  // middle of their lines.
  if (plane > 0) {
    for (int y = shape.rows - 1; y >= 2; --y) MixQuarter(row(y), row(y - 2), shape.bytes);
  }
  for (int y = 0; y + 1 < shape.rows; ++y) std::memcpy(row(y), row(y + 1), shape.bytes);
}

}  // namespace

Status MirrorInPlace(const ImageView& view, Mirror mirror) {
  if (view.data[0] == nullptr) return E_POINTER;
  const bool known = IsRgb32(view.tag) || view.tag == kFccRGB24 || view.tag == kFccRGB8 ||
                     view.tag == kFccR210 || view.tag == kFccV210 || IsPlanar420(view.tag) ||
                     view.tag == kFccNV12 || (BitsPerPixel(view.tag) == 16 && !IsPlanar(view.tag));
  if (!known) return E_NOTIMPL;
  for (std::size_t plane = 0; plane < 3; ++plane) {
    if (view.data[plane] == nullptr) continue;
    const PlaneShape shape = ShapeOf(view, plane);
    if (mirror == Mirror::kHorizontal || mirror == Mirror::kBoth) ReverseRows(view, plane, shape);
    if (mirror == Mirror::kVertical || mirror == Mirror::kBoth) FlipRows(view, plane, shape);
  }
  return S_OK;
}

}  // namespace xv
