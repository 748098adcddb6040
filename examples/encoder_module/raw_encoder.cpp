#include <cstdlib>
#include <deque>
#include <memory>
#include <vector>

#include "xvwriter/component.h"
#include "xvwriter/packets.hpp"

// The least that an encoder of somebody else needs: pictures in UYVY become raw packets as they
// are. A real one does its work where this one copies.
namespace {

using xv::host::EncodedData;
using xv::host::PacketStream;
using xv::host::Ptr;

constexpr xv::Guid kRawEncoder{
    0xc1d9f0a7, 0x3b52, 0x4e68, {0x9f, 0x14, 0xd0, 0x7a, 0x86, 0xe2, 0xb5, 0xc3}};

class RawEncoder final : public xv::host::Counted<xv::IXfEncoder> {
 public:
  xv::HRESULT Init(xv::eXfMediaType type, const char16_t*) override {
    return type == xv::eXfMT_Video ? xv::S_OK : xv::XV_E_NOT_SUPPORTED;
  }

  xv::HRESULT Configure(xv::IXfFrame* frame, const xv::XV_AV_PROPS* props, const char16_t*,
                        void*) override {
    if (frame == nullptr) return xv::S_OK;  // nothing is held back
    std::uint32_t size = 0;
    const std::uint8_t* data = nullptr;
    xv::XV_TIME time{};
    if (xv::Failed(frame->FrameVideoGet(&size, &data)) || size == 0) return xv::S_FALSE;
    if (xv::Failed(frame->FrameTimeGet(&time))) return xv::E_INVALIDARG;
    if (props == nullptr || props->vid.fccColor != xv::kFccUYVY) return xv::XV_E_NO_PIXEL_FORMAT;
    if (stream_ == nullptr) Describe(props->vid);

    auto bytes = std::make_shared<std::vector<std::uint8_t>>(data, data + size);
    EncodedData packet;
    packet.data = bytes->data();
    packet.bytes = size;
    packet.keep = bytes;
    packet.pts = packet.dts = time.rtStart;
    packet.duration = static_cast<std::int32_t>(time.rtStop - time.rtStart);
    packet.key = true;
    packets_.push_back(MakePacket(stream_, std::move(packet)));
    return xv::S_OK;
  }

  xv::HRESULT Process(xv::IXfPacket** packet, std::int32_t* remaining, std::int64_t,
                      void*) override {
    *packet = nullptr;
    *remaining = 0;
    if (packets_.empty()) return xv::S_FALSE;
    *packet = packets_.front().get();
    (*packet)->AddRef();
    packets_.pop_front();
    *remaining = static_cast<std::int32_t>(packets_.size());
    return xv::S_OK;
  }

  xv::HRESULT Close() override {
    packets_.clear();
    return xv::S_OK;
  }

 private:
  // Stamps are the frames' times: ticks of 100 ns.
  void Describe(const xv::XV_VID_PROPS& vid) {
    stream_ = std::make_shared<PacketStream>(xv::eXfMT_Video, "rawvideo");
    xv::XV_STREAM_INFO& info = stream_->info;
    info.nTimeBaseNum = 1;
    info.nTimeBaseDen = xv::kTimeUnitsPerSecond;
    info.nWidth = vid.nWidth;
    info.nHeight = std::abs(vid.nHeight);
    info.dblRate = vid.dblRate;
    info.nBits = 16;
    info.fccTag = xv::kFccUYVY;
  }

  std::shared_ptr<PacketStream> stream_;
  std::deque<Ptr<xv::IXfPacket>> packets_;
};

}  // namespace

extern "C" __attribute__((visibility("default"))) xv::HRESULT DllGetClassObject(
    const xv::Guid& classId, const xv::Guid& iid, void** out) {
  if (!(classId == kRawEncoder)) return xv::CLASS_E_CLASSNOTAVAILABLE;
  return xv::host::GiveFactory<RawEncoder>(iid, out);
}
