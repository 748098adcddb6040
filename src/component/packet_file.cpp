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
constexpr std::uint32_t kMostReorder = 16;  // pictures, of any codec
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
  Track track;
  track.record = std::make_shared<StreamRecord>(info);
  track.known = TellsAll(info);
  tracks_.push_back(std::move(track));
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

// A decoder that holds back so many pictures shows the smallest stamp of them: those stamps,
// sorted, are decoding stamps. Ahead of the first one they are made up.
std::int64_t PacketFile::DecodingStamp(Track& track, const AVPacket& packet) {
  const auto held = std::min<std::uint32_t>(track.record->info.nReorder, kMostReorder);
  const std::int64_t step = std::max<std::int64_t>(packet.duration, 1);
  std::vector<std::int64_t>& waiting = track.waiting;
  if (waiting.empty()) {
    for (std::int64_t i = held; i > 0; --i) waiting.push_back(packet.pts - i * step);
  }
  waiting.insert(std::upper_bound(waiting.begin(), waiting.end(), packet.pts), packet.pts);
  const std::int64_t stamp = waiting.front();
  waiting.erase(waiting.begin());
  if (waiting.size() > held) waiting.resize(held);
  return stamp;
}

// Stamps that rise, as every container wants them. False for a packet that comes too late.
bool PacketFile::SettleStamps(Track& track, AVPacket& packet) {
  const std::int64_t next = track.lastDts == AV_NOPTS_VALUE ? 0 : track.lastDts + 1;
  const bool first = track.lastDts == AV_NOPTS_VALUE;
  const bool told = packet.dts != AV_NOPTS_VALUE;
  if (packet.pts == AV_NOPTS_VALUE) packet.pts = told ? packet.dts : next;
  if (!told) packet.dts = DecodingStamp(track, packet);
  if (!first && packet.dts < next) {
    if (told) return false;
    packet.dts = next;  // nobody told how far pictures go back
  }
  packet.pts = std::max(packet.pts, packet.dts);
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
