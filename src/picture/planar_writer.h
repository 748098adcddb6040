#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "kernels/packed_kernels.h"
#include "kernels/row_sink.h"
#include "picture/planar_view.h"
#include "picture/row_making.h"

namespace xv {

// Rows of planar targets, through a sink.
class PlanarWriter {
 public:
  PlanarWriter(const PlanarView& target, const ImageView& source, bool fullRange)
      : target_(target),
        sink_(PictureBytes(source, 1)),
        width_(source.width),
        fullRange_(fullRange) {}

  int ChromaWidth() const {
    return target_.kind == PlanarView::Kind::k411 ? (width_ + 3) / 4 : (width_ + 1) / 2;
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
    if (target_.kind == PlanarView::Kind::kNv12) return ChromaOfBoth(y, count, make);
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
  // row of U and V, and v is null.
  template <class Make>
  void PairOfRows(int y, bool both, Make&& make) {
    const bool nv12 = target_.kind == PlanarView::Kind::kNv12;
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
  template <class Make>
  void ChromaOfBoth(int y, int count, Make&& make) {
    std::uint8_t* to = target_.data[1] + y * target_.step[1];
    std::uint8_t* u = RowScratch(kBothSlot, 2 * Bytes(count));
    std::uint8_t* v = u + count;
    make(u, v);
    if (fullRange_) {
      Packed().expandChroma(u, count);
      Packed().expandChroma(v, count);
    }
    std::uint8_t* row = sink_.Open(1, to, 2 * Bytes(count));
    Packed().interleave(u, v, row, count);
    sink_.Commit(row, to, 2 * Bytes(count));
  }

  // A row that a kernel makes. Without a target it is made and dropped, without bytes there is no
  // row.
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

  static constexpr int kBothSlot = 6;  // of RowScratch

  const PlanarView& target_;
  RowSink sink_;
  int width_;
  bool fullRange_;
};

}  // namespace xv
