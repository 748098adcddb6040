#include <chrono>
#include <stdexcept>
#include <thread>

#include "component/odd_classes.h"
#include "xvwriter/packets.hpp"

// Encoders that break the contract, each in its own way.
namespace xv::test {
namespace {

void Block(int seconds) { std::this_thread::sleep_for(std::chrono::seconds(seconds)); }

class OddEncoder final : public host::Counted<IXfEncoder, IXfTraced> {
 public:
  explicit OddEncoder(Odd odd) : odd_(odd) {}

  HRESULT TraceSinkSet(IXvTraceSink* sink) noexcept override {
    if (sink != nullptr) sink->TraceLine(u"odd encoder has its sink");
    return S_OK;
  }
  HRESULT Init(eXfMediaType, const char16_t*) override {
    if (odd_ == Odd::kInitThrows) throw std::runtime_error("thrown");
    if (odd_ == Odd::kInitBlocks) Block(3);
    return odd_ == Odd::kInitFails ? E_FAIL : S_OK;
  }
  HRESULT Configure(IXfFrame* frame, const XV_AV_PROPS*, const char16_t*, void*) override {
    if (odd_ == Odd::kConfigureThrows) throw 7;
    frame_ = frame != nullptr;
    ready_ = frame_ ? 1 : 0;
    return S_OK;
  }
  HRESULT Process(IXfPacket** packet, std::int32_t* remaining, std::int64_t, void*) override {
    if (odd_ == Odd::kProcessBlocks) Block(8);
    *packet = nullptr;
    *remaining = odd_ == Odd::kEndless || (odd_ == Odd::kNeverReady && !frame_) ? 1 : 0;
    if (ready_ == 0) return S_FALSE;
    if (odd_ != Odd::kEndless) ready_ = 0;
    *packet = Made();
    return S_OK;
  }
  HRESULT Close() override { return S_OK; }

 private:
  IXfPacket* Made() {
    static const char kBytes[640 * 360 * 2] = {};
    const char* codec = odd_ == Odd::kNoCodec ? "no such codec" : "rawvideo";
    auto stream = std::make_shared<host::PacketStream>(eXfMT_Video, codec);
    stream->info.nWidth = 640;
    stream->info.nHeight = 360;
    stream->info.dblRate = 25;
    stream->info.nTimeBaseNum = 1;
    stream->info.nTimeBaseDen = 25;
    stream->info.fccTag = kFccUYVY;
    host::EncodedData data;
    data.data = kBytes;
    data.bytes = sizeof(kBytes);
    data.pts = data.dts = odd_ == Odd::kStandsStill ? 3 : number_++;
    data.duration = 1;
    data.key = true;
    if (odd_ == Odd::kNoBytes) data.bytes = 0;
    if (odd_ == Odd::kEndless) data.bytes = 4;
    const auto packet = MakePacket(stream, std::move(data));
    packet->AddRef();
    return packet.get();
  }

  const Odd odd_;
  bool frame_ = true;
  int ready_ = 0;
  std::int64_t number_ = 0;
};

class OddFactory final : public host::Counted<IClassFactory> {
 public:
  explicit OddFactory(Odd odd) : odd_(odd) {}
  HRESULT CreateInstance(IUnknown*, const Guid& iid, void** out) noexcept override {
    *out = nullptr;
    if (odd_ == Odd::kNoObject) return S_OK;
    auto* encoder = new OddEncoder(odd_);
    const HRESULT result = encoder->QueryInterface(iid, out);
    encoder->Release();
    return result;
  }
  HRESULT LockServer(bool) noexcept override { return S_OK; }

 private:
  const Odd odd_;
};

}  // namespace
}  // namespace xv::test

extern "C" __attribute__((visibility("default"))) xv::HRESULT DllGetClassObject(
    const xv::Guid& classId, const xv::Guid& iid, void** out) {
  const auto odd = static_cast<xv::test::Odd>(classId.data4[7]);
  auto* factory = new xv::test::OddFactory(odd);
  const xv::HRESULT result = factory->QueryInterface(iid, out);
  factory->Release();
  return result;
}
