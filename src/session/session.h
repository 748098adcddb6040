#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>

#include "audio/wav_writer.h"
#include "frames/prepare_video.h"
#include "session/audio_stage.h"
#include "session/check_attributes.h"
#include "session/first_failure.h"
#include "session/outputs.h"
#include "session/packet_delivery.h"
#include "session/precedence.h"
#include "session/session_stats.h"
#include "session/stage_options.h"
#include "session/tracks.h"
#include "session/video_queue.h"
#include "session/video_stage.h"
#include "tree/node.h"

namespace xv {

// What open decides. Fixed from open to cleanup, read by any thread.
struct SessionPlan {
  XMLParse::XMLNodePtr attributes;  // "xml-props": a private copy of the session's
  std::uint32_t trackMaskOverride = kNoMaskOverride;
  int videoBuffers = 0;
  // The recording would have such tracks, but the first frame had nothing for them.
  bool leavesPicturesOut = false;
  bool leavesSoundOut = false;
  StageOptions options;
  XV_AUD_PROPS sound{};  // of the first frame, with the tracks of the session
};

// What the host's thread keeps between its frames.
struct HostSide {
  bool needHeader = true;      // the outputs open with the first frame
  std::int32_t diskWatch = 0;  // frames since open
  std::int64_t frames = 0;     // frames that went through the stages on this thread
  VideoPreparation preparation;
  bool countsPictures = false;  // the main output's container, see CountsPictures
  bool fillsSound = false;      // any output's: pictures behind the end of the sound would be lost
  Ref<XvFrameFFM> shown;        // the picture that was taken last, for repeats
  PutPace pace;
  std::int64_t owed = 0;  // ticks that a container which counts pictures still lacks
  std::string wavPath;
  XV_AUD_PROPS wavFormat{};  // of the open file
  int wavParts = 0;          // files so far
  WavWriter wav;
};

// The parts of one recording. CEncoderFFM owns it; open and close set it up and take it down on the
// host's thread, while there is no worker. A stage is given the parts that it reads.
struct Session {
  explicit Session(SessionStats& counters) : stats(counters) {}

  SessionStats& stats;          // any thread
  FirstFailure failure{stats};  // any thread
  std::atomic<bool> isOpen{false};
  std::function<bool()> stopsAtOnce;  // any thread; null: never
  SessionPlan plan;
  AttributeUse use;       // the host's thread, until the outputs are open
  HostSide host;          // the host's thread
  VideoQueue queue;       // from the host's thread to the worker
  Precedence precedence;  // over sessions that can wait
  Outputs outputs;
  Tracks tracks;
  PacketDelivery delivery{outputs, failure, stats};
  VideoStage pictures{delivery, failure, stats};  // the worker, or the host's without a queue
  AudioStage sound{delivery, failure, stats};     // any thread
};

}  // namespace xv
