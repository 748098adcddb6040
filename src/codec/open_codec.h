#pragma once

#include <functional>
#include <string>

#include "base/status.h"
#include "codec/stream_holder.h"

namespace xv {

// How one attempt of a ladder builds its context; the ladder never reuses one that has failed,
// since a failed open keeps values of the attempt and has consumed its options.
using ContextBuilder = std::function<AvPtr<AVCodecContext>()>;

// Opens the holder's encoder: as configured; without AV_CODEC_FLAG_INTERLACED_ME, then without
// AV_CODEC_FLAG_INTERLACED_DCT, where they are set; then without the options that the encoder
// cannot read, without one of the others, last without any. What the encoder did not get or take of
// the options goes to holder.unusedOptions, with the encoder's words in holder.refusals. E_FAIL,
// with holder.failure in words.
Status OpenVideoCodec(StreamHolder& holder, const AVCodec& codec, const ContextBuilder& build,
                      AvDictionary options);

// Opens an audio encoder; one that refuses the channel count is offered 6, 2 and 1, then fewer
// options, as for pictures.
Status OpenAudioCodec(StreamHolder& holder, const AVCodec& codec, const ContextBuilder& build,
                      AvDictionary options);

}  // namespace xv
