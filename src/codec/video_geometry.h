#pragma once

#include "contracts/av_handles.h"
#include "tree/node.h"
#include "xvwriter/media.h"

namespace xv {

struct VideoGeometry {
  XV_VID_PROPS vid{};                   // what the encoder gets
  int dvPixelFormat = AV_PIX_FMT_NONE;  // of a DV encoder
  int linesAbove = 0;                   // black ones that the encoder gets around the picture
  int linesBelow = 0;
  // Where it is not the picture's: the order in which the coded fields are told.
  AVFieldOrder codedOrder = AV_FIELD_UNKNOWN;
};

// Size, aspect and field order of the encoded picture from the input's and the track's options.
// `rawDv`: DV goes into a file of its frames alone.
VideoGeometry ResolveVideoGeometry(const XV_VID_PROPS& input, const XMLParse::CoXMLNode& node,
                                   AVCodecID id, bool rawDv = false);

// Frames a second as a time base: 1/N within 0.005 of a whole number, 1001/(N*1000) for the
// NTSC family, else 10000 over the rate to four digits. A rate of 0 or less counts as 25.
AVRational TimeBaseFromRate(double rate);

}  // namespace xv
