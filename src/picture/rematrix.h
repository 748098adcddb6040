#pragma once

#include "contracts/av_handles.h"
#include "kernels/colour_matrix.h"

namespace xv {

// Changes the matrix of a picture of 8-bit planes with the range 0-255 in its own memory: from
// `from` to BT.601, which is what JPEG pictures have (JFIF 1.02). Chroma is changed where its
// samples are, luma by the nearest chroma sample of its field. A picture that is not made of three
// such planes stays as it is.
void RematrixToBt601(const AVFrame& picture, Matrix from);

}  // namespace xv
