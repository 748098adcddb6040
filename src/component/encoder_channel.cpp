#include "component/encoder_channel.h"

#include <fmt/format.h>

#include <chrono>
#include <cstdlib>

#include "base/text.h"
#include "codec/setup_stream.h"
#include "codec/stream_attributes.h"
#include "component/class_walk.h"
#include "component/default_codecs.h"
#include "component/encoder_component.h"
#include "component/muxer_component.h"
#include "component/packet_stamps.h"
#include "component/stream_record.h"
#include "component/trace.h"
#include "media/track_mask.h"
#include "media/validity.h"

namespace xv {
namespace {

constexpr std::int64_t kSoundTimeout = 10'000;      // 1 ms
constexpr std::int64_t kDrainTimeout = 30'000'000;  // 3 s
constexpr int kMostPackets = 1 << 14;               // of one frame: an encoder with more is broken

using Clock = std::chrono::steady_clock;

std::int64_t Nanoseconds(Clock::time_point begin) { return (Clock::now() - begin).count(); }

XV_STREAM_INFO VideoInfo(const XV_VID_PROPS& vid) {
  XV_STREAM_INFO info{};
  info.eType = eXfMT_Video;
  info.nWidth = vid.nWidth;
  info.nHeight = std::abs(vid.nHeight);
  info.dblRate = vid.dblRate;
  info.nAspectX = vid.nAspectX;
  info.nAspectY = vid.nAspectY;
  info.eInterlace = vid.eInterlace;
  return info;
}

XV_STREAM_INFO AudioInfo(const XV_AUD_PROPS& aud, int channels) {
  XV_STREAM_INFO info{};
  info.eType = eXfMT_Audio;
  info.nSamplesPerSec = aud.nSamplesPerSec;
  info.nChannels = channels;
  info.nBits = std::abs(aud.nBitsPerSample);
  return info;
}

bool IsPackets(const XMLParse::CoXMLNode& node) {
  return EqualsNoCase(node.Get(kCodec), "packets");
}

void TracePacket(IXfPacket* packet, Status result) {
  const auto line = [&] {
    char text[kTraceText];
    return std::string(FormatPacket(packet, text, false));
  };
  TraceCall("packet", line, result);
}

}  // namespace

XvEncoderChannel::~XvEncoderChannel() { (void)Close(); }

// The component's own words go with its failure.
Status XvEncoderChannel::Told(const char* stage, IUnknown* component, Status result) {
  if (result.Failed()) report_.Fail(stage, LastErrorOf(component), result);
  return result;
}

Status XvEncoderChannel::Open(const std::string& output, const XV_AV_PROPS& props,
                              const XMLParse::CoXMLNode& attributes) {
  (void)Close();
  config_ = XMLParse::CoXMLNode::Create("config");
  config_->CopyFrom(attributes, XMLParse::MergeMode::kClearFirst, true);
  RETURN_IF_FAILED(OpenMuxer(output));
  if (VideoPropsValid(props.vid, true) && Wants(output, kVideoNode, AVMEDIA_TYPE_VIDEO)) {
    RETURN_IF_FAILED(OpenVideo(output, props.vid));
  }
  if (AudioPropsValid(props.aud, true) && Wants(output, kAudioNode, AVMEDIA_TYPE_AUDIO)) {
    RETURN_IF_FAILED(OpenAudio(output, props.aud));
  }
  if (hasVideo_ || !audio_.empty()) return S_OK;
  report_.Fail("open", "neither pictures nor sound are wanted", XV_E_NOT_SUPPORTED);
  return XV_E_NOT_SUPPORTED;
}

Status XvEncoderChannel::OpenMuxer(const std::string& output) {
  const auto muxer = MakeRef<CCoXfMuxer>();
  const std::string text = XMLParse::TextOfTree(*config_);
  muxer_ = muxer;
  return Told("muxer", muxer_.get(),
              muxer->Init(Utf16FromUtf8(output).c_str(), Utf16FromUtf8(text).c_str()));
}

bool XvEncoderChannel::Wants(const std::string& output, std::string_view kind, AVMediaType type) {
  const XMLParse::XMLNodePtr node = config_->Child(kind, true);
  const std::string codec = node->Get(kCodec);
  if (!node->Get(kEnabled) || EqualsNoCase(codec, "null")) return false;
  return !codec.empty() || HoldsTracks(output, config_->Text("format"), type);
}

void XvEncoderChannel::NameCodec(const std::string& output, AVMediaType type,
                                 XMLParse::CoXMLNode& node) const {
  if (!node.Get(kCodec).empty() || node.Has(kCodecId)) return;
  const std::string name = DefaultEncoder(output, config_->Text("format"), type);
  if (!name.empty()) (void)node.SetText(kCodec.name, name);
}

Status XvEncoderChannel::AddStream(const XV_STREAM_INFO& info, std::int32_t* index) {
  return Told("muxer", muxer_.get(), muxer_->AddStream(&info, index, nullptr));
}

Status XvEncoderChannel::OpenEncoder(eXfMediaType type, const XMLParse::CoXMLNode& node,
                                     Ref<IXfEncoder>* out) {
  const auto encoder = MakeRef<CCoXfEncoder>();
  const std::u16string text = Utf16FromUtf8(XMLParse::TextOfTree(node));
  RETURN_IF_FAILED(
      Told("encoder", static_cast<IXfEncoder*>(encoder.get()), encoder->Init(type, text.c_str())));
  *out = encoder;
  return S_OK;
}

Status XvEncoderChannel::OpenVideo(const std::string& output, const XV_VID_PROPS& vid) {
  char line[kTraceText];
  if (TraceWanted()) TraceLine(FormatVideoProps(&vid, line));
  RETURN_IF_FAILED(AddStream(VideoInfo(vid), &videoStream_));
  const XMLParse::XMLNodePtr node = config_->Child(kVideoNode, true);
  NameCodec(output, AVMEDIA_TYPE_VIDEO, *node);
  if (!IsPackets(*node)) RETURN_IF_FAILED(OpenEncoder(eXfMT_Video, *node, &video_));
  vid_ = vid;
  hasVideo_ = true;
  return S_OK;
}

Status XvEncoderChannel::OpenAudio(const std::string& output, const XV_AUD_PROPS& aud) {
  std::int32_t number = 0;
  for (const int channels : TrackList(aud)) {
    char line[kTraceText];
    if (TraceWanted()) TraceLine(FormatAudioProps(&aud, line));
    SoundTrack track{nullptr, number, 0};
    RETURN_IF_FAILED(AddStream(AudioInfo(aud, channels), &track.stream));
    const XMLParse::XMLNodePtr node = AudioTrackOptions(*config_, number);
    NameCodec(output, AVMEDIA_TYPE_AUDIO, *node);
    RETURN_IF_FAILED(OpenEncoder(eXfMT_Audio, *node, &track.encoder));
    audio_.push_back(std::move(track));
    ++number;
  }
  aud_ = aud;
  return S_OK;
}

Status XvEncoderChannel::PutData(IXfFrame* frame, IXfPacket* packet, std::int64_t timeout) {
  if (!muxer_) return S_FALSE;
  if (hasVideo_) {
    const Status put = PutVideo(frame, packet, timeout);
    if (put.Failed()) TracePacket(packet, put);
    if (put.Failed()) return put;
    if (put.NothingDone()) {
      report_.CountDrop();
      return S_OK;
    }
  }
  if (audio_.empty()) return S_OK;
  const Status put = PutAudio(frame, timeout);
  if (put.Failed()) TracePacket(packet, put);
  return put.Failed() ? put : Status(S_OK);
}

// S_FALSE: the packet was dropped, and its frame's sound with it.
Status XvEncoderChannel::PutVideo(IXfFrame* frame, IXfPacket* packet, std::int64_t timeout) {
  if (!video_) return packet != nullptr ? PushPacket(frame, packet) : Status(S_OK);
  XV_AV_PROPS props{vid_, aud_};
  if (frame != nullptr) RETURN_IF_FAILED(frame->FramePropsGet(&props, nullptr));
  const auto begin = Clock::now();
  const Status taken = video_->Configure(frame, &props, nullptr, nullptr);
  report_.AddEncodeTime(Nanoseconds(begin));
  RETURN_IF_FAILED(Told("video encoder", video_.get(), taken));
  return MovePackets(*video_, videoStream_, timeout, frame == nullptr);
}

Status XvEncoderChannel::PushPacket(IXfFrame* frame, IXfPacket* packet) {
  if (packet == nullptr) return E_UNEXPECTED;
  XV_PACKET_TIME stamps{};
  XV_STREAM_INFO info{};
  RETURN_IF_FAILED(packet->PacketTimeGet(&stamps));
  RETURN_IF_FAILED(packet->PacketStreamInfoGet(&info));
  if (waitingForFirst_ && (stamps.nFlags & eXfPF_Key) == 0) return S_FALSE;
  XV_TIME time{};
  if (frame != nullptr && Succeeded(frame->FrameTimeGet(&time))) {
    if (waitingForFirst_) timeOffset_ = time.rtStart;
    StampPassedPacket(time.rtStart, TimeBaseOf(info), &stamps);
    RETURN_IF_FAILED(packet->PacketTimeSet(&stamps));
  }
  const Status put = PutPacket(videoStream_, *packet);
  if (!put.Failed()) waitingForFirst_ = false;
  TracePacket(packet, put);
  return put;
}

Status XvEncoderChannel::PutAudio(IXfFrame* frame, std::int64_t timeout) {
  if (frame == nullptr || timeout < 0) return E_INVALIDARG;
  // Nothing to go with yet.
  if (PassesPackets() && waitingForFirst_) return S_FALSE;
  for (const SoundTrack& track : audio_) RETURN_IF_FAILED(PutTrack(track, frame));
  return S_OK;
}

Status XvEncoderChannel::PutTrack(const SoundTrack& track, IXfFrame* frame) {
  XV_AV_PROPS props{vid_, aud_};
  if (frame != nullptr) RETURN_IF_FAILED(frame->FramePropsGet(&props, nullptr));
  props.aud.nTrackMask = aud_.nTrackMask;
  const std::u16string text = Utf16FromUtf8(fmt::format("track='{}'", track.number));
  const Status taken = track.encoder->Configure(frame, &props, text.c_str(), nullptr);
  RETURN_IF_FAILED(Told("audio encoder", track.encoder.get(), taken));
  const bool draining = frame == nullptr;
  return MovePackets(*track.encoder, track.stream, draining ? kDrainTimeout : kSoundTimeout,
                     draining);
}

Status XvEncoderChannel::MovePackets(IXfEncoder& encoder, std::int32_t stream, std::int64_t timeout,
                                     bool draining) {
  for (int i = 0; i < kMostPackets; ++i) {
    Ref<IXfPacket> packet;
    std::int32_t remaining = 0;
    const Status given = encoder.Process(packet.Receive(), &remaining, timeout, nullptr);
    RETURN_IF_FAILED(Told("encoder", &encoder, given));
    if (!packet && draining && remaining > 0) return Told("encoder", &encoder, XV_E_TIMEOUT);
    if (!packet) return S_OK;
    RETURN_IF_FAILED(PutPacket(stream, *packet));
    if (remaining <= 0) return S_OK;
  }
  report_.Fail("encoder", "it never stops giving packets", E_UNEXPECTED);
  return E_UNEXPECTED;
}

Status XvEncoderChannel::PutPacket(std::int32_t stream, IXfPacket& packet) {
  XV_PACKET_TIME stamps{};
  XV_STREAM_INFO info{};
  RETURN_IF_FAILED(packet.PacketTimeGet(&stamps));
  RETURN_IF_FAILED(packet.PacketStreamInfoGet(&info));
  if (timeOffset_ != 0) MoveStamps(timeOffset_, TimeBaseOf(info), &stamps);
  stamps.nStream = stream;
  RETURN_IF_FAILED(packet.PacketTimeSet(&stamps));
  const auto begin = Clock::now();
  const Status put = Told("muxer", muxer_.get(), muxer_->PutPacket(stream, &packet, nullptr));
  report_.AddWriteTime(Nanoseconds(begin));
  if (put.Ok() && !put.NothingDone()) {
    report_.CountPacket(stream, stamps.cbSize);
  } else if (put.NothingDone()) {
    report_.CountLatePacket();
  }
  return put.Failed() ? put : Status(S_OK);
}

Status XvEncoderChannel::DrainSound() {
  Status first;
  for (const SoundTrack& track : audio_) first.Update(PutTrack(track, nullptr));
  return first;
}

Status XvEncoderChannel::Close() {
  Status first;
  if (muxer_) {
    if (video_) first.Update(PutVideo(nullptr, nullptr, kDrainTimeout));
    first.Update(DrainSound());
  }
  if (video_) first.Update(video_->Close());
  for (const SoundTrack& track : audio_) first.Update(track.encoder->Close());
  if (muxer_) first.Update(Told("muxer", muxer_.get(), muxer_->Close()));
  video_ = nullptr;
  audio_.clear();
  muxer_ = nullptr;
  hasVideo_ = false;
  waitingForFirst_ = true;
  timeOffset_ = 0;
  return first;
}

}  // namespace xv
