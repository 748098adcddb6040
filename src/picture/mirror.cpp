#include "picture/mirror.h"

#include <algorithm>
#include <cstring>

#include "kernels/channel_kernels.h"
#include "kernels/channel_plain.h"
#include "kernels/packed_kernels.h"
#include "kernels/row_sink.h"
#include "media/pixel_layout.h"

namespace xv {
namespace {

using ReverseRow = void (*)(const std::uint8_t*, std::uint8_t*, int);

ReverseRow ReverseFor(std::uint32_t tag) {
  if (IsRgb32(tag)) return Channels().reverse4;
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

void FlipRows(const ImageView& view, std::size_t bytes) {
  for (int top = 0, bottom = view.height - 1; top < bottom; ++top, --bottom) {
    std::swap_ranges(view.data[0] + top * view.step[0], view.data[0] + top * view.step[0] + bytes,
                     view.data[0] + bottom * view.step[0]);
  }
  if (!view.Interlaced()) return;
  for (int y = 0; y + 1 < view.height; ++y) {
    std::memcpy(view.data[0] + y * view.step[0], view.data[0] + (y + 1) * view.step[0], bytes);
  }
}

}  // namespace

Status MirrorInPlace(const ImageView& view, Mirror mirror) {
  if (view.data[0] == nullptr) return E_POINTER;
  const bool known = IsRgb32(view.tag) || view.tag == kFccRGB24 || view.tag == kFccRGB8 ||
                     BitsPerPixel(view.tag) == 16;
  if (!known || IsPlanar(view.tag)) return E_NOTIMPL;
  const auto bytes = static_cast<std::size_t>(PixelRowBytes(view.tag, view.width));
  if (mirror == Mirror::kHorizontal || mirror == Mirror::kBoth) {
    const ReverseRow reverse = ReverseFor(view.tag);
    std::uint8_t* scratch = RowScratch(4, bytes);
    for (int y = 0; y < view.height; ++y) {
      std::uint8_t* row = view.data[0] + y * view.step[0];
      std::memcpy(scratch, row, bytes);
      reverse(scratch, row, view.width);
      RestoreChroma(view.tag, row, view.width);
    }
  }
  if (mirror == Mirror::kVertical || mirror == Mirror::kBoth) FlipRows(view, bytes);
  return S_OK;
}

}  // namespace xv
