#include "component/ffmpeg_encoder.h"

#include "base/guard.h"
#include "base/text.h"
#include "codec/codec_choice.h"
#include "codec/ffmpeg.h"
#include "codec/stream_attributes.h"

namespace xv {
namespace {

// What encodes where the vendor's own encoder does not.
const char* StandInFor(const std::string& codec) {
  if (EqualsNoCase(codec, "gpu_h264")) return "libx264";
  switch (PseudoCodecFromText(codec)) {
    case PseudoCodec::kNone:
      return nullptr;
    case PseudoCodec::kNvenc265:
      return "libx265";
    default:
      return "libx264";
  }
}

void UseStandIn(const char* name, XMLParse::CoXMLNode& options) {
  const bool lossless = EqualsNoCase(options.Get(kCodec), "l264");
  (void)options.SetText(kCodec.name, name);
  // A vendor's presets have their own names.
  (void)options.RemoveAttribute("preset");
  if (lossless) (void)options.SetText("qp", "0");
}

const char* UsualCodec(eXfMediaType type) {
  if (type == eXfMT_Audio) return "aac";
  return avcodec_find_encoder_by_name("libx264") != nullptr ? "libx264" : "mpeg4";
}

// The "tag" that the table puts behind the options is the codec's name; one of the options is the
// codec's tag in the container.
Status ReadOptions(std::string_view name, const std::string& text, XMLParse::XMLNodePtr* out) {
  if (XMLParse::ClassifyValue(text) == XMLParse::ValueClass::kXml) {
    RETURN_IF_FAILED(XMLParse::NodeFromText(name, text, out));
    (*out)->Rename(name);
    return S_OK;
  }
  *out = XMLParse::CoXMLNode::Create(name);
  RETURN_IF_FAILED((*out)->TryMergeText(text, XMLParse::MergeMode::kAddAbsent));
  const bool ofTable = EqualsNoCase((*out)->Get(kTag), (*out)->Get(kCodec));
  if (ofTable) (void)(*out)->RemoveAttribute(kTag.name);
  return S_OK;
}

bool IsEncoder(const std::string& name, AVMediaType type) {
  CodecChoice choice;
  choice.name = name;
  choice.id = EncoderIdFromName(name);
  return choice.id != AV_CODEC_ID_NONE && FindEncoder(choice, type) != nullptr;
}

// Reads "track='N'".
int TrackOf(const char16_t* text) {
  const XMLParse::XMLNodePtr node = XMLParse::CoXMLNode::Create("configure");
  node->MergeText(Utf8FromUtf16(text), XMLParse::MergeMode::kReplace);
  return node->Int("track", 0);
}

}  // namespace

HRESULT CCoXfEncoderFFM::Init(eXfMediaType type, const char16_t* text) {
  return Guarded([&]() -> Status {
    const std::lock_guard guard(lock_);
    StartFFmpeg();
    if (type != eXfMT_Video && type != eXfMT_Audio) return Noted(XV_E_NOT_SUPPORTED, "no encoder");
    XMLParse::XMLNodePtr options;
    RETURN_IF_FAILED(
        ReadOptions(type == eXfMT_Video ? kVideoNode : kAudioNode, Utf8FromUtf16(text), &options));
    if (options->Bool("hw_only")) return Noted(XV_E_NOT_SUPPORTED, "this is software");
    const std::string codec = options->Get(kCodec);
    const char* standIn = StandInFor(codec);
    if (standIn != nullptr) UseStandIn(standIn, *options);
    if (codec.empty()) (void)options->SetText(kCodec.name, UsualCodec(type));
    const AVMediaType kind = type == eXfMT_Video ? AVMEDIA_TYPE_VIDEO : AVMEDIA_TYPE_AUDIO;
    if (!options->Has(kCodecId) && !IsEncoder(options->Get(kCodec), kind)) {
      return Noted(XV_E_NOT_FOUND, MissingEncoderWords(options->Get(kCodec), kind));
    }
    type_ = type;
    standsIn_ = standIn != nullptr;
    options_ = options;
    encoder_ = nullptr;
    return S_OK;
  });
}

Status CCoXfEncoderFFM::Open(const XV_AV_PROPS& props, const char16_t* text) {
  const StreamWish wish{options_, props, TrackOf(text), !standsIn_};
  std::string words;
  const Status opened = type_ == eXfMT_Video ? StreamEncoder::OpenPictures(wish, &encoder_, &words)
                                             : StreamEncoder::OpenSound(wish, &encoder_, &words);
  return Noted(opened, words);
}

HRESULT CCoXfEncoderFFM::Configure(IXfFrame* frame, const XV_AV_PROPS* props, const char16_t* text,
                                   void*) {
  return Guarded([&]() -> Status {
    const std::lock_guard guard(lock_);
    if (!options_) return E_UNEXPECTED;
    if (frame == nullptr) {
      return encoder_ ? Noted(encoder_->Drain(), encoder_->failure()) : Status(S_FALSE);
    }
    XV_AV_PROPS own{};
    if (props == nullptr) RETURN_IF_FAILED(frame->FramePropsGet(&own, nullptr));
    if (props == nullptr) props = &own;
    if (!encoder_) RETURN_IF_FAILED(Open(*props, text));
    return Noted(encoder_->Take(*frame, *props), encoder_->failure());
  });
}

HRESULT CCoXfEncoderFFM::Process(IXfPacket** packet, std::int32_t* remaining, std::int64_t, void*) {
  return Guarded([&]() -> Status {
    const std::lock_guard guard(lock_);
    if (packet == nullptr) return E_POINTER;
    *packet = nullptr;
    if (remaining != nullptr) *remaining = 0;
    if (!encoder_) return S_FALSE;
    *packet = encoder_->Next().Detach();
    if (remaining != nullptr) *remaining = encoder_->Ready();
    return *packet == nullptr ? S_FALSE : S_OK;
  });
}

HRESULT CCoXfEncoderFFM::Close() {
  return Guarded([&]() -> Status {
    const std::lock_guard guard(lock_);
    encoder_ = nullptr;
    return std::exchange(options_, nullptr) ? S_OK : S_FALSE;
  });
}

}  // namespace xv
