#include "growing/table_locator.h"

#include <string>
#include <string_view>

#include "codec/ffmpeg.h"

extern "C" {
#include <libavutil/opt.h>
}

namespace xv {
namespace {

// The sizes that the muxer would cut sound into: mxf a picture's worth, gxf 32768 samples, which
// are 65536 bytes. "" for a muxer that leaves sound as it is.
std::string ChunkOptions(const AVFormatContext& context) {
  const std::string_view name = context.oformat->name;
  if (name == "gxf") return "n=32768";
  if (name.substr(0, 3) != "mxf") return {};
  for (unsigned i = 0; i < context.nb_streams; ++i) {
    const AVStream& stream = *context.streams[i];
    if (stream.codecpar->codec_type != AVMEDIA_TYPE_VIDEO || stream.avg_frame_rate.num <= 0)
      continue;
    return "r=" + std::to_string(stream.avg_frame_rate.num) + "/" +
           std::to_string(stream.avg_frame_rate.den);
  }
  return {};
}

AvPtr<AVBSFContext> OpenChunks(const AVStream& stream, const std::string& options) {
  AVBSFContext* filter = nullptr;
  const AVBitStreamFilter* kind = av_bsf_get_by_name("pcm_rechunk");
  if (kind == nullptr || av_bsf_alloc(kind, &filter) < 0) return nullptr;
  AvPtr<AVBSFContext> owner(filter);
  filter->time_base_in = stream.time_base;
  const bool ready = avcodec_parameters_copy(filter->par_in, stream.codecpar) >= 0 &&
                     av_set_options_string(filter->priv_data, options.c_str(), "=", ":") >= 0 &&
                     av_bsf_init(filter) >= 0;
  return ready ? std::move(owner) : nullptr;
}

bool DecodesEarlier(const AVFormatContext& context, const IndexRecord& a, const IndexRecord& b) {
  return av_compare_ts(a.dts, context.streams[a.stream]->time_base, b.dts,
                       context.streams[b.stream]->time_base) < 0;
}

}  // namespace

Status GrowingTable::Install(AVFormatContext& context, FileSink& sink, bool) {
  context_ = &context;
  sink_ = &sink;
  tracks_ = std::vector<Track>(context.nb_streams);
  avio_flush(context.pb);
  packetAt_ = sink.position();
  sink.SetObserver(this);
  return PrepareChunks(context);
}

Status GrowingTable::PrepareChunks(AVFormatContext& context) {
  const std::string options = ChunkOptions(context);
  if (options.empty()) return S_OK;
  for (unsigned i = 0; i < context.nb_streams; ++i) {
    const AVStream& stream = *context.streams[i];
    const bool sound = stream.codecpar->codec_type == AVMEDIA_TYPE_AUDIO &&
                       av_get_exact_bits_per_sample(stream.codecpar->codec_id) > 0;
    if (!sound) continue;
    tracks_[i].chunks = OpenChunks(stream, options);
    if (!tracks_[i].chunks) return E_FAIL;
  }
  return S_OK;
}

void GrowingTable::Remove() {
  if (context_ == nullptr) return;
  sink_->SetObserver(nullptr);
  context_ = nullptr;
  tracks_.clear();
}

int GrowingTable::Write(AVPacket* packet) {
  if (packet->stream_index < 0 ||
      static_cast<std::size_t>(packet->stream_index) >= tracks_.size()) {
    return AVERROR(EINVAL);
  }
  Track& track = tracks_[static_cast<std::size_t>(packet->stream_index)];
  return track.chunks ? WriteChunks(track, packet) : Hand(packet);
}

int GrowingTable::Finish() {
  int result = 0;
  for (Track& track : tracks_) {
    if (!track.chunks) continue;
    const int written = WriteChunks(track, nullptr);
    if (result >= 0) result = written;
  }
  return result;
}

// A null packet ends the stream.
int GrowingTable::WriteChunks(Track& track, AVPacket* packet) {
  const int index = static_cast<int>(&track - tracks_.data());
  int result = av_bsf_send_packet(track.chunks.get(), packet);
  const AvPtr<AVPacket> chunk(av_packet_alloc());
  if (!chunk) return AVERROR(ENOMEM);
  while (result >= 0) {
    result = av_bsf_receive_packet(track.chunks.get(), chunk.get());
    if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return 0;
    if (result < 0) break;
    chunk->stream_index = index;
    result = Hand(chunk.get());
  }
  return result;
}

// The muxer keeps references, so that the address stays while the packet waits to be interleaved.
int GrowingTable::Hand(AVPacket* packet) {
  int result = av_packet_make_refcounted(packet);
  if (result < 0) return result;
  Track& track = tracks_[static_cast<std::size_t>(packet->stream_index)];
  const bool isVideo = IsVideoPacket(*context_, *packet);
  track.waiting.push_back(
      {builder_.Start(*packet, track.announced++, isVideo), packet->data, packet->size, isVideo});
  result = av_interleaved_write_frame(context_, packet);
  if (result < 0) {
    stopped_ = true;
    return result;
  }
  avio_flush(context_->pb);
  Settle(sink_->position());
  return result;
}

void GrowingTable::OnSinkWrite(const std::uint8_t* data, int bytes, std::int64_t position) {
  Settle(position);
  if (bytes > 0) Match(data, position);
}

// Only the first that waits of each stream can be at work.
void GrowingTable::Match(const std::uint8_t* data, std::int64_t position) {
  for (Track& track : tracks_) {
    if (track.waiting.empty()) continue;
    Waiting& packet = track.waiting.front();
    if (packet.payloadAt >= 0 || data < packet.data || data >= packet.data + packet.size) continue;
    packet.inPieces = data != packet.data;
    packet.payloadAt = packet.inPieces ? position - kNalLengthBytes : position;
    return;
  }
}

// Of the streams with packets that are through, the one whose packet decodes first: muxers take
// them in this order.
GrowingTable::Track* GrowingTable::NextWritten() {
  Track* next = nullptr;
  for (std::size_t i = 0; i < tracks_.size(); ++i) {
    Track& track = tracks_[i];
    if (track.written >= context_->streams[i]->nb_frames || track.waiting.empty()) continue;
    if (next == nullptr ||
        DecodesEarlier(*context_, track.waiting.front().record, next->waiting.front().record)) {
      next = &track;
    }
  }
  return next;
}

void GrowingTable::Settle(std::int64_t position) {
  if (stopped_) return;
  while (Track* track = NextWritten()) {
    Complete(*track, position);
    packetAt_ = position;
  }
}

void GrowingTable::Complete(Track& track, std::int64_t position) {
  const Waiting packet = track.waiting.front();
  track.waiting.pop_front();
  ++track.written;
  IndexRecord record = packet.record;
  const bool matched = packet.payloadAt >= 0;
  record.position = matched ? packet.payloadAt : packetAt_;
  if (!matched || packet.inPieces)
    record.size = static_cast<std::uint32_t>(position - record.position);
  records_.Add(record, matched ? record.stream == 0 : packet.isVideo);
  // A reader must find in the file what the record names.
  if (records_.pace() == RecordPace::kEachPacket) (void)sink_->Flush();
}

}  // namespace xv
