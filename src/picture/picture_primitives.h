#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "kernels/colour_matrix.h"
#include "picture/image_view.h"

// Whole-picture operations over the row kernels. Sizes are the source's; steps may be negative.
// All return 0; rows outside the picture are never touched.
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
PlanarView PlanesOf(const ImageView& view);

enum class FieldForm {
  kFrame,       // chroma from neighbouring rows
  kInterlaced,  // chroma from rows of one field
};

// Packed 4:2:2 in any order to any order.
int ReorderPacked(const ImageView& source, const ImageView& target);
// `fullRange` stretches video range to 0-255 on the way.
//
// The interlaced form of 4:2:0 makes chroma row 2k from rows 4k and 4k + 2 (3:1), row 2k + 1 from
// rows 4k + 1 and 4k + 3 (1:3), where the samples of a field lie. It covers the height rounded down
// to a multiple of 4; with an odd half height the last two luma rows repeat row height - 3 and the
// last chroma row repeats row height / 2 - 3. The interlaced form of NV12 converts each field as a
// picture of its own.
int PackedToPlanar(const ImageView& source, const PlanarView& target, FieldForm form,
                   bool fullRange);
int Planar420ToPacked(const ImageView& source, const ImageView& target);
int RgbToPlanar(const ImageView& source, const PlanarView& target, const RgbToYuv& matrix);
int RgbToPacked(const ImageView& source, const ImageView& target, const RgbToYuv& matrix);
int Planar420ToNv12(const ImageView& source, const PlanarView& target);
int Nv12ToPlanar420(const ImageView& source, const ImageView& target);

// RGB targets are RGB24, RGB32 or ARGB32.
int PackedToRgb(const ImageView& source, const ImageView& target, int alpha);
int HdycToRgb(const ImageView& source, const ImageView& target, int alpha);
int Planar420ToRgb(const ImageView& source, const ImageView& target, int alpha);
// Between RGB layouts. Alpha of 4-byte targets: from 4-byte sources it is copied, unless
// `setAlpha`; all others get `alpha`.
int RgbToRgb(const ImageView& source, const ImageView& target, int alpha, bool setAlpha);

// 8-bit packed 4:2:2 to v210 and back; the v210 side is UYVY in order.
int Pack422ToV210(const ImageView& source, const ImageView& target);
int UnpackV210(const ImageView& source, const ImageView& target);
// Straight to planes of 10 bits in 16.
int UnpackV210ToPlanes(const ImageView& source, const PlanarView& target);

}  // namespace xv
