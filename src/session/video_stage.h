#pragma once

#include "session/session.h"

namespace xv {

// Encodes one prepared frame, writes every packet that comes of it, and lets the audio stage
// follow, so that sound and picture leave in step. No picture in `frame`: end of the stream, the
// encoder is drained. Failures are kept for the host's next frame.
void VideoStage(Session& session, const QueuedFrame& frame);

}  // namespace xv
