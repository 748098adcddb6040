#pragma once

#include <string>

#include "platform/clock.h"
#include "tree/node.h"
#include "xvwriter/media.h"

namespace xv {

// The start time code of an output as text, "" for none: the attribute "start_timecode", else the
// first frame's own (`time`, may be null), else the wall clock. The drop-frame mark ";" stays only
// at rates of the NTSC family.
std::string StartTimecode(const XMLParse::CoXMLNode& attributes, const XV_TIME* time,
                          const XV_VID_PROPS& vid, Clock& clock);

}  // namespace xv
