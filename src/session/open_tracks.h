#pragma once

#include <cstdint>
#include <string>

#include "base/status.h"
#include "session/open_target.h"
#include "session/session.h"

namespace xv {

struct TrackPlan {
  const TargetPlan* target;
  XV_AV_PROPS props;
  XMLParse::XMLNodePtr attributes;
  std::string timecode;
  std::int64_t videoDelay = 0;  // 100 ns
  std::int64_t audioDelay = 0;
};

// The video stream, or the placeholder of a format that must have one. S_FALSE when there is none
// to make; a failure ends the open.
Status OpenVideoTrack(Session& session, const TrackPlan& plan);

// The audio streams. A track that fails leaves the others alone.
void OpenAudioTracks(Session& session, const TrackPlan& plan);

}  // namespace xv
