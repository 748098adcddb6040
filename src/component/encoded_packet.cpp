#include "component/encoded_packet.h"

#include <cstring>

namespace xv {
namespace {

constexpr std::uint32_t kMostBytes = INT32_MAX - AV_INPUT_BUFFER_PADDING_SIZE;

Ref<EncodedPacket> OwnPacket(IXfPacket& packet) {
  void* own = nullptr;
  if (Failed(packet.QueryInterface(EncodedPacket::kMarker, &own))) return nullptr;
  return Ref<EncodedPacket>::Adopt(static_cast<EncodedPacket*>(own));
}

AvPtr<AVPacket> CopyOf(const std::uint8_t* data, std::uint32_t size) {
  AvPtr<AVPacket> packet(av_packet_alloc());
  if (!packet || av_new_packet(packet.get(), static_cast<int>(size)) < 0) return nullptr;
  std::memcpy(packet->data, data, size);
  return packet;
}

}  // namespace

HRESULT EncodedPacket::PacketTimeGet(XV_PACKET_TIME* time) noexcept {
  if (time == nullptr) return E_POINTER;
  *time = time_;
  return S_OK;
}

HRESULT EncodedPacket::PacketStreamInfoGet(XV_STREAM_INFO* info) noexcept {
  if (info == nullptr) return E_POINTER;
  *info = stream_->info;
  return S_OK;
}

HRESULT EncodedPacket::PacketFrameTimeGet(XV_TIME* time) noexcept {
  if (time == nullptr) return E_POINTER;
  *time = {};
  if (time_.pts == kNoTime) return S_FALSE;
  const AVRational base = TimeBaseOf(stream_->info);
  time->rtStart = av_rescale_q(time_.pts, base, kPacketTicks);
  time->rtStop = av_rescale_q(time_.pts + time_.nDuration, base, kPacketTicks);
  return S_OK;
}

HRESULT EncodedPacket::PacketDataGet(std::uint32_t* size, const std::uint8_t** data) noexcept {
  if (size == nullptr || data == nullptr) return E_POINTER;
  *size = static_cast<std::uint32_t>(packet_->size);
  *data = packet_->data;
  return S_OK;
}

HRESULT EncodedPacket::PacketTimeSet(const XV_PACKET_TIME* time) noexcept {
  if (time == nullptr) return E_POINTER;
  const std::uint32_t size = time_.cbSize;
  time_ = *time;
  time_.cbSize = size;
  return S_OK;
}

AvPtr<AVPacket> FFmpegPacket(IXfPacket& packet, const XV_PACKET_TIME& time, Status* result) {
  AvPtr<AVPacket> made;
  *result = E_OUTOFMEMORY;
  if (const Ref<EncodedPacket> own = OwnPacket(packet)) {
    made.reset(av_packet_clone(&own->packet()));
  } else {
    std::uint32_t size = 0;
    const std::uint8_t* data = nullptr;
    const Status given = packet.PacketDataGet(&size, &data);
    *result = given.Failed() ? given : Status(E_INVALIDARG);
    if (given.Failed() || data == nullptr || size == 0 || size > kMostBytes) return nullptr;
    *result = E_OUTOFMEMORY;
    made = CopyOf(data, size);
  }
  if (!made) return nullptr;
  made->pts = time.pts == kNoTime ? AV_NOPTS_VALUE : time.pts;
  made->dts = time.dts == kNoTime ? AV_NOPTS_VALUE : time.dts;
  made->duration = time.nDuration;
  made->flags =
      (made->flags & ~AV_PKT_FLAG_KEY) | ((time.nFlags & eXfPF_Key) != 0 ? AV_PKT_FLAG_KEY : 0);
  *result = S_OK;
  return made;
}

}  // namespace xv
