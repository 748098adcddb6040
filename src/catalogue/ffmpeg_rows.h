#pragma once

#include "tree/node.h"

// Brings the built-in list in line with this build of FFmpeg.
namespace xv {

// Writes defaults, bounds and words of the encoders and muxers at hand into the schemas of `list`.
// A codec that FFmpeg has an encoder for gets a schema that is complete: it inherits nothing, holds
// what the list declares for all codecs of its kind as far as this encoder takes it, and its
// default is "" where the encoder decides. "Default format codec" tells the rate of its format's
// encoder. Sound has the rates and the number of tracks that the container takes. Codecs of
// vendors, and options that this system reads itself, stay as they are.
void ShowFFmpegsRows(XMLParse::CoXMLNode& list);

}  // namespace xv
