#pragma once

#include <string>

#include "output/output.h"
#include "output/output_report.h"

namespace xv {

// The path that stands in for an absent attribute "sdp": "Config.sdp" in the user's runtime folder.
std::string DefaultSdpPath();

// For an RTP target: writes the session description to `path` ("": not at all). A failure is
// reported, the stream goes on.
void WriteSdp(const Output& output, const std::string& path, OutputReport& report);

}  // namespace xv
