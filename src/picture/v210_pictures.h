#pragma once

#include "picture/image_view.h"
#include "picture/planar_view.h"

// Pictures in v210, 10-bit 4:2:2 with six pixels in 16 bytes. Sizes are the source's; steps may be
// negative; rows outside the picture are never touched.
namespace xv {

// 8-bit packed 4:2:2 to v210 and back; the v210 side is UYVY in order.
void Pack422ToV210(const ImageView& source, const ImageView& target);
void UnpackV210(const ImageView& source, const ImageView& target);
// Straight to planes of 10 bits in 16.
void UnpackV210ToPlanes(const ImageView& source, const PlanarView& target);

}  // namespace xv
