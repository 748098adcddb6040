#pragma once

#include "picture/image_view.h"

namespace xv {

// Lays two frames of one shape into one: the first gives the even rows of the target, the second
// the odd ones; with a bottom-first or bottom-up target (but not both) they change places. Layouts
// without a direct conversion leave the target alone. Conversions that write a constant alpha
// take the upper halves of both pictures instead of their fields.
void Weave(const ImageView& first, const ImageView& second, const ImageView& target);

}  // namespace xv
