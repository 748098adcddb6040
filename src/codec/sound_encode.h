#pragma once

#include <cstdint>

#include "audio/audio_buffer.h"
#include "codec/stream_holder.h"

// The sound of a track on its way from the buffer of all channels to its encoder.
namespace xv {

// Bytes of all channels at one time.
std::int64_t SampleBytes(const XV_AUD_PROPS& format);
// What the buffer is prepared with when `input` is its first block: it runs at that rate.
XV_AUD_PROPS SoundBufferFormat(const XV_AUD_PROPS& input);

// Encodes one codec frame of one track behind what holder.readAhead says it has taken; an encoder
// that takes any size gets a picture's worth at `pictureRate`. Packets join holder.packets. A track
// whose encoder has another rate or number of channels takes its samples through holder.own.
// `consumed` gets the samples that were encoded. At the end of the stream the rest goes too, and
// then the encoder is drained.
//   S_FALSE  the buffer holds too little.
Status EncodeSound(StreamHolder& holder, XvAudioBuffer2& buffer, AVRational pictureRate,
                   bool endOfStream, int* consumed);

}  // namespace xv
