#pragma once

#include "session/session.h"

namespace xv {

// Takes one frame's sound into the buffer that all audio tracks read from. Null `data`, or a frame
// that marks the end of the stream, adds silence of that length.
Status TakeAudio(Session& session, const XV_AUD_PROPS& format, const XV_TIME& frameTime,
                 const std::uint8_t* data, std::uint32_t bytes);

// Encodes what the buffer holds in whole codec frames for every track and writes the packets. At
// the end of the stream the rest goes too and the encoders are drained. Failures of writing are
// kept for the host's next frame.
void AudioStage(Session& session, bool endOfStream);

}  // namespace xv
