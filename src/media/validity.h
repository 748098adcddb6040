#pragma once

#include "xvwriter/media.h"

// What "has video" and "has audio" mean, everywhere. The strict forms ask whether the record
// describes media that can be encoded, the loose ones whether it says anything at all.
namespace xv {

bool VideoPropsValid(const XV_VID_PROPS& vid, bool strict);

// Strict: 1 to 32 channels above 800 Hz, up to 16 MHz, in 16, 20, 24, 32 or -32 bits, and not
// disabled.
bool AudioPropsValid(const XV_AUD_PROPS& aud, bool strict);

// The range test of the strict form; audio that is disabled (negative channels) passes.
bool AudioPropsInRange(const XV_AUD_PROPS& aud);

// Field order: 0 progressive or not known, +1 top field first, -1 bottom field first. An automatic
// eInterlace takes the format's own.
int InterlaceOrder(const XV_VID_PROPS& vid);

}  // namespace xv
