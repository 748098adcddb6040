#pragma once

#include <memory>
#include <utility>

#include "xvwriter/packets.hpp"

// What packets.hpp declares. For packets.hpp, not for hosts.
namespace xv::host {
namespace detail {

class PacketObject final : public Counted<IXfPacket> {
 public:
  PacketObject(std::shared_ptr<const PacketStream> stream, EncodedData data)
      : stream_(std::move(stream)), data_(std::move(data)) {
    time_.pts = data_.pts;
    time_.dts = data_.dts;
    time_.nPosition = -1;
    time_.nDuration = data_.duration;
    time_.cbSize = static_cast<std::uint32_t>(data_.bytes);
    if (data_.key) time_.nFlags = eXfPF_Key;
  }

  HRESULT PacketTimeGet(XV_PACKET_TIME* time) noexcept override {
    if (time == nullptr) return E_POINTER;
    *time = time_;
    return S_OK;
  }
  HRESULT PacketStreamInfoGet(XV_STREAM_INFO* info) noexcept override {
    if (info == nullptr) return E_POINTER;
    *info = stream_->info;
    info->cbExtra = static_cast<std::uint32_t>(stream_->extra.size());
    info->pbExtra = stream_->extra.empty() ? nullptr : stream_->extra.data();
    return S_OK;
  }
  HRESULT PacketFrameTimeGet(XV_TIME* time) noexcept override {
    if (time == nullptr) return E_POINTER;
    *time = {};
    const XV_STREAM_INFO& info = stream_->info;
    if (time_.pts == kNoTime || info.nTimeBaseDen <= 0) return S_FALSE;
    const double tick =
        static_cast<double>(kTimeUnitsPerSecond) * info.nTimeBaseNum / info.nTimeBaseDen;
    time->rtStart = static_cast<std::int64_t>(static_cast<double>(time_.pts) * tick);
    time->rtStop = time->rtStart + static_cast<std::int64_t>(time_.nDuration * tick);
    return S_OK;
  }
  HRESULT PacketDataGet(std::uint32_t* size, const std::uint8_t** data) noexcept override {
    if (size == nullptr || data == nullptr) return E_POINTER;
    *size = static_cast<std::uint32_t>(data_.bytes);
    *data = static_cast<const std::uint8_t*>(data_.data);
    return S_OK;
  }
  HRESULT PacketTimeSet(const XV_PACKET_TIME* time) noexcept override {
    if (time == nullptr) return E_POINTER;
    time_ = *time;
    time_.cbSize = static_cast<std::uint32_t>(data_.bytes);
    return S_OK;
  }

 private:
  const std::shared_ptr<const PacketStream> stream_;
  const EncodedData data_;
  XV_PACKET_TIME time_{};
};

}  // namespace detail

inline PacketStream::PacketStream(eXfMediaType type, std::string_view codec) {
  info.eType = type;
  const std::u16string name = Wide(codec);
  for (std::size_t i = 0; i < name.size() && i + 1 < sizeof(info.tag) / sizeof(info.tag[0]); ++i) {
    info.tag[i] = name[i];
  }
}

inline Ptr<IXfPacket> MakePacket(std::shared_ptr<const PacketStream> stream, EncodedData data,
                                 HRESULT* result) {
  HRESULT ignored = S_OK;
  HRESULT& status = result == nullptr ? ignored : *result;
  status = S_OK;
  if (stream == nullptr) status = E_POINTER;
  if (data.data == nullptr && data.bytes > 0) status = E_POINTER;
  if (data.bytes > 0xFFFFFFFFu) status = E_INVALIDARG;
  if (Failed(status)) return {};
  return Ptr<IXfPacket>::Adopt(new detail::PacketObject(std::move(stream), std::move(data)));
}

inline HRESULT AddPacket(const Ptr<IXvFrame>& frame, const Ptr<IXfPacket>& packet) {
  return packet ? AddObject(frame, Narrow(kEncodedPacketName), packet.get()) : E_POINTER;
}

inline HRESULT AddPacket(const Ptr<IXvFrame>& frame, std::shared_ptr<const PacketStream> stream,
                         EncodedData data) {
  HRESULT made = S_OK;
  const Ptr<IXfPacket> packet = MakePacket(std::move(stream), std::move(data), &made);
  return Failed(made) ? made : AddPacket(frame, packet);
}

}  // namespace xv::host
