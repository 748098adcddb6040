#pragma once

#include "base/status.h"
#include "codec/stream_holder.h"

namespace xv {

// Gives one picture or sound frame to the encoder, null for end of stream (the second null and
// later ones only collect). Every packet that is ready joins holder.packets. Negative on failure;
// XV_E_ABORTED where frames in the encoder were given up at the end.
Status EncodeBackend(StreamHolder& holder, const AVFrame* frame);

// The next packet of the holder, or null.
AvPtr<AVPacket> TakePacket(StreamHolder& holder);

}  // namespace xv
