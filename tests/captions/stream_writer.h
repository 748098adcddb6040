#pragma once

#include <string>
#include <vector>

#include "captions/embed.h"

extern "C" {
#include <libavutil/rational.h>
}

namespace xv::test {

// A caption that is on display from the frame with this number on.
struct SaidAt {
  int frame;
  std::string text;
};

struct StreamSpec {
  std::string path;
  const char* encoder;
  AVRational rate;
  int bFrames;
  CaptionPlacement placement = CaptionPlacement::kSequence;
  const char* options = "";  // of the encoder, "key=value:key=value"
  const char* key = "GA94";  // the attachment that carries the captions
};

// Encodes ten seconds of a moving pattern with captions put into its packets, and writes them into
// a file. Gives the captions with the frames at which they appear; empty on failure.
std::vector<SaidAt> WriteCaptionedStream(const StreamSpec& spec, SessionStats* stats);

}  // namespace xv::test
