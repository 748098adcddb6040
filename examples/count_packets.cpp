#include <chrono>
#include <cstdio>
#include <string>

#include "grey_frames.h"
#include "xvwriter/component.h"
#include "xvwriter/host.hpp"

// Packets in place of a file: an encoder alone, and what comes out of it.
namespace {

using xv::host::Ptr;

struct Count {
  int packets = 0;
  int keys = 0;
  std::size_t bytes = 0;
};

// Takes every packet that is ready; behind the end of the stream, all that are still held.
xv::HRESULT Collect(xv::IXfEncoder& encoder, Count& count) {
  constexpr std::int64_t kWait = 3 * xv::kTimeUnitsPerSecond;
  std::int32_t remaining = 1;
  while (remaining > 0) {
    Ptr<xv::IXfPacket> packet;
    const xv::HRESULT result = encoder.Process(packet.Receive(), &remaining, kWait, nullptr);
    if (xv::Failed(result)) return result;
    if (!packet) return remaining > 0 ? xv::XV_E_TIMEOUT : xv::S_OK;
    xv::XV_PACKET_TIME time{};
    (void)packet->PacketTimeGet(&time);
    ++count.packets;
    count.keys += (time.nFlags & xv::eXfPF_Key) != 0 ? 1 : 0;
    count.bytes += time.cbSize;
  }
  return xv::S_OK;
}

xv::HRESULT Encode(xv::IXfEncoder& encoder, Count& count) {
  xv::HRESULT result = encoder.Init(xv::eXfMT_Video, u"codec=libx264 b=2M g=12");
  for (int i = 0; i < 50 && xv::Succeeded(result); ++i) {
    const auto view = QueryAs<xv::IXfFrame>(GreyFrame(i).Build(&result));
    if (!view) return result;
    xv::XV_AV_PROPS props{};
    (void)view->FramePropsGet(&props, nullptr);
    result = encoder.Configure(view.get(), &props, nullptr, nullptr);
    if (xv::Succeeded(result)) result = Collect(encoder, count);
  }
  if (xv::Succeeded(result)) result = encoder.Configure(nullptr, nullptr, nullptr, nullptr);
  if (xv::Succeeded(result)) result = Collect(encoder, count);
  const xv::HRESULT closed = encoder.Close();
  return xv::Failed(result) ? result : closed;
}

}  // namespace

int main() {
  void* object = nullptr;
  xv::HRESULT result =
      XvCreateInstance(xv::CLSID_CoXfEncoder, nullptr, xv::IXfEncoder::kIid, &object);
  Count count;
  if (xv::Succeeded(result)) {
    const auto encoder = Ptr<xv::IXfEncoder>::Adopt(static_cast<xv::IXfEncoder*>(object));
    result = Encode(*encoder.get(), count);
  }
  std::printf("%d packets, %d of them keys, %zu bytes: %s\n", count.packets, count.keys,
              count.bytes, xv::host::Describe(result).c_str());
  return xv::Succeeded(result) && count.packets == 50 && count.keys > 3 ? 0 : 1;
}
