#pragma once

#include "base/status.h"
#include "session/session.h"

namespace xv {

// Opens the file or stream and writes the headers; runs with the first frame. A failing second
// output ends that output alone. For a URL a failing header is not an error here: packets answer
// it.
Status OpenOutputs(Session& session);

}  // namespace xv
