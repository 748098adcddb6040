#pragma once

#include "base/status.h"
#include "session/session.h"

namespace xv {

// Turns target, first frame's properties and attributes into prepared contexts and streams; writes
// nothing to the output. `time` may be null. A failure leaves the session closed and clean.
//   XV_E_NO_VALID_MEDIA  neither video nor audio.
//   E_FAIL               no output context, or the video encoder could not be opened.
//   E_UNEXPECTED         the context has no format.
//   XV_E_NOT_SUPPORTED   no stream could be set up.
Status OpenSession(Session& session, const char* target, const XV_AV_PROPS& props,
                   const XV_TIME* time, const XMLParse::XMLNodePtr& attributes);

}  // namespace xv
