#include "component/channel_encoder.h"

#include "base/guard.h"
#include "component/trace.h"
#include "xvwriter/writer.h"

namespace xv {
namespace {

constexpr std::int64_t kPutTimeout = 30'000'000;  // 3 s in 100 ns

void TraceFrame(const XV_VID_PROPS& vid, IXfPacket* packet) {
  if (!TraceWanted()) return;
  char line[kTraceText];
  TraceLine(FormatVideoProps(&vid, line));
  if (packet != nullptr) TraceLine(FormatPacket(packet, line, true));
}

}  // namespace

Ref<IXfPacket> EncodedPacketOf(IUnknown* frame) {
  const Ref<IXvFrameExtras> extras = Query<IXvFrameExtras>(frame);
  if (!extras) return nullptr;
  Ref<IUnknown> object;
  (void)extras->ObjectGet(kEncodedPacketName, object.Receive());
  return Query<IXfPacket>(object.get());
}

XvEncoderFFM2::~XvEncoderFFM2() {
  (void)Guarded([this] { return EncoderClose(kInfinite); });
}

Status XvEncoderFFM2::EncoderOpen(const char* target, const XV_AV_PROPS* props, const XV_TIME*,
                                  XMLParse::XMLNodePtr attributes) {
  if (target == nullptr || props == nullptr || !attributes) return E_POINTER;
  if (EncoderIsOpen()) return XV_E_ALREADY_OPEN;
  XV_AV_PROPS own = *props;
  if (trackMask_) own.aud.nTrackMask = *trackMask_;
  auto channel = MakeRef<XvEncoderChannel>(report_);
  RETURN_IF_FAILED(channel->Open(target, own, *attributes));
  channels_.push_back(std::move(channel));
  return S_OK;
}

Status XvEncoderFFM2::EncoderPut(const EncoderInput& input) {
  const Ref<IXfFrame> view = Query<IXfFrame>(input.frame);
  if (view) RETURN_IF_FAILED(view->FrameTimeSet(input.time));
  report_.CountFrame();
  return PutFrame(view.get());
}

Status XvEncoderFFM2::PutFrame(IXfFrame* frame) {
  if (frame == nullptr || channels_.empty()) return XV_E_NOT_OPEN;
  XV_AV_PROPS props{};
  RETURN_IF_FAILED(frame->FramePropsGet(&props, nullptr));
  const Ref<IXfPacket> packet = EncodedPacketOf(frame);
  TraceFrame(props.vid, packet.get());
  Status last;
  for (const auto& channel : channels_) {
    last = channel->PutData(frame, packet.get(), kPutTimeout);
  }
  return last;
}

Status XvEncoderFFM2::EncoderClose(std::uint32_t) {
  if (channels_.empty()) return S_FALSE;
  // Each failure has told its words.
  for (const auto& channel : channels_) (void)channel->Close();
  channels_.clear();
  return S_OK;
}

}  // namespace xv
