#include "picture/picture_primitives.h"

#include <algorithm>
#include <cstdint>

#include "kernels/colour_kernels.h"
#include "kernels/deep_kernels.h"
#include "kernels/packed_kernels.h"
#include "kernels/row_sink.h"
#include "picture/rgb_rows.h"

namespace xv {
namespace {

using Kind = PlanarView::Kind;

std::size_t Bytes(int count) { return static_cast<std::size_t>(count); }

std::int64_t PictureBytes(const ImageView& view, int bytesPerPixel) {
  return static_cast<std::int64_t>(view.width) * view.height * bytesPerPixel;
}

const std::uint8_t* Row(const ImageView& view, int y, std::size_t plane = 0) {
  return view.data[plane] + y * view.step[plane];
}
// The chroma row of luma row `y`.
int ChromaRow(const ImageView& view, int y) { return std::min(y / 2, view.chromaHeight - 1); }
std::uint8_t* TargetRow(const ImageView& view, int y) { return view.data[0] + y * view.step[0]; }

// Makes each row of a one-plane target with `make(y, row)`.
template <class Make>
int MakeRows(const ImageView& target, int height, std::size_t rowBytes, Make&& make) {
  RowSink sink(static_cast<std::int64_t>(rowBytes) * height);
  for (int y = 0; y < height; ++y) {
    std::uint8_t* to = TargetRow(target, y);
    std::uint8_t* row = sink.Open(0, to, rowBytes);
    make(y, row);
    sink.Commit(row, to, rowBytes);
  }
  return 0;
}
// The same with `make(y, row, stores)`, a kernel that can stream.
template <class Make>
int StreamRows(const ImageView& target, int height, std::size_t rowBytes, Make&& make) {
  RowSink sink(static_cast<std::int64_t>(rowBytes) * height);
  for (int y = 0; y < height; ++y) {
    std::uint8_t* to = TargetRow(target, y);
    const Stores stores = sink.StoresTo(to);
    std::uint8_t* row = stores == Stores::kStreamed ? to : sink.Open(0, to, rowBytes);
    make(y, row, stores);
    sink.Commit(row, to, rowBytes);
  }
  return 0;
}

// Rows of planar targets, through a sink.
class PlanarWriter {
 public:
  PlanarWriter(const PlanarView& target, const ImageView& source, bool fullRange)
      : target_(target),
        sink_(PictureBytes(source, 1)),
        width_(source.width),
        fullRange_(fullRange) {}

  int ChromaWidth() const {
    return target_.kind == Kind::k411 ? (width_ + 3) / 4 : (width_ + 1) / 2;
  }

  template <class Make>
  void Luma(int y, Make&& make) {
    std::uint8_t* to = target_.data[0] + y * target_.step[0];
    std::uint8_t* row = sink_.Open(0, to, Bytes(width_));
    make(row);
    if (fullRange_) Packed().expandLuma(row, width_);
    sink_.Commit(row, to, Bytes(width_));
  }
  template <class Make>
  void Chroma(int y, Make&& make) {
    if (y >= target_.chromaHeight) return;
    const int count = ChromaWidth();
    std::uint8_t* uTo = target_.data[1] + y * target_.step[1];
    std::uint8_t* vTo = target_.data[2] + y * target_.step[2];
    std::uint8_t* u = sink_.Open(1, uTo, Bytes(count));
    std::uint8_t* v = sink_.Open(2, vTo, Bytes(count));
    make(u, v);
    if (fullRange_) {
      Packed().expandChroma(u, count);
      Packed().expandChroma(v, count);
    }
    sink_.Commit(u, uTo, Bytes(count));
    sink_.Commit(v, vTo, Bytes(count));
  }
  // Row y of 4:2:2 by `make({y, u, v}, fullRange, stores)`, in the range that is wanted.
  template <class Make>
  void Row422(int y, Make&& make) {
    const auto place = [&](std::size_t plane) {
      return Place{target_.data[plane] + y * target_.step[plane],
                   Bytes(plane == 0 ? width_ : ChromaWidth()), nullptr};
    };
    Rows(std::array{place(0), place(1), place(2)},
         [&](const auto& rows, Stores stores) { make(rows, fullRange_, stores); });
  }
  // Rows y and, with `both`, y + 1 of 4:2:0 by `make({ya, yb, u, v}, stores)`; for kNv12 u is the
  // row of U and V, and v is none.
  template <class Make>
  void PairOfRows(int y, bool both, Make&& make) {
    const bool nv12 = target_.kind == Kind::kNv12;
    const bool hasChroma = y / 2 < target_.chromaHeight;
    const auto luma = [&](int row, bool wanted) {
      return Place{wanted ? target_.data[0] + row * target_.step[0] : nullptr, Bytes(width_),
                   fullRange_ ? Packed().expandLuma : nullptr};
    };
    const auto chroma = [&](std::size_t plane) {
      return Place{hasChroma ? target_.data[plane] + y / 2 * target_.step[plane] : nullptr,
                   Bytes(nv12 ? 2 * ChromaWidth() : ChromaWidth()),
                   fullRange_ ? Packed().expandChroma : nullptr};
    };
    Rows(std::array{luma(y, true), luma(y + 1, both), chroma(1), nv12 ? Place{} : chroma(2)}, make);
  }

 private:
  // A row that a kernel makes. Without a target it is made and dropped, without bytes it is none.
  struct Place {
    std::uint8_t* to = nullptr;
    std::size_t bytes = 0;
    void (*expand)(std::uint8_t* row, int count) = nullptr;  // what is done to it afterwards

    bool MayStream() const { return bytes == 0 || (to != nullptr && expand == nullptr); }
  };

  template <std::size_t N, class Make>
  void Rows(const std::array<Place, N>& places, Make&& make) {
    Stores stores = Stores::kStreamed;
    for (const Place& place : places) {
      if (!place.MayStream() || sink_.StoresTo(place.to) == Stores::kCached) {
        stores = Stores::kCached;
      }
    }
    std::array<std::uint8_t*, N> rows{};
    for (std::size_t i = 0; i < N; ++i) {
      const Place& place = places[i];
      const int slot = static_cast<int>(i);
      rows[i] = stores == Stores::kStreamed ? place.to
                : place.to == nullptr       ? RowScratch(slot, place.bytes)
                                            : sink_.Open(slot, place.to, place.bytes);
    }
    make(rows, stores);
    for (std::size_t i = 0; i < N; ++i) {
      const Place& place = places[i];
      if (place.to == nullptr) continue;
      if (place.expand != nullptr) place.expand(rows[i], static_cast<int>(place.bytes));
      sink_.Commit(rows[i], place.to, place.bytes);
    }
  }

  const PlanarView& target_;
  RowSink sink_;
  int width_;
  bool fullRange_;
};

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
  repeat(1, view.height / 2 - 1, view.height / 2 - 3, source.Pairs());
  repeat(2, view.height / 2 - 1, view.height / 2 - 3, source.Pairs());
}

PlanarView PlanarField(const PlanarView& view, int parity) {
  PlanarView field = view;
  for (std::size_t plane = 0; plane < 2; ++plane) {
    field.data[plane] += parity * view.step[plane];
    field.step[plane] *= 2;
  }
  if (view.chromaHeight != INT32_MAX) field.chromaHeight = (view.chromaHeight + 1 - parity) / 2;
  return field;
}

// Converts BGRA rows for an RGB target.
template <class Make>
int MakeRgbRows(const ImageView& target, const ImageView& source, Make&& make) {
  if (target.tag != kFccRGB24) {
    return StreamRows(target, source.height, Bytes(4 * source.width), make);
  }
  std::uint8_t* bgra = RowScratch(RowSink::kSlots, Bytes(4 * source.width));
  return MakeRows(target, source.height, Bytes(3 * source.width), [&](int y, std::uint8_t* row) {
    make(y, bgra, Stores::kCached);
    Channels().dropAlpha(bgra, row, source.width);
  });
}

}  // namespace

PlanarView PlanesOf(const ImageView& view) {
  return {view.tag == kFccNV12 ? Kind::kNv12 : Kind::k420, view.data, view.step, view.chromaHeight};
}

int ReorderPacked(const ImageView& source, const ImageView& target) {
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
  return StreamRows(target, source.height, Bytes(4 * groups),
                    [&](int y, std::uint8_t* row, Stores stores) {
                      Packed().swizzle4(Row(source, y), row, Bytes(groups), order, stores);
                    });
}

int PackedToPlanar(const ImageView& view, const PlanarView& target, FieldForm form,
                   bool fullRange) {
  const PackedSource source(view, FindPackedOrder(view.tag).value());
  if (target.kind == Kind::kNv12 && form == FieldForm::kInterlaced) {
    for (const int parity : {0, 1}) {
      const ImageView field = FieldRows(view, parity);
      PackedToPlanar(field, PlanarField(target, parity), FieldForm::kFrame, fullRange);
    }
    return 0;
  }
  PlanarWriter writer(target, view, fullRange);
  if (target.kind == Kind::k420 && form == FieldForm::kInterlaced && view.height >= 4) {
    PackedFieldsTo420(source, target, writer);
    return 0;
  }
  if (target.kind == Kind::k420 || target.kind == Kind::kNv12) {
    PackedFrameTo420(source, writer, target.kind == Kind::kNv12);
    return 0;
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
  return 0;
}

int Planar420ToPacked(const ImageView& source, const ImageView& target) {
  const PackedOrder order = FindPackedOrder(target.tag).value();
  const auto join = Packed().join[order.lumaFirst ? 1 : 0];
  return StreamRows(target, source.height, Bytes((source.width + 1) / 2 * 4),
                    [&](int y, std::uint8_t* row, Stores stores) {
                      const int chroma = ChromaRow(source, y);
                      const std::uint8_t* u = Row(source, chroma, order.vFirst ? 2 : 1);
                      const std::uint8_t* v = Row(source, chroma, order.vFirst ? 1 : 2);
                      join(Row(source, y), u, v, row, source.width, stores);
                    });
}

int RgbToPlanar(const ImageView& source, const PlanarView& target, const RgbToYuv& matrix) {
  const ColourKernels& kernels = Colour();
  PlanarWriter writer(target, source, false);
  const int width = source.width;
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
    return 0;
  }
  const auto chroma = target.kind == Kind::k422 ? kernels.chroma422 : kernels.chroma411;
  for (int y = 0; y < source.height; ++y) {
    const std::uint8_t* bgra = BgraRow(source, y, 4);
    writer.Luma(y, [&](std::uint8_t* row) { kernels.luma(bgra, row, width, matrix); });
    writer.Chroma(y, [&](std::uint8_t* u, std::uint8_t* v) { chroma(bgra, u, v, width, matrix); });
  }
  return 0;
}

int RgbToPacked(const ImageView& source, const ImageView& target, const RgbToYuv& matrix) {
  const PackedOrder order = FindPackedOrder(target.tag).value();
  RgbToYuv ordered = matrix;
  if (order.vFirst) std::swap(ordered.u, ordered.v);
  const auto convert = Colour().toPacked[order.lumaFirst ? 1 : 0];
  return StreamRows(target, source.height, Bytes((source.width + 1) / 2 * 4),
                    [&](int y, std::uint8_t* row, Stores stores) {
                      convert(BgraRow(source, y, 4), row, source.width, ordered, stores);
                    });
}

int Planar420ToNv12(const ImageView& source, const PlanarView& target) {
  CopyPlane(source.data[0], source.step[0], target.data[0], target.step[0], Bytes(source.width),
            source.height);
  const int pairs = (source.width + 1) / 2;
  for (int y = 0; y < std::min(source.chromaHeight, target.chromaHeight); ++y) {
    Packed().interleave(Row(source, y, 1), Row(source, y, 2), target.data[1] + y * target.step[1],
                        pairs);
  }
  return 0;
}

int Nv12ToPlanar420(const ImageView& source, const ImageView& target) {
  CopyPlane(source.data[0], source.step[0], target.data[0], target.step[0], Bytes(source.width),
            source.height);
  for (int y = 0; y < std::min(source.chromaHeight, target.chromaHeight); ++y) {
    Packed().deinterleave(Row(source, y, 1), target.data[1] + y * target.step[1],
                          target.data[2] + y * target.step[2], (source.width + 1) / 2);
  }
  return 0;
}

int PackedToRgb(const ImageView& source, const ImageView& target, int alpha) {
  const PackedOrder order = FindPackedOrder(source.tag).value();
  const auto convert = Colour().fromPacked[order.lumaFirst ? 1 : 0];
  constexpr std::uint8_t kExchangeUv[4] = {0, 3, 2, 1};
  const std::size_t groups = Bytes((source.width + 1) / 2);
  std::uint8_t* exchanged = order.vFirst ? RowScratch(5, 4 * groups) : nullptr;
  return MakeRgbRows(target, source, [&](int y, std::uint8_t* bgra, Stores stores) {
    const std::uint8_t* row = Row(source, y);
    if (exchanged != nullptr) {
      Packed().swizzle4(row, exchanged, groups, kExchangeUv, Stores::kCached);
      row = exchanged;
    }
    convert(row, bgra, source.width, alpha, kBt601ToRgb, stores);
  });
}

int HdycToRgb(const ImageView& source, const ImageView& target, int alpha) {
  return MakeRgbRows(target, source, [&](int y, std::uint8_t* bgra, Stores stores) {
    Colour().fromHdyc(Row(source, y), bgra, source.width, alpha, stores);
  });
}

int Planar420ToRgb(const ImageView& source, const ImageView& target, int alpha) {
  return MakeRgbRows(target, source, [&](int y, std::uint8_t* bgra, Stores stores) {
    const int chroma = ChromaRow(source, y);
    Colour().fromPlanar(Row(source, y), Row(source, chroma, 1), Row(source, chroma, 2), bgra,
                        source.width, alpha, kBt601ToRgb, stores);
  });
}

int RgbToRgb(const ImageView& source, const ImageView& target, int alpha, bool setAlpha) {
  const int width = source.width;
  if (source.tag == target.tag && !setAlpha) {
    CopyPicture(source, target);
    return 0;
  }
  if (target.tag == kFccRGB24) {
    return MakeRows(target, source.height, Bytes(3 * width), [&](int y, std::uint8_t* row) {
      Channels().dropAlpha(BgraRow(source, y, 4), row, width);
    });
  }
  return MakeRows(target, source.height, Bytes(4 * width), [&](int y, std::uint8_t* row) {
    if (source.tag == kFccRGB24) {
      Channels().addAlpha(Row(source, y), row, width, alpha);
      return;
    }
    const std::uint8_t* bgra = BgraRow(source, y, 4);
    std::copy(bgra, bgra + 4 * static_cast<std::ptrdiff_t>(width), row);
    if (setAlpha) Channels().setChannel(row, width, 3, alpha);
  });
}

int Pack422ToV210(const ImageView& source, const ImageView& target) {
  const auto pack = Deep().packV210[FindPackedOrder(source.tag).value().lumaFirst ? 1 : 0];
  return StreamRows(target, source.height, Bytes((source.width + 5) / 6 * 16),
                    [&](int y, std::uint8_t* row, Stores stores) {
                      pack(Row(source, y), row, source.width, stores);
                    });
}

int UnpackV210(const ImageView& source, const ImageView& target) {
  return StreamRows(target, source.height, Bytes((source.width & ~1) * 2),
                    [&](int y, std::uint8_t* row, Stores stores) {
                      Deep().unpackV210(Row(source, y), row, source.width, stores);
                    });
}

int UnpackV210ToPlanes(const ImageView& source, const PlanarView& target) {
  RowSink sink(PictureBytes(source, 4));
  const std::size_t bytes[3] = {Bytes(source.width) * 2, Bytes((source.width + 1) / 2) * 2,
                                Bytes((source.width + 1) / 2) * 2};
  for (int y = 0; y < source.height; ++y) {
    std::uint8_t* rows[3];
    std::uint8_t* to[3];
    for (std::size_t plane = 0; plane < 3; ++plane) {
      to[plane] = target.data[plane] + y * target.step[plane];
      rows[plane] = sink.Open(static_cast<int>(plane), to[plane], bytes[plane]);
    }
    Deep().planesFromV210(Row(source, y), reinterpret_cast<std::uint16_t*>(rows[0]),
                          reinterpret_cast<std::uint16_t*>(rows[1]),
                          reinterpret_cast<std::uint16_t*>(rows[2]), source.width);
    for (std::size_t plane = 0; plane < 3; ++plane)
      sink.Commit(rows[plane], to[plane], bytes[plane]);
  }
  return 0;
}

}  // namespace xv
