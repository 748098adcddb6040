#pragma once

#include "ffm/session.h"

namespace xv {

// For an RTP target: writes the session description where the attribute "sdp" says, by default
// "Config.sdp" in the user's runtime folder. A failure is noted, the stream goes on.
void WriteSdp(Session& session);

}  // namespace xv
