#pragma once

#include <memory>

#include "base/auto_obj_base.h"
#include "base/ref.h"
#include "component/stream_record.h"

namespace xv {

// A packet that FFmpeg has encoded. The stamps are set while nobody else reads.
class EncodedPacket final : public AutoObjBase<EncodedPacket, IXfPacket> {
 public:
  // Tells a packet of this module, whose memory FFmpeg can share.
  static constexpr Guid kMarker{
      0x7d90b6e3, 0x1c5f, 0x4e28, {0xa4, 0x83, 0x6b, 0x02, 0xd9, 0x57, 0xfe, 0x10}};

  EncodedPacket(AvPtr<AVPacket> packet, std::shared_ptr<const StreamRecord> stream,
                const XV_PACKET_TIME& time)
      : packet_(std::move(packet)), stream_(std::move(stream)), time_(time) {}

  HRESULT PacketTimeGet(XV_PACKET_TIME* time) noexcept override;
  HRESULT PacketStreamInfoGet(XV_STREAM_INFO* info) noexcept override;
  HRESULT PacketFrameTimeGet(XV_TIME* time) noexcept override;
  HRESULT PacketDataGet(std::uint32_t* size, const std::uint8_t** data) noexcept override;
  HRESULT PacketTimeSet(const XV_PACKET_TIME* time) noexcept override;

  const AVPacket& packet() const { return *packet_; }

 private:
  const AvPtr<AVPacket> packet_;
  const std::shared_ptr<const StreamRecord> stream_;
  XV_PACKET_TIME time_;
};

// The bytes of any packet as FFmpeg's: shared with one of this module, else copied. Stamps and
// flags are `time`'s. Null when there is no memory; `result` gets
//   E_INVALIDARG  the packet has no bytes, or says so and has none.
AvPtr<AVPacket> FFmpegPacket(IXfPacket& packet, const XV_PACKET_TIME& time, Status* result);

}  // namespace xv
