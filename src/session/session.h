#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "audio/audio_buffer.h"
#include "audio/wav_writer.h"
#include "base/ref.h"
#include "codec/stream_holder.h"
#include "frames/prepare_video.h"
#include "growing/growing_files.h"
#include "output/output.h"
#include "output/raw_dump.h"
#include "output/second_output.h"
#include "session/session_stats.h"
#include "session/stage_options.h"
#include "session/video_queue.h"
#include "tree/node.h"

namespace xv {

inline constexpr std::uint32_t kNoMaskOverride = 0x80000000u;

// What the stages of one recording share. CEncoderFFM owns it; each stage is given it.
struct Session {
  // Set by open.
  Output main;
  std::unique_ptr<SecondOutput> second;
  std::unique_ptr<GrowingFiles> growing;  // index and header file beside a growing recording
  std::vector<std::unique_ptr<StreamHolder>> streams;
  int videoIndex = -1;
  XMLParse::XMLNodePtr props;    // "xml-props": a private copy of the session attributes
  XMLParse::XMLNodePtr ownNode;  // the writer's own attributes, the fallback for a few
  std::uint32_t trackMaskOverride = kNoMaskOverride;
  int videoBuffers = 0;
  std::string wavPath;
  VideoPreparation video;
  StageOptions options;
  SessionStats* stats = nullptr;

  // Between frames.
  std::atomic<bool> isOpen{false};
  bool needHeader = true;
  std::int32_t putCounter = 0;
  std::int64_t frameCount = 0;
  std::int64_t videoCounter = 0;
  std::int32_t segmentCounter = 0;
  VideoQueue queue;
  std::mutex audioLock;  // the audio buffer and the audio stage; ahead of the FFmpeg lock
  XvAudioBuffer2 audioBuffer;
  WavWriter wav;
  bool wavOpen = false;
  RawDump rawVideo;
  std::vector<std::unique_ptr<RawDump>> rawAudio;

  StreamHolder* VideoHolder() {
    return videoIndex < 0 ? nullptr : streams[static_cast<std::size_t>(videoIndex)].get();
  }
  int AudioTracks() const;
  bool HasAudio() const { return AudioTracks() > 0; }

  // The worker's first failure, kept until open; the host gets it with its next frame.
  Status stickyError() const { return Status(sticky_.load(std::memory_order_acquire)); }
  void KeepError(Status error, const char* stage, const std::string& words);
  void ClearError() { sticky_ = S_OK; }

 private:
  std::atomic<HRESULT> sticky_{S_OK};
};

}  // namespace xv
