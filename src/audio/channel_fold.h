#pragma once

#include "audio/channels_buffer.h"

namespace xv {

// Mixes the channels of `buffer` down to `count`; the result is clipped. Channel order is FL, FR,
// C, LFE, BL, BR.
//   6 -> 2  L = FL + 0.707 C + 0.707 BL, R = FR + 0.707 C + 0.707 BR; LFE is left out
//   6 -> 1  the average of all six
//   3 -> 1  the average of all three
//   other   channel i is added onto channel i modulo `count`
// False when nothing was mixed: a count below 1 (nothing happens), one that is not below the
// present (channels are added, silent), or no samples.
bool FoldChannels(XvChannelsBuffer& buffer, int count, bool isFloat);

}  // namespace xv
