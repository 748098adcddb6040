#pragma once

#include <cstdint>

#include "output/raw_dump.h"
#include "session/first_failure.h"
#include "session/packet_delivery.h"
#include "session/session_stats.h"
#include "session/stage_options.h"
#include "session/video_queue.h"

namespace xv {

// Encodes prepared frames, puts captions into the packets and delivers them. Belongs to the thread
// that encodes pictures: the worker, or the host's where there is no queue.
class VideoStage {
 public:
  VideoStage(PacketDelivery& delivery, FirstFailure& failure, SessionStats& stats)
      : delivery_(delivery), failure_(failure), stats_(stats) {}

  // At open. `holder` (null: no video track) and `options` live until the next Start.
  void Start(StreamHolder* holder, const StageOptions* options);
  // No picture in `frame`: end of the stream, the encoder is drained. Failures are kept for the
  // host's next frame.
  void Encode(const QueuedFrame& frame);
  // Frames encoded since Start.
  std::int64_t frames() const { return frames_; }
  // At cleanup, ahead of the tracks.
  void Close();

 private:
  Status Send(const QueuedFrame& frame);
  void Deliver(AvPtr<AVPacket> packet);

  PacketDelivery& delivery_;
  FirstFailure& failure_;
  SessionStats& stats_;
  StreamHolder* holder_ = nullptr;
  const StageOptions* options_ = nullptr;
  std::int64_t frames_ = 0;
  RawDump dump_;
};

}  // namespace xv
