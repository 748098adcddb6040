#pragma once

#include <mutex>
#include <vector>

#include "audio/audio_buffer.h"
#include "output/raw_dump.h"
#include "session/first_failure.h"
#include "session/packet_delivery.h"
#include "session/stage_options.h"
#include "session/tracks.h"

namespace xv {

// The sound of a session: the host's blocks go into one buffer that all audio tracks read from,
// and leave as packets. Thread-safe: one lock over buffer, tracks and dumps.
class AudioStage {
 public:
  AudioStage(PacketDelivery& delivery, FirstFailure& failure)
      : delivery_(delivery), failure_(failure) {}

  // At open; `tracks` live until Close.
  void Start(const Tracks& tracks, const StageOptions& options);
  bool HasTracks() const { return !tracks_.empty(); }
  // Takes one frame's sound. Null `data`, or a frame that marks the end of the stream, adds silence
  // of that length. S_FALSE without a track.
  Status Take(const XV_AUD_PROPS& format, const XV_TIME& frameTime, const std::uint8_t* data,
              std::uint32_t bytes);
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

  bool Round(bool endOfStream);
  Status EncodeFrame(StreamHolder& holder, bool endOfStream, int* consumed);
  bool DeliverPackets(Track& track);
  void DropTaken();
  int FrameSamples(const StreamHolder& holder) const;
  Status ReadTrack(StreamHolder& holder, int samples, AVFrame* frame);
  Status ReadFolded(StreamHolder& holder, int samples, AVFrame* frame);

  PacketDelivery& delivery_;
  FirstFailure& failure_;
  std::mutex lock_;  // guards what follows, which is fixed from Start to Close but for the contents
  std::vector<Track> tracks_;
  AVRational pictureRate_{0, 1};  // pictures a second; 0 without a video track
  XvAudioBuffer2 buffer_;
};

}  // namespace xv
