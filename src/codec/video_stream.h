#pragma once

#include <string>

#include "base/status.h"
#include "codec/codec_choice.h"
#include "codec/stream_holder.h"

namespace xv {

// Fills `holder` with the video track: geometry, pixel format, context, options, the open encoder
// and its stream in `oc` (and `oc2`). `gopTimecode` may be empty.
Status SetupVideoStream(StreamHolder& holder, AVFormatContext* oc, AVFormatContext* oc2,
                        const XV_VID_PROPS& input, CodecChoice choice,
                        const std::string& gopTimecode);

}  // namespace xv
