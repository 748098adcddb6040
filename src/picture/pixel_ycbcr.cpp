#include "picture/pixel_ycbcr.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

#include "kernels/packed_kernels.h"
#include "picture/planar_writer.h"
#include "picture/row_making.h"

namespace xv {
namespace {

using Kind = PlanarView::Kind;

// Packed rows with U and V in order.
struct PackedSource {
  PackedSource(const ImageView& source, PackedOrder order)
      : view(source), first(order.lumaFirst ? 1 : 0), vFirst(order.vFirst) {}
  const ImageView& view;
  std::size_t first;  // index of the kernels
  bool vFirst;
  int Pairs() const { return (view.width + 1) / 2; }
};

// 4:2:0 of a frame, or of one field with doubled steps.
void PackedFrameTo420(const PackedSource& source, PlanarWriter& writer, bool nv12) {
  const ImageView& view = source.view;
  const PackedKernels& kernels = Packed();
  const int pairs = source.Pairs();
  for (int y = 0; y < view.height; y += 2) {
    const bool both = y + 1 < view.height;
    const std::uint8_t* a = Row(view, y);
    const std::uint8_t* b = both ? Row(view, y + 1) : a;
    writer.PairOfRows(y, both, [&](const auto& rows, Stores stores) {
      const auto& [ya, yb, u, v] = rows;
      if (nv12 && !source.vFirst) {
        kernels.toNv12[source.first](a, b, ya, yb, u, view.width, stores);
      } else if (nv12) {
        std::uint8_t* planes = RowScratch(7, Bytes(2 * pairs));
        kernels.to420[source.first](a, b, ya, yb, planes + pairs, planes, view.width,
                                    Stores::kCached);
        kernels.interleave(planes, planes + pairs, u, pairs);
      } else {
        kernels.to420[source.first](a, b, ya, yb, source.vFirst ? v : u, source.vFirst ? u : v,
                                    view.width, stores);
      }
    });
  }
}

void PackedFieldsTo420(const PackedSource& source, const PlanarView& target, PlanarWriter& writer) {
  const ImageView& view = source.view;
  const PackedKernels& kernels = Packed();
  const int covered = view.height & ~3;
  for (int y = 0; y < covered; y += 4) {
    for (int i = 0; i < 4; ++i) {
      writer.Luma(y + i, [&](std::uint8_t* row) {
        kernels.luma[source.first](Row(view, y + i), row, view.width);
      });
    }
    for (const int field : {0, 1}) {
      const std::uint8_t* near = Row(view, y + (field == 0 ? 0 : 3));
      const std::uint8_t* far = Row(view, y + (field == 0 ? 2 : 1));
      writer.Chroma(y / 2 + field, [&](std::uint8_t* u, std::uint8_t* v) {
        if (source.vFirst) std::swap(u, v);
        kernels.chroma31[source.first](near, far, u, v, source.Pairs());
      });
    }
  }
  if ((view.height / 2 & 1) == 0) return;
  const auto repeat = [&](std::size_t plane, int to, int from, int bytes) {
    if (from < 0) return;
    std::uint8_t* base = target.data[plane];
    CopyPlane(base + from * target.step[plane], 0, base + to * target.step[plane], 0, Bytes(bytes),
              1);
  };
  repeat(0, view.height - 2, view.height - 3, view.width);
  repeat(0, view.height - 1, view.height - 3, view.width);
  const bool both = target.kind == Kind::kNv12;
  repeat(1, view.height / 2 - 1, view.height / 2 - 3, (both ? 2 : 1) * source.Pairs());
  if (!both) repeat(2, view.height / 2 - 1, view.height / 2 - 3, source.Pairs());
}

}  // namespace

void ReorderPacked(const ImageView& source, const ImageView& target) {
  const PackedOrder from = FindPackedOrder(source.tag).value();
  const PackedOrder to = FindPackedOrder(target.tag).value();
  const auto place = [](PackedOrder order) {
    // Where Y0, U, Y1, V lie in a group.
    const std::uint8_t luma = order.lumaFirst ? 0 : 1;
    const auto u = static_cast<std::uint8_t>((order.lumaFirst ? 1 : 0) + (order.vFirst ? 2 : 0));
    return std::array<std::uint8_t, 4>{luma, u, static_cast<std::uint8_t>(luma + 2),
                                       static_cast<std::uint8_t>(u ^ 2)};
  };
  std::uint8_t order[4];
  for (std::size_t i = 0; i < 4; ++i) order[place(to)[i]] = place(from)[i];
  const int groups = (source.width + 1) / 2;
  StreamRows(target, source.height, Bytes(4 * groups),
             [&](int y, std::uint8_t* row, Stores stores) {
               Packed().swizzle4(Row(source, y), row, Bytes(groups), order, stores);
             });
}

void PackedToPlanar(const ImageView& view, const PlanarView& target, FieldForm form,
                    bool fullRange) {
  const PackedSource source(view, FindPackedOrder(view.tag).value());
  PlanarWriter writer(target, view, fullRange);
  const bool halved = target.kind == Kind::k420 || target.kind == Kind::kNv12;
  if (halved && form == FieldForm::kInterlaced && view.height >= 4) {
    PackedFieldsTo420(source, target, writer);
    return;
  }
  if (halved) {
    PackedFrameTo420(source, writer, target.kind == Kind::kNv12);
    return;
  }
  const PackedKernels& kernels = Packed();
  for (int y = 0; y < view.height; ++y) {
    const std::uint8_t* row = Row(view, y);
    if (target.kind == Kind::k422) {
      writer.Row422(y, [&](const auto& rows, bool full, Stores stores) {
        const auto& [luma, u, v] = rows;
        kernels.to422[source.first](row, luma, source.vFirst ? v : u, source.vFirst ? u : v,
                                    view.width, full, stores);
      });
      continue;
    }
    writer.Luma(y, [&](std::uint8_t* luma) { kernels.luma[source.first](row, luma, view.width); });
    writer.Chroma(y, [&](std::uint8_t* u, std::uint8_t* v) {
      if (source.vFirst) std::swap(u, v);
      // A last pair without a partner counts for both.
      const int quads = view.width / 4;
      kernels.chroma411[source.first](row, u, v, quads);
      if (writer.ChromaWidth() > quads) {
        kernels.chroma[source.first](row + 8 * quads, row + 8 * quads, u + quads, v + quads, 1);
      }
    });
  }
}

void Planar420ToPacked(const ImageView& source, const ImageView& target) {
  const PackedOrder order = FindPackedOrder(target.tag).value();
  const auto join = Packed().join[order.lumaFirst ? 1 : 0];
  StreamRows(target, source.height, Bytes((source.width + 1) / 2 * 4),
             [&](int y, std::uint8_t* row, Stores stores) {
               const int chroma = ChromaRow(source, y);
               const std::uint8_t* u = Row(source, chroma, order.vFirst ? 2 : 1);
               const std::uint8_t* v = Row(source, chroma, order.vFirst ? 1 : 2);
               join(Row(source, y), u, v, row, source.width, stores);
             });
}

void Planar420ToNv12(const ImageView& source, const PlanarView& target) {
  CopyPlane(source.data[0], source.step[0], target.data[0], target.step[0], Bytes(source.width),
            source.height);
  const int pairs = (source.width + 1) / 2;
  for (int y = 0; y < std::min(source.chromaHeight, target.chromaHeight); ++y) {
    Packed().interleave(Row(source, y, 1), Row(source, y, 2), target.data[1] + y * target.step[1],
                        pairs);
  }
}

void Nv12ToPlanar420(const ImageView& source, const ImageView& target) {
  CopyPlane(source.data[0], source.step[0], target.data[0], target.step[0], Bytes(source.width),
            source.height);
  for (int y = 0; y < std::min(source.chromaHeight, target.chromaHeight); ++y) {
    Packed().deinterleave(Row(source, y, 1), target.data[1] + y * target.step[1],
                          target.data[2] + y * target.step[2], (source.width + 1) / 2);
  }
}

}  // namespace xv
