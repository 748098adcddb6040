#pragma once

#include "picture/image_view.h"
#include "picture/planar_view.h"

// Pictures of 8-bit YCbCr from one layout to another. Sizes are the source's; steps may be
// negative; rows outside the picture are never touched.
namespace xv {

// Packed 4:2:2 in any order to any order.
void ReorderPacked(const ImageView& source, const ImageView& target);
// `fullRange` stretches video range to 0-255 on the way.
//
// The interlaced form of 4:2:0 makes chroma row 2k from rows 4k and 4k + 2 (3:1), row 2k + 1 from
// rows 4k + 1 and 4k + 3 (1:3), where the samples of a field lie. It covers the height rounded down
// to a multiple of 4; with an odd half height the last two luma rows repeat row height - 3 and the
// last chroma row repeats row height / 2 - 3. NV12 is the same with both in one plane.
void PackedToPlanar(const ImageView& source, const PlanarView& target, FieldForm form,
                    bool fullRange);
void Planar420ToPacked(const ImageView& source, const ImageView& target);
void Planar420ToNv12(const ImageView& source, const PlanarView& target);
void Nv12ToPlanar420(const ImageView& source, const ImageView& target);

}  // namespace xv
