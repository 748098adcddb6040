#include "picture/pixel_rgb.h"

#include <algorithm>
#include <cstdint>
#include <utility>

#include "kernels/colour_kernels.h"
#include "kernels/filter_row.h"
#include "kernels/packed_kernels.h"
#include "picture/planar_writer.h"
#include "picture/rgb_rows.h"
#include "picture/row_making.h"

namespace xv {
namespace {

using Kind = PlanarView::Kind;

// Converts BGRA rows for an RGB target.
template <class Make>
void MakeRgbRows(const ImageView& target, const ImageView& source, Make&& make) {
  if (target.tag != kFccRGB24) {
    StreamRows(target, source.height, Bytes(4 * source.width), make);
    return;
  }
  std::uint8_t* bgra = RowScratch(RowSink::kSlots, Bytes(4 * source.width));
  MakeRows(target, source.height, Bytes(3 * source.width), [&](int y, std::uint8_t* row) {
    make(y, bgra, Stores::kCached);
    Channels().dropAlpha(bgra, row, source.width);
  });
}

// 3 of the near row and 1 of the far one, of the same field.
void MixChroma(const ImageView& source, int near, int far, const RgbToYuv& matrix, std::uint8_t* u,
               std::uint8_t* v) {
  constexpr std::uint8_t kWeights[2] = {192, 64};
  constexpr int kHalf = 128;
  const std::size_t count = Bytes((source.width + 1) / 2);
  std::uint8_t* rows = RowScratch(7, 4 * count);
  Colour().chroma422(BgraRow(source, near, 4), rows, rows + count, source.width, matrix);
  Colour().chroma422(BgraRow(source, far, 5), rows + 2 * count, rows + 3 * count, source.width,
                     matrix);
  const std::uint8_t* ofU[2] = {rows, rows + 2 * count};
  const std::uint8_t* ofV[2] = {rows + count, rows + 3 * count};
  FilterRow(ofU, kWeights, 2, kHalf, u, count);
  FilterRow(ofV, kWeights, 2, kHalf, v, count);
}

// Lines behind the last four that are whole have their own chroma.
void RgbFieldsTo420(const ImageView& source, PlanarWriter& writer, const RgbToYuv& matrix) {
  for (int y = 0; y < source.height; ++y) {
    const std::uint8_t* bgra = BgraRow(source, y, 4);
    writer.Luma(y, [&](std::uint8_t* row) { Colour().luma(bgra, row, source.width, matrix); });
  }
  for (int c = 0; c < (source.height + 1) / 2; ++c) {
    const int field = c & 1;
    const int first = c / 2 * 4 + field;
    const int near = std::min(field == 0 ? first : first + 2, source.height - 1);
    const int far = field == 0 ? first + 2 : first;
    writer.Chroma(c, [&](std::uint8_t* u, std::uint8_t* v) {
      MixChroma(source, near, far < source.height ? far : near, matrix, u, v);
    });
  }
}

}  // namespace

void RgbToPlanar(const ImageView& source, const PlanarView& target, FieldForm form,
                 const RgbToYuv& matrix) {
  const ColourKernels& kernels = Colour();
  PlanarWriter writer(target, source, false);
  const int width = source.width;
  const bool halved = target.kind == Kind::k420 || target.kind == Kind::kNv12;
  if (halved && form == FieldForm::kInterlaced && source.height >= 4) {
    RgbFieldsTo420(source, writer, matrix);
    return;
  }
  if (target.kind == Kind::k420 || target.kind == Kind::kNv12) {
    for (int y = 0; y < source.height; y += 2) {
      const bool both = y + 1 < source.height;
      const std::uint8_t* a = BgraRow(source, y, 4);
      const std::uint8_t* b = both ? BgraRow(source, y + 1, 5) : a;
      writer.PairOfRows(y, both, [&](const auto& rows, Stores stores) {
        const auto& [ya, yb, u, v] = rows;
        if (target.kind == Kind::kNv12) {
          kernels.toNv12(a, b, ya, yb, u, width, matrix, stores);
        } else {
          kernels.to420(a, b, ya, yb, u, v, width, matrix, stores);
        }
      });
    }
    return;
  }
  const auto chroma = target.kind == Kind::k422 ? kernels.chroma422 : kernels.chroma411;
  for (int y = 0; y < source.height; ++y) {
    const std::uint8_t* bgra = BgraRow(source, y, 4);
    writer.Luma(y, [&](std::uint8_t* row) { kernels.luma(bgra, row, width, matrix); });
    writer.Chroma(y, [&](std::uint8_t* u, std::uint8_t* v) { chroma(bgra, u, v, width, matrix); });
  }
}

void RgbToPacked(const ImageView& source, const ImageView& target, const RgbToYuv& matrix) {
  const PackedOrder order = FindPackedOrder(target.tag).value();
  RgbToYuv ordered = matrix;
  if (order.vFirst) std::swap(ordered.u, ordered.v);
  const auto convert = Colour().toPacked[order.lumaFirst ? 1 : 0];
  StreamRows(target, source.height, Bytes((source.width + 1) / 2 * 4),
             [&](int y, std::uint8_t* row, Stores stores) {
               convert(BgraRow(source, y, 4), row, source.width, ordered, stores);
             });
}

void PackedToRgb(const ImageView& source, const ImageView& target, int alpha) {
  const PackedOrder order = FindPackedOrder(source.tag).value();
  const auto convert = Colour().fromPacked[order.lumaFirst ? 1 : 0];
  constexpr std::uint8_t kExchangeUv[4] = {0, 3, 2, 1};
  const std::size_t groups = Bytes((source.width + 1) / 2);
  const YuvToRgb matrix = MatrixToRgb(source.matrix);
  std::uint8_t* exchanged = order.vFirst ? RowScratch(5, 4 * groups) : nullptr;
  MakeRgbRows(target, source, [&](int y, std::uint8_t* bgra, Stores stores) {
    const std::uint8_t* row = Row(source, y);
    if (exchanged != nullptr) {
      Packed().swizzle4(row, exchanged, groups, kExchangeUv, Stores::kCached);
      row = exchanged;
    }
    convert(row, bgra, source.width, alpha, matrix, stores);
  });
}

void HdycToRgb(const ImageView& source, const ImageView& target, int alpha) {
  MakeRgbRows(target, source, [&](int y, std::uint8_t* bgra, Stores stores) {
    Colour().fromHdyc(Row(source, y), bgra, source.width, alpha, stores);
  });
}

void Planar420ToRgb(const ImageView& source, const ImageView& target, int alpha) {
  const YuvToRgb matrix = MatrixToRgb(source.matrix);
  MakeRgbRows(target, source, [&](int y, std::uint8_t* bgra, Stores stores) {
    const int chroma = ChromaRow(source, y);
    Colour().fromPlanar(Row(source, y), Row(source, chroma, 1), Row(source, chroma, 2), bgra,
                        source.width, alpha, matrix, stores);
  });
}

void RgbToRgb(const ImageView& source, const ImageView& target, int alpha, bool setAlpha) {
  const int width = source.width;
  if (source.tag == target.tag && !setAlpha) {
    CopyPicture(source, target);
    return;
  }
  if (target.tag == kFccRGB24) {
    MakeRows(target, source.height, Bytes(3 * width), [&](int y, std::uint8_t* row) {
      Channels().dropAlpha(BgraRow(source, y, 4), row, width);
    });
    return;
  }
  MakeRows(target, source.height, Bytes(4 * width), [&](int y, std::uint8_t* row) {
    if (source.tag == kFccRGB24) {
      Channels().addAlpha(Row(source, y), row, width, alpha);
      return;
    }
    const std::uint8_t* bgra = BgraRow(source, y, 4);
    std::copy(bgra, bgra + 4 * static_cast<std::ptrdiff_t>(width), row);
    if (setAlpha) Channels().setChannel(row, width, 3, alpha);
  });
}

}  // namespace xv
