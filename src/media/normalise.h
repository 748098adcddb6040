#pragma once

#include <cstdint>

#include "xvwriter/media.h"

// Keeps a video record consistent with itself and with the table of standard formats.
namespace xv {

// Completes and corrects `vid` in place:
// - an aspect with one member 0 is cleared;
// - a format id is expanded into layout, rate, size, interlace and aspect; what the record gives
//   itself wins, and an id that does not fit the rate, width and height given is detected anew. A
//   height of 1 or -1 asks for the format's height with that sign;
// - without an id the id, and with it an unknown aspect, is detected from the fields;
// - with `writeBack`, once width and height are known, a field order other than 1, 2, 3 becomes
//   progressive and a missing layout becomes UYVY (below 626 lines) or HDYC;
// - layouts that are not RGB get an even width and a positive height, interlaced pictures an even
//   height; row bytes are at least the natural ones.
// A disabled record stays as it is; null is ignored.
void NormaliseVideoProps(XV_VID_PROPS* vid, bool writeBack);

// The standard format with this size, rate and field order, with stereo flags where the picture
// holds two views; 0 for none. `strict` refuses pictures that carry blanking lines on top of the
// format's height. Rates compare within 0.01.
std::int32_t DetectVideoFormat(const XV_VID_PROPS& vid, bool strict);

}  // namespace xv
