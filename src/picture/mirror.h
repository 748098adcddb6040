#pragma once

#include "base/status.h"
#include "picture/image_view.h"

namespace xv {

// The values of the attribute "mirror": the left-right flip is "horz".
enum class Mirror { kNone = 0, kHorizontal = 1, kVertical = 2, kBoth = 3 };

// Flips a picture in its own memory. After an upside-down flip of an interlaced picture everything
// moves up by one row, so that the field order stays (the last row repeats); chroma of 4:2:0, whose
// rows lie two lines apart, is made of two of its rows.
//   E_NOTIMPL  layouts that no host picture has.
Status MirrorInPlace(const ImageView& view, Mirror mirror);

}  // namespace xv
