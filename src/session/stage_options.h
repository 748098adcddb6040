#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "captions/embed.h"
#include "tree/node.h"

namespace xv {

// What the stages ask of the attributes for each frame or packet: read once, when the session
// opens, and fixed until it closes.
struct StageOptions {
  bool dropFrames = false;          // "video.drop_frames"
  bool ignorePts = false;           // "ignore_pts"
  std::int64_t soundTolerance = 0;  // 100 ns, "audio.tolerance"
  bool embedCaptions = false;       // "embed_cc"
  CaptionPlacement captionPlacement = CaptionPlacement::kPicture;
  bool savePackets = false;                // "save_packets"
  std::int64_t leastDiskSpace = 0;         // bytes, "diskspace.min"
  std::string rawVideoPath;                // "" for none
  std::vector<std::string> rawAudioPaths;  // by audio track; "" for none
};

// The paths are given for `audioTracks` tracks.
StageOptions ReadStageOptions(const XMLParse::CoXMLNode& attributes, int audioTracks);

}  // namespace xv
