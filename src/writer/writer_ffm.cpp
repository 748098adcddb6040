#include "writer/writer_ffm.h"

#include "audio/sample_convert.h"
#include "base/auto_obj_base.h"
#include "base/guard.h"
#include "base/text.h"
#include "media/frame_duration.h"
#include "media/validity.h"
#include "session/check_attributes.h"
#include "session/session_attributes.h"

namespace xv {
namespace {

using XMLParse::CoXMLNode;
using XMLParse::MergeMode;

// What the writer's own node holds beside the catalogue's settings, for sessions that do not say.
constexpr AttributeRow kFromSession[] = {kIgnorePts, kDiskSpace, kEmbedCc};
constexpr AttributeRow kIntoSession[] = {kAncPath, kSccPath, kAncCapture, kSccCapture, kAncTags};
constexpr const char* kNotShown[] = {"qs_version", "qs_impl"};

constexpr std::uint32_t kLeastBlock = 5;  // bytes; a shorter picture or sound counts as none

FrameContent ContentOf(const XV_AV_PROPS& props, const EncoderInput& input) {
  FrameContent content;
  content.picture =
      VideoPropsValid(props.vid, true) && input.video != nullptr && input.videoSize >= kLeastBlock;
  const XV_AUD_PROPS& aud = props.aud;
  if (!AudioPropsValid(aud, true) || input.audio == nullptr || input.audioSize < kLeastBlock) {
    return content;
  }
  const std::int64_t sampleBytes =
      std::int64_t{HostSampleBytes(aud.nBitsPerSample)} * aud.nChannels;
  content.sound = input.audioSize / sampleBytes * kTimeUnitsPerSecond / aud.nSamplesPerSec;
  return content;
}

void CopyPresent(const CoXMLNode& from, CoXMLNode& to, std::span<const AttributeRow> rows) {
  for (const AttributeRow& row : rows) {
    if (from.Has(row)) (void)to.SetText(row.name, from.TextOf(row));
  }
}

void SetDefaults(CoXMLNode& node, std::span<const AttributeRow> rows) {
  for (const AttributeRow& row : rows) node.SetTextIfAbsent(row.name, DefaultText(row));
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
      catalogue_(own_) {
  LiveObjectCount().fetch_add(1, std::memory_order_relaxed);
  props_.SetQualityRead([this](std::string_view name) { return stats_.Render(name); },
                        [this] { return stats_.Names(); });
  props_.SetListRead([this](std::string* xml) { return catalogue_.Read(xml); });
  SetOwnDefaults();
}

// What the user's settings hold wins over the defaults, and what they lack becomes visible there.
void CCoXvWriterFFM_I::SetOwnDefaults() {
  XvPropsHW::ReadInto(*own_);
  SetDefaults(*own_, CatalogueAttributes());
  SetDefaults(*own_, kFromSession);
  XvPropsHW::WriteBack(*own_);
  (void)own_->Child("m_config", true);
  (void)own_->Child("supported_list", true);
}

CCoXvWriterFFM_I::~CCoXvWriterFFM_I() {
  if (encoder_) (void)encoder_->EncoderClose(kInfinite);
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
    if (target_.empty()) return E_UNEXPECTED;
    if (armed_) return S_FALSE;
    XvTimeCorrector::Reset();
    source_ = Ref<IUnknown>::Retain(source);
    armed_ = true;
    return S_OK;
  });
}

HRESULT CCoXvWriterFFM_I::ObjectStop() noexcept {
  return Guarded([&]() -> Status {
    if (encoder_) (void)encoder_->EncoderClose(kInfinite);
    encoder_ = nullptr;
    source_ = nullptr;
    armed_ = false;
    ResetCapture();
    XvTimeCorrector::Reset();
    return S_OK;
  });
}

// --- frames ---

EncoderRequest CCoXvWriterFFM_I::Request() const {
  return {target_, session_, own_, source_, const_cast<SessionStats*>(&stats_)};
}

Status CCoXvWriterFFM_I::OpenForFrame(const XV_AV_PROPS& props, const XV_TIME& time) {
  stats_.Reset();
  timeTolerance_ = UnitsFromMilliseconds(session_->Get(kTimeTolerance));
  ReportFaults(textFaults_, *session_, stats_);
  SetupCapture(target_, session_, own_, &stats_.captions);
  const Status opened = OpenEncoder(Request(), &props, &time, encoder_);
  if (opened.Failed()) NoteFailure("open", target_, opened);
  return opened;
}

// A stage that failed has said more than this could.
void CCoXvWriterFFM_I::NoteFailure(std::string_view stage, std::string_view words, Status status) {
  if (!stats_.LastStatus().Failed()) stats_.Fail(stage, words, status);
}

Status CCoXvWriterFFM_I::PutFrame(IXvFrame& frame) {
  XV_TIME time{};
  XV_AV_PROPS props{};
  EncoderInput input{};
  RETURN_IF_FAILED(frame.FrameAllGet(&time, &props, &input.audioSize, &input.audio,
                                     &input.videoSize, &input.video));
  if (!encoder_) RETURN_IF_FAILED(OpenForFrame(props, time));
  armed_ = true;  // a frame of an object that was not started is a start
  const FrameContent content = ContentOf(props, input);
  int reason = kTimeKept;
  const XV_TIME corrected = Correct(props, &time, timeTolerance_, &reason, content);
  if (reason > kTimeFirst) stats_.Count(Remark::kRebase);
  input.props = &props;
  input.time = &corrected;
  input.frame = &frame;
  const Status taken = encoder_->EncoderPut(input);
  if (!taken.Failed()) (void)CaptureFrame(&frame, &corrected);
  if (taken.Failed()) NoteFailure("frame", {}, taken);
  return taken;
}

HRESULT CCoXvWriterFFM_I::ReceiverPut(const void*, const void*, IUnknown* frame) noexcept {
  return Guarded([&]() -> Status {
    const Ref<IXvFrame> view = Query<IXvFrame>(frame);
    return view ? PutFrame(*view) : Status(S_FALSE);
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
    if (encoder_) return XV_E_IN_USE;
    target_ = Utf8FromUtf16(name);
    session_->Clear();
    textFaults_ = {};
    if (attributes != nullptr) {
      session_->MergeText(Utf8FromUtf16(attributes), MergeMode::kReplace, true, &textFaults_);
    }
    CopyPresent(*session_, *own_, kFromSession);
    CopyPresent(*own_, *session_, kIntoSession);
    return S_OK;
  });
}

HRESULT CCoXvWriterFFM_I::WriterGet(char16_t** name) noexcept {
  return Guarded([&]() -> Status { return GiveString(target_, name); });
}

HRESULT CCoXvWriterFFM_I::WriterNameSet(const char16_t* name, void*,
                                        const char16_t* attributes) noexcept {
  return WriterSet(name, attributes);
}

HRESULT CCoXvWriterFFM_I::WriterNameGet(char16_t** name, char16_t** attributes) noexcept {
  return Guarded([&]() -> Status {
    if (name != nullptr) RETURN_IF_FAILED(GiveString(target_, name));
    if (attributes == nullptr) return S_OK;
    const std::string text = session_->AttributeText(kNotShown);
    return GiveString(Trim(text), attributes);
  });
}

}  // namespace xv
