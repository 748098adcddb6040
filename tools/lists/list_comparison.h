#pragma once

#include <string>
#include <vector>

#include "tree/node.h"

namespace xv {

// Compares what a list says of codecs and formats with what this build of FFmpeg reports, one line
// for each difference: an option that FFmpeg does not know, another default, other bounds, words
// that one of them lacks. Attributes that this system reads itself have no counterpart there and
// are left out, as are hardware codecs that FFmpeg does not know.
std::vector<std::string> CompareWithFFmpeg(const XMLParse::CoXMLNode& list);

}  // namespace xv
