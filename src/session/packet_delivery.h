#pragma once

#include <atomic>
#include <cstdint>

#include "base/status.h"
#include "output/raw_dump.h"
#include "session/first_failure.h"
#include "session/outputs.h"
#include "session/session_stats.h"
#include "session/tracks.h"

namespace xv {

// Takes the packet's stamps from the encoder's time base to the stream's, with the track's delays,
// and gives it the stream's index.
void ScaleToStream(const StreamHolder& holder, AVPacket& packet);

// Delivers encoded packets, stamps in their stream's base: to the second output, to loose files
// where asked for, to the muxer. Any thread that encodes may call it.
class PacketDelivery {
 public:
  PacketDelivery(Outputs& outputs, FirstFailure& failure, SessionStats& stats)
      : outputs_(outputs), failure_(failure), stats_(stats) {}

  // At open. `savePackets`: each packet goes to its own file, too.
  void Start(bool savePackets) {
    savePackets_ = savePackets;
    files_ = 0;
  }
  // A failure of the main output is kept for the host's next frame, as one of `stage`.
  void Deliver(AvPtr<AVPacket> packet, const char* stage);
  // The packet's bytes for a loose dump; a failure is counted and told, the recording goes on.
  void Dump(RawDump& dump, const AVPacket& packet, const char* stage);

 private:
  Status Write(AVPacket& packet);
  Status WriteLooseFile(const AVPacket& packet);

  Outputs& outputs_;
  FirstFailure& failure_;
  SessionStats& stats_;
  bool savePackets_ = false;
  std::atomic<std::int64_t> files_{0};  // loose files so far
};

}  // namespace xv
