#include "growing/packet_locator.h"

#include "growing/hook_locator.h"
#include "growing/table_locator.h"

namespace xv {

std::unique_ptr<PacketLocator> MakePacketLocator(RecordFile& records) {
#if XV_PUBLIC_PACKET_LOCATOR || LIBAVFORMAT_VERSION_MAJOR != 59
  return std::make_unique<GrowingTable>(records);
#else
  return std::make_unique<GrowingHooks>(records);
#endif
}

IndexRecord RecordBuilder::Start(const AVPacket& packet, std::int64_t number, bool isVideo) {
  const bool key = (packet.flags & AV_PKT_FLAG_KEY) != 0;
  if (isVideo && key) lastKeyFrame_ = number;
  IndexRecord record;
  record.dts = packet.dts;
  record.pts = packet.dts == AV_NOPTS_VALUE ? AV_NOPTS_VALUE : packet.pts;
  record.size = static_cast<std::uint32_t>(packet.size);
  record.frameNumber = static_cast<std::uint32_t>(number);
  record.keyDistance = isVideo ? static_cast<std::uint16_t>(number - lastKeyFrame_ + 1) : 0;
  record.stream = static_cast<std::uint16_t>(packet.stream_index);
  record.duration = static_cast<std::uint32_t>(packet.duration);
  record.key = key;
  return record;
}

}  // namespace xv
