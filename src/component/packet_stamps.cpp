#include "component/packet_stamps.h"

#include "component/stream_record.h"

namespace xv {

void StampPassedPacket(std::int64_t time, AVRational base, XV_PACKET_TIME* packet) {
  const std::int64_t stamp = av_rescale_q(time, kPacketTicks, base);
  if (packet->pts == kNoTime) {
    packet->dts = stamp;
  } else if (packet->dts != kNoTime) {
    packet->dts = stamp - (packet->pts - packet->dts);
  }
  packet->pts = stamp;
}

void MoveStamps(std::int64_t offset, AVRational base, XV_PACKET_TIME* packet) {
  const std::int64_t ticks = av_rescale_q(offset, kPacketTicks, base);
  if (packet->pts != kNoTime) packet->pts -= ticks;
  if (packet->dts != kNoTime) packet->dts -= ticks;
}

}  // namespace xv
