#pragma once

#include "catalogue/hardware_report.h"
#include "tree/node.h"

namespace xv {

// Gives the options of NVENC's entries below "video_codecs" the bounds of the encoder at hand: how
// many B pictures it makes, whether it codes without loss and in fields, which sizes it takes. Done
// twice it changes nothing more.
void WriteHardwareBounds(const HardwareReport& report, XMLParse::CoXMLNode& videoCodecs);

}  // namespace xv
