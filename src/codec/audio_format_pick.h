#pragma once

#include <cstdint>

#include "contracts/av_handles.h"

namespace xv {

// The encoder's sample format nearest to `bitsPerSample` (16, 20, 24, 32, or -32 for float).
AVSampleFormat PickSampleFormat(const AVCodec& codec, int bitsPerSample);

// The encoder's sample rate for `rate`: equal, else the next above, else the highest below; `rate`
// itself where the encoder takes any.
int PickSampleRate(const AVCodec& codec, int rate);

}  // namespace xv
