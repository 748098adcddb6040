#pragma once

#include "base/status.h"
#include "session/session.h"

namespace xv {

// Takes the packet's stamps from the encoder's time base to the stream's, with the track's delays,
// and gives it the stream's index.
void ScaleToStream(const StreamHolder& holder, AVPacket& packet);

// Delivers one encoded packet, stamps in its stream's base: to the second output, to loose files
// where asked for, to the muxer. Takes the packet's reference. The status is the main output's.
Status WritePacket(Session& session, AvPtr<AVPacket> packet);

}  // namespace xv
