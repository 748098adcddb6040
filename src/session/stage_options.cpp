#include "session/stage_options.h"

#include <algorithm>

namespace xv {
namespace {

constexpr std::int64_t kLeastDiskSpace = 0xA00000;  // 10 MiB; no attribute goes below it
constexpr const char* kDefaultDiskSpace = "300M";

bool BoolOf(const XMLParse::CoXMLNode& attributes, const XMLParse::CoXMLNode* ownNode,
            const char* key) {
  if (attributes.Has(key)) return attributes.Bool(key);
  return ownNode != nullptr && ownNode->Bool(key);
}

std::vector<std::string> RawAudioPaths(const XMLParse::CoXMLNode& attributes, int tracks) {
  std::vector<std::string> paths;
  for (int track = 0; track < tracks; ++track) {
    paths.push_back(
        attributes.Text(track == 0 ? "raw_audio" : "raw_audio." + std::to_string(track)));
  }
  return paths;
}

}  // namespace

StageOptions ReadStageOptions(const XMLParse::CoXMLNode& attributes,
                              const XMLParse::CoXMLNode* ownNode, int audioTracks) {
  std::string diskSpace = kDefaultDiskSpace;
  if (ownNode != nullptr) diskSpace = ownNode->Text("diskspace.min", diskSpace);
  StageOptions options;
  options.dropFrames = attributes.Bool("video.drop_frames");
  options.ignorePts = BoolOf(attributes, ownNode, "ignore_pts");
  options.embedCaptions = BoolOf(attributes, ownNode, "embed_cc");
  options.captionPlacement = static_cast<CaptionPlacement>(
      attributes.ListIndex("embed_cc.placement", kCaptionPlacements, 0));
  options.savePackets = attributes.Bool("save_packets");
  options.leastDiskSpace = std::max(attributes.Rate("diskspace.min", diskSpace), kLeastDiskSpace);
  options.rawVideoPath = attributes.Text("raw_video");
  options.rawAudioPaths = RawAudioPaths(attributes, audioTracks);
  return options;
}

}  // namespace xv
