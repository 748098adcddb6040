#pragma once

#include <string>

#include "base/status.h"
#include "codec/stream_holder.h"

namespace xv {

// The options of an audio track, a copy: those of the node "audio" of a session's attributes, over
// them those of "audio.N" for tracks above 0.
XMLParse::XMLNodePtr AudioTrackOptions(const XMLParse::CoXMLNode& attributes, int track);

struct StreamRequest {
  AVFormatContext* oc;
  AVFormatContext* oc2;  // the second output, or null
  const XV_AV_PROPS* props;
  int track;
  XMLParse::XMLNodePtr node;  // the track's options, named "video" or "audio"; copied
  AVCodecID defaultCodec;
  std::int64_t delay;    // added to the packets' stamps, 100 ns
  std::string timecode;  // for the GOP header; "" for none
  int threads = 0;     // the most that an encoder of pictures has unless it is told; 0: any number
  bool strict = true;  // no other encoder, preset or profile stands in for one that is missing
};

// Makes one track: stream, encoder, and the twin stream of a second output. The private copy of the
// options lives as long as the holder. Failures have their words in holder.failure.
//   E_FAIL           no encoder could be opened; a node of another name, too.
//   XV_E_NOT_FOUND   strict: an encoder, preset or profile of that name does not exist.
Status SetupStream(StreamHolder& holder, const StreamRequest& request);

// One of the containers wants the encoder's headers apart from its packets. `oc2` may be null.
bool WantsHeadersApart(const AVFormatContext& oc, const AVFormatContext* oc2);
// The opened encoder's stream, and its twin where `oc2` is not null, in the encoder's time base.
// E_OUTOFMEMORY, with `warning` given to the person, when there is no room for one.
Status AddStreams(StreamHolder& holder, AVFormatContext* oc, AVFormatContext* oc2,
                  const char* warning);
// "streamid", for an audio track (`track` >= 0) "streamid.N", becomes the stream's id.
void ApplyStreamId(StreamHolder& holder, int track);
// The child "metadata" of the options becomes the stream's metadata.
void ApplyStreamMetadata(StreamHolder& holder);

}  // namespace xv
