#pragma once

#include "picture/image_view.h"
#include "picture/regions.h"

namespace xv {

// Which part of the source goes to which part of the target.
struct RegionPlan {
  PixelRect source;
  PixelRect target;
  bool changed = false;  // anything but whole pictures of one size
};

// Picture aspect: the view's own, else width over height, else 16:9.
double DisplayAspect(const ImageView& view);
// Width over height of one pixel.
double PixelAspect(const ImageView& view);

// The aspect handling in force: the source's or else the target's; an automatic one is chosen from
// sizes and aspects. Two large pictures with widths within 10 % and equal pixel shapes go one to
// one; a narrower source that is at most 60 rows taller is cropped; the rest is letter-boxed.
std::uint32_t ResolveScaleMode(const ImageView& source, const ImageView& target);

// Letter box shrinks the target's rectangle, crop the source's; one to one takes the middle of
// both, and of a source of exactly half the height twice as many target rows. Margins on the left
// and on top are even.
RegionPlan PlanRegions(const ImageView& source, const ImageView& target);

// Brings two pictures that meet onto common ground: the 525-line family works on the lower of its
// heights (the source's surplus rows on top are skipped, the target's made black), and where one
// side is not RGB widths become even (a column of ARGB32 that stays over becomes 0).
void NormaliseViews(ImageView& source, ImageView& target);

}  // namespace xv
