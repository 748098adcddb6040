#pragma once

#include "contracts/av_handles.h"

namespace xv {

// Puts our defaults in place of FFmpeg's into a context that has no options yet: a transport stream
// gets the delay of a decoder's buffer ("max_delay"), and its sound is not gathered.
void SetMuxerDefaults(AVFormatContext& context);

}  // namespace xv
