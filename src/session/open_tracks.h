#pragma once

#include <cstdint>
#include <string>

#include "base/status.h"
#include "session/check_attributes.h"
#include "session/open_target.h"
#include "session/outputs.h"
#include "session/session_stats.h"
#include "session/tracks.h"

namespace xv {

struct TrackPlan {
  const TargetPlan* target;
  XV_AV_PROPS props;
  XMLParse::XMLNodePtr attributes;
  std::string timecode;
  std::int64_t videoDelay = 0;  // 100 ns
  std::int64_t audioDelay = 0;
};

// Adds tracks to a session whose outputs have their contexts.
class TrackOpener {
 public:
  TrackOpener(Outputs& outputs, Tracks& tracks, AttributeUse& use, SessionStats& stats,
              const TrackPlan& plan)
      : outputs_(outputs), tracks_(tracks), use_(use), stats_(stats), plan_(plan) {}

  // The video stream, or the placeholder of a format that must have one. S_FALSE when there is none
  // to make; a failure ends the open.
  Status OpenVideo();
  // The audio streams of `props`. A track that fails leaves the others alone, but for an encoder or
  // profile that does not exist, which ends the open.
  Status OpenAudio(const XV_AV_PROPS& props);
  // Whether the format and the attributes ask for streams of the kind, whatever the input has. That
  // of sound is asked behind OpenVideo.
  bool TakesVideo() const;
  bool TakesAudio() const;

 private:
  Status Add(const XV_AV_PROPS& props, int track, const XMLParse::XMLNodePtr& node,
             AVMediaType type);
  const AVOutputFormat& format() const { return *outputs_.main.context->oformat; }

  Outputs& outputs_;
  Tracks& tracks_;
  AttributeUse& use_;
  SessionStats& stats_;
  const TrackPlan& plan_;
};

// The mask that "split_channels" and "merge_tracks" ask for, or kNoMaskOverride.
std::uint32_t MaskOverride(const XMLParse::CoXMLNode& attributes);

}  // namespace xv
