#include "output/packets_in_muxer.h"

namespace xv {

struct PacketsInMuxer::Ticket {
  PacketsInMuxer* muxer;
  std::int64_t bytes;
};

// A transport stream adds 4 bytes to 184, mxf fills each part of a packet up to 512.
std::int64_t PacketsInMuxer::MostBytes(const AVPacket& packet) {
  return packet.size + packet.size / 32 + 4096;
}

// The packet's own attachment goes with it through the muxer's queue and filters, and muxers read
// nothing there.
Status PacketsInMuxer::Enter(AVPacket& packet) {
  auto* ticket = static_cast<Ticket*>(av_malloc(sizeof(Ticket)));
  if (ticket == nullptr) return E_OUTOFMEMORY;
  *ticket = {this, MostBytes(packet)};
  AvPtr<AVBufferRef> attached(av_buffer_create(reinterpret_cast<std::uint8_t*>(ticket),
                                               sizeof(Ticket), &PacketsInMuxer::Leave, nullptr, 0));
  if (!attached) {
    av_free(ticket);
    return E_OUTOFMEMORY;
  }
  bytes_ += ticket->bytes;
  const AvPtr<AVBufferRef> before(packet.opaque_ref);
  packet.opaque_ref = attached.release();
  return S_OK;
}

void PacketsInMuxer::Leave(void*, std::uint8_t* data) {
  auto* ticket = reinterpret_cast<Ticket*>(data);
  ticket->muxer->bytes_ -= ticket->bytes;
  av_free(ticket);
}

}  // namespace xv
