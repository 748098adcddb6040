#pragma once

#include "kernels/colour_matrix.h"
#include "picture/image_view.h"
#include "picture/planar_view.h"

// Pictures between RGB and 8-bit YCbCr, and among RGB layouts. Sizes are the source's; steps may be
// negative; rows outside the picture are never touched.
namespace xv {

// `matrix` makes YCbCr of RGB. 4:2:0 of interlaced pictures has its chroma where PackedToPlanar
// puts it.
void RgbToPlanar(const ImageView& source, const PlanarView& target, FieldForm form,
                 const RgbToYuv& matrix);
void RgbToPacked(const ImageView& source, const ImageView& target, const RgbToYuv& matrix);

// By the source's matrix, that of HDYC by its own integer formula. RGB targets are RGB24, RGB32 or
// ARGB32.
void PackedToRgb(const ImageView& source, const ImageView& target, int alpha);
void HdycToRgb(const ImageView& source, const ImageView& target, int alpha);
void Planar420ToRgb(const ImageView& source, const ImageView& target, int alpha);
// Between RGB layouts. Alpha of 4-byte targets: from 4-byte sources it is copied, unless
// `setAlpha`; all others get `alpha`.
void RgbToRgb(const ImageView& source, const ImageView& target, int alpha, bool setAlpha);

}  // namespace xv
