#pragma once

#include <cstdint>
#include <span>

#include "contracts/av_handles.h"

namespace xv {

// The encoder's sample format nearest to `bitsPerSample` (16, 20, 24, 32, or -32 for float).
AVSampleFormat PickSampleFormat(const AVCodec& codec, int bitsPerSample);

// Of `rates` the one for `rate`: equal, else the next above, else the highest below; `rate` itself
// where there are none.
int PickSampleRate(std::span<const int> rates, int rate);
// The rates that the encoder takes; empty for any.
std::span<const int> SampleRatesOf(const AVCodec& codec);

}  // namespace xv
