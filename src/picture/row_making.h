#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "kernels/row_sink.h"
#include "picture/image_view.h"

// How conversions of whole pictures walk their rows. Of this room only.
namespace xv {

inline std::size_t Bytes(int count) { return static_cast<std::size_t>(count); }

inline std::int64_t PictureBytes(const ImageView& view, int bytesPerPixel) {
  return static_cast<std::int64_t>(view.width) * view.height * bytesPerPixel;
}

inline const std::uint8_t* Row(const ImageView& view, int y, std::size_t plane = 0) {
  return view.data[plane] + y * view.step[plane];
}
// The chroma row of luma row `y`.
inline int ChromaRow(const ImageView& view, int y) {
  return std::min(y / 2, view.chromaHeight - 1);
}
inline std::uint8_t* TargetRow(const ImageView& view, int y) {
  return view.data[0] + y * view.step[0];
}

// Makes each row of a one-plane target with `make(y, row)`.
template <class Make>
void MakeRows(const ImageView& target, int height, std::size_t rowBytes, Make&& make) {
  RowSink sink(static_cast<std::int64_t>(rowBytes) * height);
  for (int y = 0; y < height; ++y) {
    std::uint8_t* to = TargetRow(target, y);
    std::uint8_t* row = sink.Open(0, to, rowBytes);
    make(y, row);
    sink.Commit(row, to, rowBytes);
  }
}
// The same with `make(y, row, stores)`, a kernel that can stream.
template <class Make>
void StreamRows(const ImageView& target, int height, std::size_t rowBytes, Make&& make) {
  RowSink sink(static_cast<std::int64_t>(rowBytes) * height);
  for (int y = 0; y < height; ++y) {
    std::uint8_t* to = TargetRow(target, y);
    const Stores stores = sink.StoresTo(to);
    std::uint8_t* row = stores == Stores::kStreamed ? to : sink.Open(0, to, rowBytes);
    make(y, row, stores);
    sink.Commit(row, to, rowBytes);
  }
}

}  // namespace xv
