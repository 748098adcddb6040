#pragma once

#include <vector>

#include "base/status.h"
#include "contracts/av_handles.h"

namespace xv {

// Puts a video stream's headers (parameter sets, sequence header) ahead of its key frames. An
// encoder whose headers stand apart, for a container that wants them so, leaves them out of the
// packets, where the other container of the same session needs them. One caller at a time.
class HeaderRepeater {
 public:
  // Once the streams of `context` have their parameters: those that `codec` flags as standing apart
  // and that the container wants in the packets are repeated from now on.
  Status Add(const AVFormatContext& context, int stream, const AVCodecContext& codec);
  // Replaces the packet by one with its headers, where that is needed. FFmpeg's results.
  int Apply(AVPacket* packet);

 private:
  std::vector<AvPtr<AVBSFContext>> filters_;  // by stream; null: as it comes
};

}  // namespace xv
