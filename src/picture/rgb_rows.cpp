#include "picture/rgb_rows.h"

#include <cstring>

#include "kernels/row_sink.h"

namespace xv {
namespace {

std::uint32_t WordAt(const std::uint8_t* p) {
  std::uint32_t word;
  std::memcpy(&word, p, 4);
  return word;
}

}  // namespace

bool IsRgbSource(std::uint32_t tag) { return IsRgb32(tag) || tag == kFccRGB24 || tag == kFccR210; }

void R210RowToBgra(const std::uint8_t* source, std::uint8_t* bgra, int width) {
  for (int x = 0; x < width; ++x) {
    const std::uint32_t w = WordAt(source + 4 * x);
    const std::uint32_t pixel =
        (w >> 4 & 0xFF) | (w >> 14 & 0xFF) << 8 | (w >> 24) << 16 | 0xFF000000U;
    std::memcpy(bgra + 4 * x, &pixel, 4);
  }
}

const std::uint8_t* BgraRow(const ImageView& view, int y, int slot) {
  const std::uint8_t* row = view.data[0] + y * view.step[0];
  if (IsRgb32(view.tag)) return row;
  std::uint8_t* bgra = RowScratch(slot, static_cast<std::size_t>(view.width) * 4);
  if (view.tag == kFccR210) {
    R210RowToBgra(row, bgra, view.width);
  } else {
    Channels().addAlpha(row, bgra, view.width, 255);
  }
  return bgra;
}

void R210ToRgb48(const ImageView& source, std::uint8_t* target, std::ptrdiff_t targetStep) {
  for (int y = 0; y < source.height; ++y) {
    const std::uint8_t* from = source.data[0] + y * source.step[0];
    auto* to = target + y * targetStep;
    for (int x = 0; x < source.width; ++x) {
      const std::uint32_t w = WordAt(from + 4 * x);
      const std::uint16_t pixel[3] = {static_cast<std::uint16_t>(w >> 16 & 0xFFC0),
                                      static_cast<std::uint16_t>(w >> 6 & 0xFFC0),
                                      static_cast<std::uint16_t>(w << 4 & 0xFFC0)};
      std::memcpy(to + 6 * x, pixel, 6);
    }
  }
}

}  // namespace xv
