#pragma once

#include "base/status.h"
#include "codec/codec_choice.h"
#include "codec/stream_holder.h"

namespace xv {

// Fills `holder` with audio track `track` of the input (its share by the track mask): context,
// options, the open encoder and its stream in `oc` (and `oc2`).
Status SetupAudioStream(StreamHolder& holder, AVFormatContext* oc, AVFormatContext* oc2,
                        const XV_AUD_PROPS& input, int track, const CodecChoice& choice);

}  // namespace xv
