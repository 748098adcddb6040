#pragma once

#include <mutex>
#include <vector>

#include "audio/audio_buffer.h"
#include "audio/sound_timeline.h"
#include "output/raw_dump.h"
#include "session/first_failure.h"
#include "session/packet_delivery.h"
#include "session/session_stats.h"
#include "session/stage_options.h"
#include "session/tracks.h"

namespace xv {

// The sound of one frame. Without `data` it is silence of that length.
struct SoundBlock {
  XV_AUD_PROPS format{};
  const XV_TIME* time = nullptr;  // corrected; null: it follows the block before
  const std::uint8_t* data = nullptr;
  std::uint32_t bytes = 0;
};

// The sound of a session: the host's blocks go into one buffer that all audio tracks read from,
// each at its frame's time, and leave as packets. Thread-safe: one lock over buffer, tracks and
// dumps.
class AudioStage {
 public:
  AudioStage(PacketDelivery& delivery, FirstFailure& failure, SessionStats& stats)
      : delivery_(delivery), failure_(failure), stats_(stats) {}

  // At open; `tracks` live until Close.
  void Start(const Tracks& tracks, const StageOptions& options);
  bool HasTracks() const { return !tracks_.empty(); }
  // Takes one frame's sound, with silence ahead of it or less of it where its time asks for that.
  // S_FALSE without a track.
  Status Take(const SoundBlock& block);
  // Silence from where the samples end to that time (100 ns), as samples of `format`.
  void FillUntil(std::int64_t end, const XV_AUD_PROPS& format);
  // A frame of that time had no samples.
  void Miss(const XV_TIME& time);
  // Encodes what the buffer holds in whole codec frames for every track and delivers the packets.
  // At the end of the stream the rest goes too and the encoders are drained. Failures are kept for
  // the host's next frame.
  void Encode(bool endOfStream);
  // At cleanup, ahead of the tracks.
  void Close();

 private:
  struct Track {
    StreamHolder* holder;
    RawDump dump;
  };

  Status Append(const SoundBlock& block);
  Status AppendSilence(const XV_AUD_PROPS& format, std::int64_t samples);
  SoundTimeline::Correction Place(const SoundBlock& block, std::int64_t samples);
  void EncodeHeld(bool endOfStream);
  bool Round(bool endOfStream);
  bool DeliverPackets(Track& track);
  void DropTaken();

  PacketDelivery& delivery_;
  FirstFailure& failure_;
  SessionStats& stats_;
  std::mutex lock_;  // guards what follows, which is fixed from Start to Close but for the contents
  std::vector<Track> tracks_;
  AVRational pictureRate_{0, 1};  // pictures a second; 0 without a video track
  XvAudioBuffer2 buffer_;
  SoundTimeline timeline_;
};

}  // namespace xv
