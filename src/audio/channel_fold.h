#pragma once

#include "audio/channels_buffer.h"

namespace xv {

// Mixes the channels of `buffer` down to `count` as ITU-R BS.775 does; the result is clipped.
// Channels are, by their number:
//   1 C   2 L R   3 L R C   4 L R C B   5 L R C BL BR   6 L R C LFE BL BR
//   7 L R C LFE B SL SR     8 L R C LFE BL BR SL SR
// A channel that the target has goes there whole. The others go, at -3 dB, to the target's surround
// of their side, else to the front on their side; the centre and a single back one to both sides.
// LFE is left out. Into one channel the stereo fold's sides are added, scaled so that nothing
// clips. More than 8 channels have no known places: channel i is added onto channel i modulo
// `count`, into one channel their average goes. False when nothing was mixed: a count below 1
// (nothing happens), one that is not below the present (channels are added, silent), or no samples.
bool FoldChannels(XvChannelsBuffer& buffer, int count, bool isFloat);

}  // namespace xv
