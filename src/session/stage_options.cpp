#include "session/stage_options.h"

#include <algorithm>

#include "media/frame_duration.h"
#include "session/session_attributes.h"

namespace xv {
namespace {

constexpr std::int64_t kLeastDiskSpace = 0xA00000;  // 10 MiB; no attribute goes below it

std::vector<std::string> RawAudioPaths(const XMLParse::CoXMLNode& attributes, int tracks) {
  std::vector<std::string> paths;
  for (int track = 0; track < tracks; ++track) {
    const auto path =
        track == 0 ? attributes.Find(kRawAudio) : attributes.Find(kRawAudioTrack, track);
    paths.push_back(path.value_or(std::string()));
  }
  return paths;
}

}  // namespace

StageOptions ReadStageOptions(const XMLParse::CoXMLNode& attributes, int audioTracks) {
  StageOptions options;
  options.dropFrames = attributes.Get(kDropFrames);
  options.ignorePts = attributes.Get(kIgnorePts);
  options.soundTolerance = UnitsFromMilliseconds(attributes.Get(kSoundTolerance));
  options.embedCaptions = attributes.Get(kEmbedCc);
  options.captionPlacement = attributes.Get(kEmbedPlacement);
  options.savePackets = attributes.Get(kSavePackets);
  options.leastDiskSpace = std::max(attributes.Get(kDiskSpace), kLeastDiskSpace);
  options.rawVideoPath = attributes.Get(kRawVideo);
  options.rawAudioPaths = RawAudioPaths(attributes, audioTracks);
  return options;
}

}  // namespace xv
