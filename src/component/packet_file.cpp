#include "component/packet_file.h"

#include <fmt/format.h>

#include <algorithm>

#include "codec/ffmpeg.h"
#include "codec/option_dictionary.h"
#include "codec/video_geometry.h"

namespace xv {
namespace {

constexpr char kIoTimeout[] = "io_timeout";
constexpr char kMetadataNode[] = "metadata";
constexpr std::int64_t kLongestWait = 10 * kTimeUnitsPerSecond;

// The record says all that a container asks for.
bool TellsAll(const XV_STREAM_INFO& info) {
  const AVCodecID codec = CodecOf(info);
  return codec != AV_CODEC_ID_NONE && (info.cbExtra > 0 || !CarriesHeaders(codec));
}

std::int64_t StampOf(const AVPacket& packet) {
  return packet.dts != AV_NOPTS_VALUE ? packet.dts : packet.pts;
}

// Ticks that hold the packets' stamps exactly: the source's own, or, for the fine ones of our
// records, a picture's or a sample's.
AVRational TicksFor(const XV_STREAM_INFO& info) {
  const AVRational own = TimeBaseOf(info);
  if (own.den != kPacketTicks.den || own.num != kPacketTicks.num) return own;
  if (info.eType == eXfMT_Audio && info.nSamplesPerSec > 0) return {1, info.nSamplesPerSec};
  return info.dblRate > 0 ? TimeBaseFromRate(info.dblRate) : AVRational{1, 90'000};
}

}  // namespace

Status PacketFile::Allocate(const std::string& target, const std::string& muxer,
                            const XMLParse::XMLNodePtr& attributes) {
  const FFmpegGuard guard(FFmpegLock());
  attributes_ = attributes;
  const double seconds = attributes->Double(kIoTimeout, 10.0);
  if (seconds > 0 && seconds < 1e6) {
    output_.interrupt.SetTimeout(
        std::chrono::milliseconds(static_cast<std::int64_t>(seconds * 1000)));
  }
  return output_.Allocate(target, muxer);
}

Status PacketFile::AddStream(const XV_STREAM_INFO& info, std::int32_t* index) {
  if (started_) return E_UNEXPECTED;
  if (info.eType != eXfMT_Video && info.eType != eXfMT_Audio) return E_INVALIDARG;
  if (index != nullptr) *index = static_cast<std::int32_t>(tracks_.size());
  tracks_.push_back({std::make_shared<StreamRecord>(info), nullptr, TellsAll(info)});
  return S_OK;
}

std::shared_ptr<const StreamRecord> PacketFile::Stream(std::int32_t index) const {
  const bool there = index >= 0 && static_cast<std::size_t>(index) < tracks_.size();
  return there ? tracks_[static_cast<std::size_t>(index)].record : nullptr;
}

// The first packet's record counts; what it lacks is in the packet.
Status PacketFile::Learn(Track& track, const XV_STREAM_INFO& info, const AVPacket& packet) {
  if (CodecOf(info) == AV_CODEC_ID_NONE) {
    words_ = "a packet names no codec that is known here";
    return E_INVALIDARG;
  }
  auto record = std::make_shared<StreamRecord>(info);
  AvPtr<AVCodecParameters> parameters(avcodec_parameters_alloc());
  if (!parameters) return E_OUTOFMEMORY;
  RETURN_IF_FAILED(ParametersOf(record->info, parameters.get()));
  if (record->extra.empty()) record->SetExtra(HeadersIn(packet, *parameters));
  track.record = std::move(record);
  track.known = true;
  return S_OK;
}

bool PacketFile::AllKnown() const {
  return std::ranges::all_of(tracks_, [](const Track& track) { return track.known; });
}

bool PacketFile::WaitedEnough() const {
  if (held_.empty()) return false;
  const auto time = [](const Held& held) {
    return av_rescale_q(StampOf(*held.packet), held.base, kPacketTicks);
  };
  return time(held_.back()) - time(held_.front()) > kLongestWait;
}

Status PacketFile::AddToContext(Track& track) {
  AVStream* stream = avformat_new_stream(output_.context.get(), nullptr);
  if (stream == nullptr) return E_OUTOFMEMORY;
  const XV_STREAM_INFO& info = track.record->info;
  RETURN_IF_FAILED(ParametersOf(info, stream->codecpar));
  // Another container's tag need not be one of this.
  const AVCodecTag* const* tags = output_.context->oformat->codec_tag;
  const unsigned known = tags == nullptr ? 0 : av_codec_get_tag(tags, stream->codecpar->codec_id);
  const bool same =
      tags == nullptr || av_codec_get_id(tags, info.fccTag) == stream->codecpar->codec_id;
  if (known != 0 && !same) stream->codecpar->codec_tag = 0;
  stream->time_base = TicksFor(info);
  if (info.eType == eXfMT_Video && info.dblRate > 0) {
    stream->avg_frame_rate = av_inv_q(TimeBaseFromRate(info.dblRate));
    stream->sample_aspect_ratio = stream->codecpar->sample_aspect_ratio;
  }
  track.stream = stream;
  return S_OK;
}

Status PacketFile::OpenOnce() {
  if (opened_) return failure_;
  opened_ = true;
  DictForFFmpeg(*attributes_, {}, options_, 0);
  return failure_ = output_.OpenFile(options_);
}

Status PacketFile::Start() {
  started_ = true;
  for (Track& track : tracks_) {
    if (track.known) RETURN_IF_FAILED(AddToContext(track));
  }
  SetMetadata(attributes_->FindChild(kMetadataNode), *output_.context);
  RETURN_IF_FAILED(output_.WriteHeader(options_));
  Status result;
  for (Held& held : held_) result.Update(Write(std::move(held)));
  held_.clear();
  return result;
}

bool PacketFile::ComesLate(Track& track, const Held& held) {
  if (held.packet->dts == AV_NOPTS_VALUE) return false;
  const std::int64_t stamp = av_rescale_q(held.packet->dts, held.base, kPacketTicks);
  const bool late = track.lastPut != AV_NOPTS_VALUE && stamp <= track.lastPut;
  if (!late) track.lastPut = stamp;
  return late;
}

// Stamps that rise, as every container wants them. False for a packet that comes too late.
bool PacketFile::SettleStamps(Track& track, AVPacket& packet) const {
  const bool first = track.lastDts == AV_NOPTS_VALUE;
  if (packet.dts == AV_NOPTS_VALUE) {
    // Nobody told the order: it is that of the calls.
    packet.dts = packet.pts;
    if (!first && (packet.dts == AV_NOPTS_VALUE || packet.dts <= track.lastDts)) {
      packet.dts = track.lastDts + 1;
    }
    if (packet.dts == AV_NOPTS_VALUE) packet.dts = 0;
    if (packet.pts == AV_NOPTS_VALUE || packet.pts < packet.dts) packet.pts = packet.dts;
  }
  if (packet.pts == AV_NOPTS_VALUE) packet.pts = packet.dts;
  if (!first && packet.dts <= track.lastDts) return false;
  track.lastDts = packet.dts;
  return true;
}

Status PacketFile::Write(Held held) {
  Track& track = tracks_[static_cast<std::size_t>(held.index)];
  if (track.stream == nullptr) return XV_E_NOT_FOUND;
  av_packet_rescale_ts(held.packet.get(), held.base, track.stream->time_base);
  if (!SettleStamps(track, *held.packet)) return S_FALSE;
  held.packet->stream_index = track.stream->index;
  return output_.WriteInterleaved(held.packet.get());
}

Status PacketFile::Put(std::int32_t index, IXfPacket& packet) {
  if (index < 0 || static_cast<std::size_t>(index) >= tracks_.size()) return XV_E_NOT_FOUND;
  words_.clear();
  RETURN_IF_FAILED(failure_);
  XV_PACKET_TIME time{};
  XV_STREAM_INFO info{};
  RETURN_IF_FAILED(packet.PacketTimeGet(&time));
  RETURN_IF_FAILED(packet.PacketStreamInfoGet(&info));
  Status made;
  Held held{index, FFmpegPacket(packet, time, &made), TimeBaseOf(info)};
  RETURN_IF_FAILED(made);
  Track& track = tracks_[static_cast<std::size_t>(index)];
  if (!track.known && started_) return XV_E_NOT_FOUND;
  if (!track.known) RETURN_IF_FAILED(Learn(track, info, *held.packet));
  if (CodecOf(info) != CodecOf(track.record->info)) {
    words_ = fmt::format("a packet of {} in a stream of {}", avcodec_get_name(CodecOf(info)),
                         avcodec_get_name(CodecOf(track.record->info)));
    return XV_E_NOT_SUPPORTED;
  }
  if (ComesLate(track, held)) return S_FALSE;
  RETURN_IF_FAILED(OpenOnce());
  if (started_) return Write(std::move(held));
  held_.push_back(std::move(held));
  if (AllKnown() || WaitedEnough()) failure_ = Start();
  return failure_;
}

Status PacketFile::Close() {
  if (!started_ && held_.empty()) return S_FALSE;
  Status result;
  if (!started_ && !failure_.Failed()) result = failure_ = Start();
  result.Update(output_.WriteTrailer());
  result.Update(output_.CloseFile());
  return result;
}

}  // namespace xv
