#pragma once

#include <string>

#include "contracts/av_handles.h"
#include "tree/node.h"

namespace xv {

// The encoder that a session's format implies for tracks without a "codec". "" where the format
// is not known here: then the encoder component chooses.
std::string DefaultEncoder(const std::string& target, const std::string& format, AVMediaType type);

// The format, as far as it is known here, has a place for such tracks.
bool HoldsTracks(const std::string& target, const std::string& format, AVMediaType type);

}  // namespace xv
