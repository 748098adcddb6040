#pragma once

#include <atomic>
#include <cstdint>

#include "base/status.h"
#include "contracts/av_handles.h"

namespace xv {

// The bytes of packets that a muxer was given and has not let go of: they wait in its queue for
// those of other streams. Packets may leave on any thread; it outlives all of them.
class PacketsInMuxer {
 public:
  // What `packet` may become in any container, with the heads and the padding around it.
  static std::int64_t MostBytes(const AVPacket& packet);
  // From here on it is counted, until its last reference goes.
  Status Enter(AVPacket& packet);
  std::int64_t bytes() const { return bytes_; }

 private:
  struct Ticket;
  static void Leave(void* opaque, std::uint8_t* ticket);

  std::atomic<std::int64_t> bytes_{0};
};

}  // namespace xv
