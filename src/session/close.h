#pragma once

#include "base/status.h"
#include "session/session.h"

namespace xv {

// Writes the trailer of the main output, if it has a header, and closes its file.
Status FinishMain(Session& session);

// Releases everything of the session: outputs, encoders, side files. What has no trailer yet gets
// none. The session may be opened again.
void Cleanup(Session& session);

}  // namespace xv
