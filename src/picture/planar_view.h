#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "picture/image_view.h"

namespace xv {

// Planes of 8-bit YCbCr. For kNv12 plane 1 holds U and V.
struct PlanarView {
  enum class Kind { k420, k422, k411, kNv12 };
  Kind kind = Kind::k420;
  std::array<std::uint8_t*, 3> data{};
  std::array<std::ptrdiff_t, 3> step{};
  int chromaHeight = INT32_MAX;  // rows that the chroma planes have, where that is known
};
// The planes of an I420, YV12 or NV12 view.
inline PlanarView PlanesOf(const ImageView& view) {
  const auto kind = view.tag == kFccNV12 ? PlanarView::Kind::kNv12 : PlanarView::Kind::k420;
  return {kind, view.data, view.step, view.chromaHeight};
}

enum class FieldForm {
  kFrame,       // chroma from neighbouring rows
  kInterlaced,  // chroma from rows of one field
};

}  // namespace xv
