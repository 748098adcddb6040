#pragma once

#include <cstddef>
#include <cstdint>

#include "base/status.h"
#include "convert/image_view.h"

namespace xv {

// Turns a plane of `width` x `height` samples of 1, 3 or 4 bytes by 90 degrees; the target is
// `height` x `width`. `left` is counter-clockwise.
void RotatePlane(const std::uint8_t* source, std::ptrdiff_t sourceStep, std::uint8_t* target,
                 std::ptrdiff_t targetStep, int width, int height, int sampleBytes, bool left);

// Turns a picture into a target of any size in the same layout; what the turned picture does not
// cover is black. Chroma of subsampled layouts is turned at its own resolution and resampled.
//   E_NOTIMPL  layouts without a turn: v210, r210, NV12 and the 16-bit RGB ones.
Status RotateImage(const ImageView& source, const ImageView& target, bool left);

}  // namespace xv
