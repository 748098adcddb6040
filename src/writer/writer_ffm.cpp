#include "writer/writer_ffm.h"

#include <algorithm>

#include "audio/sample_convert.h"
#include "base/auto_obj_base.h"
#include "base/guard.h"
#include "base/text.h"
#include "catalogue/hardware_probe.h"
#include "component/channel_encoder.h"
#include "media/frame_duration.h"
#include "platform/paths.h"
#include "platform/stream_file.h"
#include "platform/whole_file.h"
#include "session/check_attributes.h"
#include "session/frame_contents.h"
#include "session/session_attributes.h"

namespace xv {
namespace {

using XMLParse::CoXMLNode;
using XMLParse::MergeMode;
using XMLParse::TextOfTree;
using XMLParse::XMLNodePtr;

// What the writer's own node shows beside the catalogue's settings.
constexpr AttributeRow kShownDefaults[] = {kIgnorePts, kDiskSpace, kEmbedCc};
// What the own node holds for others than the sessions.
constexpr const char* kNotShown[] = {"qs_version", "qs_impl"};
constexpr const char* kNotForSessions[] = {"qs_version", "qs_impl", "xfcodecs.enabled"};
constexpr const char* kNodesOfWriter[] = {"m_config", "supported_list", "quality"};

// Of a frame that CheckContents takes.
FrameContent ContentOf(const XV_AV_PROPS& props, const EncoderInput& input) {
  FrameContent content;
  content.picture = input.encodedPicture || HasPictureBytes(input);
  const XV_AUD_PROPS& aud = props.aud;
  if (!HasSound(input, aud)) return content;
  const std::int64_t sampleBytes =
      std::int64_t{HostSampleBytes(aud.nBitsPerSample)} * aud.nChannels;
  content.sound = input.audioSize / sampleBytes * kTimeUnitsPerSecond / aud.nSamplesPerSec;
  return content;
}

void SetDefaults(CoXMLNode& node, std::span<const AttributeRow> rows) {
  for (const AttributeRow& row : rows) node.SetTextIfAbsent(row.name, DefaultText(row));
}

bool IsOneOf(std::span<const char* const> names, std::string_view name) {
  return std::any_of(names.begin(), names.end(),
                     [&](const char* one) { return EqualsNoCase(one, name); });
}

}  // namespace

Ref<IUnknown> CCoXvWriterFFM_I::Create(IUnknown* outer) {
  return Ref<IUnknown>::Retain(&(new CCoXvWriterFFM_I(outer))->inner_);
}

CCoXvWriterFFM_I::CCoXvWriterFFM_I(IUnknown* outer)
    : inner_(*this),
      outer_(outer == nullptr ? static_cast<IUnknown*>(&inner_) : outer),
      session_(CoXMLNode::Create("session")),
      own_(props_.Node()),
      catalogue_(own_, ProbeHardware) {
  LiveObjectCount().fetch_add(1, std::memory_order_relaxed);
  props_.SetQualityRead([this](std::string_view name) { return stats_.Render(name); },
                        [this] { return stats_.Names(); });
  props_.SetListRead([this](std::string* xml) { return catalogue_.Read(xml); },
                     [this](std::string_view path) { return catalogue_.FindInfo(path); });
  SetOwnDefaults();
}

// What the user's settings hold wins over the defaults, and what they lack becomes visible there.
void CCoXvWriterFFM_I::SetOwnDefaults() {
  XvPropsHW::ReadInto(*own_);
  SetDefaults(*own_, CatalogueAttributes());
  SetDefaults(*own_, kShownDefaults);
  XvPropsHW::WriteBack(*own_);
  (void)own_->Child("m_config", true);
  (void)own_->Child("supported_list", true);
}

CCoXvWriterFFM_I::~CCoXvWriterFFM_I() {
  encoder_ = nullptr;
  LiveObjectCount().fetch_sub(1, std::memory_order_relaxed);
}

// --- IUnknown ---

HRESULT CCoXvWriterFFM_I::Inner::QueryInterface(const Guid& iid, void** out) noexcept {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  if (iid == IUnknown::kIid) *out = static_cast<IUnknown*>(this);
  if (iid == IXvObject_I::kIid) *out = static_cast<IXvObject_I*>(&writer_);
  if (iid == IXvReceiver_I::kIid) *out = static_cast<IXvReceiver_I*>(&writer_);
  if (iid == IXvWriter::kIid) *out = static_cast<IXvWriter*>(&writer_);
  if (iid == IXvProps::kIid) *out = static_cast<IXvProps*>(&writer_);
  if (iid == IXfWriter::kIid) *out = static_cast<IXfWriter*>(&writer_);
  if (iid == IXfReceiver::kIid) {
    *out = static_cast<IXfReceiver*>(static_cast<IXfWriter*>(&writer_));
  }
  if (*out == nullptr) return E_NOINTERFACE;
  if (iid == IUnknown::kIid) {
    AddRef();
  } else {
    writer_.outer_->AddRef();
  }
  return S_OK;
}

std::uint32_t CCoXvWriterFFM_I::Inner::AddRef() noexcept { return count_.Retain(); }

std::uint32_t CCoXvWriterFFM_I::Inner::Release() noexcept {
  const std::uint32_t left = count_.Release();
  if (left == 0) delete &writer_;
  return left;
}

HRESULT CCoXvWriterFFM_I::QueryInterface(const Guid& iid, void** out) noexcept {
  return outer_->QueryInterface(iid, out);
}
std::uint32_t CCoXvWriterFFM_I::AddRef() noexcept { return outer_->AddRef(); }
std::uint32_t CCoXvWriterFFM_I::Release() noexcept { return outer_->Release(); }

// --- IXvObject_I ---

HRESULT CCoXvWriterFFM_I::ObjectStart(IUnknown* source) noexcept {
  return Guarded([&]() -> Status {
    const std::lock_guard guard(calls_);
    if (target_.empty()) return E_UNEXPECTED;
    if (armed_) return S_FALSE;
    XvTimeCorrector::Reset();
    source_ = Ref<IUnknown>::Retain(source);
    armed_ = true;
    stoppedIntoFile_ = false;
    return S_OK;
  });
}

HRESULT CCoXvWriterFFM_I::ObjectStop() noexcept {
  return Guarded([&]() -> Status {
    ++stopsWaiting_;
    const std::lock_guard guard(calls_);
    --stopsWaiting_;
    return Stop();
  });
}

// Stopped in any case: what a close that found no memory has left, the end of the encoder takes.
Status CCoXvWriterFFM_I::Stop() {
  Status stopped = Guarded([this]() -> Status {
    if (!encoder_) return S_OK;
    (void)encoder_->EncoderClose(kInfinite);
    stoppedIntoFile_ = !IsUrl(target_) && !IsStreamTarget(target_);
    return S_OK;
  });
  encoder_ = nullptr;
  source_ = nullptr;
  armed_ = false;
  stopped.Update(Guarded([this] {
    ResetCapture();
    return S_OK;
  }));
  XvTimeCorrector::Reset();
  return stopped;
}

// --- frames ---

// The session's attributes; below them the writer's own, for what the session does not say.
XMLNodePtr CCoXvWriterFFM_I::EffectiveAttributes() const {
  XMLNodePtr all = session_->DeepCopy();
  for (const auto& [name, value] : own_->Attributes()) {
    const bool ofWriter = FindRow(CatalogueAttributes(), name) != nullptr;
    if (!ofWriter && !IsOneOf(kNotForSessions, name)) all->SetTextIfAbsent(name, value);
  }
  for (const XMLNodePtr& child : own_->Children()) {
    const std::string name = child->Name();
    if (IsOneOf(kNodesOfWriter, name)) continue;
    all->Child(name, true)->CopyFrom(*child, MergeMode::kAddAbsent, true);
  }
  return all;
}

Status CCoXvWriterFFM_I::OpenForFrame(const XV_AV_PROPS& props, const XV_TIME& time) {
  if (target_.empty()) return E_UNEXPECTED;
  const bool sequence = target_.find('%') != std::string::npos;
  if (stoppedIntoFile_ && (sequence || FileExists(target_))) return XV_E_ALREADY_EXISTS;
  stats_.Reset();
  ReportFaults(textFaults_, *session_, stats_);
  const EncoderRequest request{target_, EffectiveAttributes(), own_, source_, &stats_, &report_};
  passesPackets_ = PassesPackets(*request.session);
  // Encoded pictures come in the order of decoding: that their times go back is no jump.
  timeTolerance_ = passesPackets_ ? 0 : UnitsFromMilliseconds(request.session->Get(kTimeTolerance));
  SetupCapture(target_, *request.session, &stats_.captions,
               [this](std::string_view kind, const std::string& path, Status failure) {
                 stats_.FailSideFile(kind, path, failure);
               });
  const Status opened = OpenEncoder(request, &props, &time, encoder_);
  if (opened.Failed()) NoteFailure("open", target_, opened);
  return opened;
}

// A stage that failed has said more than this could.
void CCoXvWriterFFM_I::NoteFailure(std::string_view stage, std::string_view words, Status status) {
  if (!stats_.LastStatus().Failed()) stats_.Fail(stage, words, status);
}

// A packet counts as a picture where it is passed on.
Status CCoXvWriterFFM_I::CheckFrame(IXvFrame& frame, EncoderInput* input, std::string* why) const {
  if (HasPictureBytes(*input) && !(encoder_ && passesPackets_)) return CheckContents(*input, why);
  const bool packet = EncodedPacketOf(&frame).get() != nullptr;
  if (packet) {
    input->encodedPicture = encoder_ ? passesPackets_ : PassesPackets(*EffectiveAttributes());
  }
  const Status usable = CheckContents(*input, why);
  if (usable.Failed() && packet && !input->encodedPicture) {
    *why = "the frame has an encoded picture alone, which video::codec=packets passes on";
  }
  return usable;
}

Status CCoXvWriterFFM_I::PutFrame(IXvFrame& frame) {
  XV_TIME time{};
  XV_AV_PROPS props{};
  EncoderInput input{};
  RETURN_IF_FAILED(frame.FrameAllGet(&time, &props, &input.audioSize, &input.audio,
                                     &input.videoSize, &input.video));
  input.props = &props;
  std::string why;
  const Status usable = CheckFrame(frame, &input, &why);
  if (!usable.Failed() && !encoder_) RETURN_IF_FAILED(OpenForFrame(props, time));
  if (!why.empty()) stats_.Fail("frame", why, usable);
  if (usable.Failed()) return usable;
  armed_ = true;  // a frame of an object that was not started is a start
  int reason = kTimeKept;
  const XV_TIME corrected = Correct(props, &time, timeTolerance_, &reason, ContentOf(props, input));
  if (reason > kTimeFirst) stats_.Count(Remark::kRebase);
  input.time = &corrected;
  input.frame = &frame;
  const Status taken = encoder_->EncoderPut(input);
  if (!taken.Failed()) (void)CaptureFrame(&frame, &corrected);
  if (taken.Failed()) NoteFailure("frame", {}, taken);
  return taken;
}

HRESULT CCoXvWriterFFM_I::ReceiverPut(const void*, const void*, IUnknown* frame) noexcept {
  // Another thread may let go of the writer meanwhile; it dies behind the lock then.
  const Ref<IUnknown> self = Ref<IUnknown>::Retain(outer_);
  return Guarded([&]() -> Status {
    const Ref<IXvFrame> view = Query<IXvFrame>(frame);
    if (!view) return S_FALSE;
    const std::lock_guard guard(calls_);
    return stopsWaiting_ > 0 ? Status(XV_E_NOT_OPEN) : PutFrame(*view);
  });
}

HRESULT CCoXvWriterFFM_I::ReceiverPut(IUnknown* frame) noexcept {
  return Guarded([&]() -> Status {
    if (frame == nullptr) return E_POINTER;
    Ref<IXvFrame> view;
    RETURN_IF_FAILED(
        frame->QueryInterface(IXvFrame::kIid, reinterpret_cast<void**>(view.Receive())));
    return ReceiverPut(nullptr, nullptr, view.get());
  });
}

// --- IXvWriter, IXfWriter ---

HRESULT CCoXvWriterFFM_I::WriterSet(const char16_t* name, const char16_t* attributes) noexcept {
  return Guarded([&]() -> Status {
    std::string target = Utf8FromUtf16(name);
    XMLNodePtr session = CoXMLNode::Create("session");
    XMLParse::TextFaults faults;
    if (attributes != nullptr) {
      session->MergeText(Utf8FromUtf16(attributes), MergeMode::kReplace, true, &faults);
    }
    const std::lock_guard guard(calls_);
    if (encoder_) return XV_E_IN_USE;
    textFaults_ = std::move(faults);
    stoppedIntoFile_ = false;
    const std::lock_guard names(namesLock_);
    target_ = std::move(target);
    session_ = std::move(session);
    return S_OK;
  });
}

HRESULT CCoXvWriterFFM_I::WriterGet(char16_t** name) noexcept {
  return name == nullptr ? E_POINTER : WriterNameGet(name, nullptr);
}

HRESULT CCoXvWriterFFM_I::WriterNameSet(const char16_t* name, void*,
                                        const char16_t* attributes) noexcept {
  return WriterSet(name, attributes);
}

HRESULT CCoXvWriterFFM_I::WriterNameGet(char16_t** name, char16_t** attributes) noexcept {
  return Guarded([&]() -> Status {
    std::string target;
    XMLNodePtr session;
    {
      const std::lock_guard guard(namesLock_);
      target = target_;
      session = session_;
    }
    if (name != nullptr) RETURN_IF_FAILED(GiveString(target, name));
    if (attributes == nullptr) return S_OK;
    const std::string text = TextOfTree(*session, kNotShown);
    return GiveString(Trim(text), attributes);
  });
}

}  // namespace xv
