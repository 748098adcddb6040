#pragma once

#include "xvwriter/media.h"

namespace xv {

// Pixels cut off each side.
struct CropSides {
  int left = 0;
  int top = 0;
  int right = 0;
  int bottom = 0;
  bool Any() const { return (left | top | right | bottom) != 0; }
};

// The sides that can be cut off a picture of `vid`: whole samples of chroma, and whole lines of
// both fields. What is odd becomes the even number below, lines of interlaced 4:2:0 become the
// multiple of 4 below; an odd last column of 4:2:2 goes too.
CropSides WholeSamples(const CropSides& sides, const XV_VID_PROPS& vid);

// What is left of `vid` behind a cut: size, a standard raster no more, and the display aspect of
// the cut. Row bytes are as they were.
XV_VID_PROPS CutProps(const XV_VID_PROPS& vid, const CropSides& sides);

}  // namespace xv
