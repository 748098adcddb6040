#include "support/media_probe.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <memory>
#include <numeric>
#include <stdexcept>

#include "contracts/av_handles.h"

extern "C" {
#include <libavutil/intreadwrite.h>
#include <libavutil/pixdesc.h>
#include <libavutil/timecode.h>
}

namespace xv::test {
namespace {

std::string Meta(const AVDictionary* dict, const char* key) {
  const AVDictionaryEntry* entry = av_dict_get(dict, key, nullptr, 0);
  return entry == nullptr ? std::string() : entry->value;
}

ProbedPlane PlaneOf(const AVFrame& frame, const AVPixFmtDescriptor& desc, int component) {
  const bool chroma = component == 1 || component == 2;
  ProbedPlane plane;
  plane.width = AV_CEIL_RSHIFT(frame.width, chroma ? desc.log2_chroma_w : 0);
  plane.height = AV_CEIL_RSHIFT(frame.height, chroma ? desc.log2_chroma_h : 0);
  std::vector<std::uint16_t> row(static_cast<std::size_t>(plane.width));
  for (int y = 0; y < plane.height; ++y) {
    av_read_image_line(row.data(), const_cast<const std::uint8_t**>(frame.data), frame.linesize,
                       &desc, 0, y, component, plane.width, 0);
    plane.samples.insert(plane.samples.end(), row.begin(), row.end());
  }
  return plane;
}

std::string TagsOf(const AVCodecParameters& par) {
  return std::string(av_color_space_name(par.color_space)) + '/' +
         av_color_primaries_name(par.color_primaries) + '/' +
         av_color_transfer_name(par.color_trc) + '/' + av_color_range_name(par.color_range);
}

std::string BytesOf(const std::uint8_t* data, std::size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

std::string LayoutName(const AVChannelLayout& layout) {
  char name[64] = {};
  av_channel_layout_describe(&layout, name, sizeof(name));
  return name;
}

// ISO/IEC 13818-2 6.2.2.6: the time code behind a group's start code, 25 bits. Decoders give it to
// another picture where each one starts a group.
std::string GopTimecode(const AVPacket& packet) {
  constexpr std::uint8_t kGroupStart[] = {0, 0, 1, 0xB8};
  const std::uint8_t* end = packet.data + packet.size;
  const std::uint8_t* begin = packet.data;
  const std::uint8_t* at = std::search(begin, end, std::begin(kGroupStart), std::end(kGroupStart));
  char text[AV_TIMECODE_STR_SIZE] = {};
  if (end - at < 8) return text;
  return av_timecode_make_mpeg_tc_string(text, AV_RB32(at + 4) >> 7);
}

bool IsMpegVideo(const ProbedStream& stream) {
  return stream.codec == "mpeg1video" || stream.codec == "mpeg2video";
}

// Leaves what gives nothing for a while.
struct Patience {
  using Clock = std::chrono::steady_clock;
  Clock::time_point end = Clock::now() + std::chrono::seconds(10);
  static int IsOver(void* self) { return Clock::now() > static_cast<Patience*>(self)->end; }
  void Renew() { end = Clock::now() + std::chrono::seconds(10); }
};

void TakePicture(const AVFrame& frame, double time, ProbedStream& out) {
  const AVPixFmtDescriptor& desc = *av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
  const std::vector<int> luma = PlaneOf(frame, desc, 0).samples;
  const std::int64_t sum = std::accumulate(luma.begin(), luma.end(), std::int64_t{0});
  const auto mean = sum / static_cast<std::int64_t>(luma.size()) >> (desc.comp[0].depth - 8);
  out.lumaMeans.push_back(static_cast<std::uint8_t>(mean));
  if (++out.frames == 1) {
    out.firstLuma.assign(luma.begin(), luma.end());
    for (int c = 0; c < desc.nb_components; ++c) out.first.push_back(PlaneOf(frame, desc, c));
  }
  out.pixelFormat = desc.name;
  out.fullRange = frame.color_range == AVCOL_RANGE_JPEG || (desc.flags & AV_PIX_FMT_FLAG_RGB) != 0;
  out.pictureTypes += av_get_picture_type_char(frame.pict_type);
  const AVFrameSideData* captions = av_frame_get_side_data(&frame, AV_FRAME_DATA_A53_CC);
  if (captions != nullptr)
    out.captions.push_back({time - out.start, BytesOf(captions->data, captions->size)});
}

void Take(const AVFrame& frame, const AVStream& stream, ProbedStream& out) {
  // In a program stream not every picture has its own time.
  const double time =
      frame.best_effort_timestamp == AV_NOPTS_VALUE
          ? out.next
          : static_cast<double>(frame.best_effort_timestamp) * av_q2d(stream.time_base);
  if (out.frames == 0 && out.samples == 0) out.start = time;
  if (out.type == AVMEDIA_TYPE_AUDIO) {
    out.samples += frame.nb_samples;
    out.channels = frame.ch_layout.nb_channels;
    out.layout = LayoutName(frame.ch_layout);
    out.sampleRate = frame.sample_rate;
    out.seconds = static_cast<double>(out.samples) / frame.sample_rate;
    return;
  }
  if (stream.avg_frame_rate.num > 0) out.next = time + 1 / av_q2d(stream.avg_frame_rate);
  if (out.frames == 0 && out.sampleAspect.num == 0) out.sampleAspect = frame.sample_aspect_ratio;
  out.width = frame.width;
  out.height = frame.height;
  out.interlaced = frame.interlaced_frame != 0;
  out.topFirst = frame.top_field_first != 0;
  TakePicture(frame, time, out);
}

void Decode(AVCodecContext& decoder, const AVPacket* packet, const AVStream& stream,
            ProbedStream& out) {
  AvPtr<AVFrame> frame(av_frame_alloc());
  if (avcodec_send_packet(&decoder, packet) < 0 && packet != nullptr) ++out.errors;
  int result = 0;
  while ((result = avcodec_receive_frame(&decoder, frame.get())) >= 0) {
    if (frame->decode_error_flags != 0) ++out.errors;
    Take(*frame, stream, out);
    av_frame_unref(frame.get());
  }
  if (result != AVERROR(EAGAIN) && result != AVERROR_EOF) ++out.errors;
}

}  // namespace

std::string ProbedStream::Bytes() const {
  std::string bytes;
  for (const ProbedPacket& packet : packets) bytes += packet.bytes;
  return bytes;
}

std::vector<int> ProbedStream::SamplesOf(int channel) const {
  const std::string bytes = Bytes();
  const auto step = static_cast<std::size_t>(channels) * 2;
  std::vector<int> of;
  for (auto i = static_cast<std::size_t>(channel) * 2; i + 1 < bytes.size(); i += step) {
    of.push_back(static_cast<std::int16_t>(AV_RL16(bytes.data() + i)));
  }
  return of;
}

const ProbedStream& ProbedFile::Nth(AVMediaType type, int number) const {
  for (const ProbedStream& stream : streams) {
    if (stream.type == type && number-- == 0) return stream;
  }
  throw std::runtime_error(type == AVMEDIA_TYPE_VIDEO ? "no pictures" : "no sound");
}

int ProbedFile::Count(AVMediaType type) const {
  int count = 0;
  for (const ProbedStream& stream : streams) count += stream.type == type ? 1 : 0;
  return count;
}

ProbedFile Probe(const std::string& path,
                 const std::vector<std::pair<std::string, std::string>>& options) {
  av_log_set_level(AV_LOG_QUIET);  // some files are broken on purpose
  ProbedFile file;
  Patience patience;
  AVFormatContext* raw = avformat_alloc_context();
  raw->interrupt_callback = {&Patience::IsOver, &patience};
  AVDictionary* dict = nullptr;
  for (const auto& [key, value] : options) av_dict_set(&dict, key.c_str(), value.c_str(), 0);
  const int opened = avformat_open_input(&raw, path.c_str(), nullptr, &dict);
  av_dict_free(&dict);
  if (opened < 0) return file;
  const AvInput input(raw);
  avformat_find_stream_info(raw, nullptr);
  file.opened = true;
  file.seconds = raw->duration > 0 ? static_cast<double>(raw->duration) / AV_TIME_BASE : 0;
  file.timecode = Meta(raw->metadata, "timecode");
  file.title = Meta(raw->metadata, "title");
  std::vector<AvPtr<AVCodecContext>> decoders(raw->nb_streams);
  file.streams.resize(raw->nb_streams);
  for (unsigned i = 0; i < raw->nb_streams; ++i) {
    const AVCodecParameters& par = *raw->streams[i]->codecpar;
    ProbedStream& out = file.streams[i];
    out.type = par.codec_type;
    out.codec = avcodec_get_name(par.codec_id);
    out.id = raw->streams[i]->id;
    out.tag = par.codec_tag;
    out.profile = par.profile;
    out.sampleAspect = raw->streams[i]->sample_aspect_ratio;
    out.fieldOrder = par.field_order;
    if (par.codec_type == AVMEDIA_TYPE_VIDEO) out.tags = TagsOf(par);
    out.language = Meta(raw->streams[i]->metadata, "language");
    if (file.timecode.empty()) file.timecode = Meta(raw->streams[i]->metadata, "timecode");
    const AVCodec* codec = avcodec_find_decoder(par.codec_id);
    if (codec == nullptr) continue;
    decoders[i].reset(avcodec_alloc_context3(codec));
    avcodec_parameters_to_context(decoders[i].get(), &par);
    decoders[i]->err_recognition = AV_EF_CRCCHECK | AV_EF_BUFFER;
    // Takes the zeros that may follow a slice of MPEG-2 for an error.
    if (par.codec_id != AV_CODEC_ID_MPEG2VIDEO) decoders[i]->err_recognition |= AV_EF_BITSTREAM;
    if (avcodec_open2(decoders[i].get(), codec, nullptr) < 0) decoders[i].reset();
  }
  AvPtr<AVPacket> packet(av_packet_alloc());
  while (av_read_frame(raw, packet.get()) >= 0) {
    patience.Renew();
    const auto i = static_cast<std::size_t>(packet->stream_index);
    if (i < file.streams.size()) {  // others may come up on the way
      ProbedStream& out = file.streams[i];
      if (IsMpegVideo(out) && out.gopTimecode.empty()) out.gopTimecode = GopTimecode(*packet);
      const auto size = static_cast<std::size_t>(packet->size);
      out.packets.push_back({packet->pts, packet->dts, BytesOf(packet->data, size)});
      out.keys += (packet->flags & AV_PKT_FLAG_KEY) != 0 ? 'K' : '-';
      if (decoders[i]) Decode(*decoders[i], packet.get(), *raw->streams[i], out);
    }
    av_packet_unref(packet.get());
  }
  for (std::size_t i = 0; i < decoders.size(); ++i) {
    if (decoders[i]) Decode(*decoders[i], nullptr, *raw->streams[i], file.streams[i]);
    ProbedStream& out = file.streams[i];
    const AVRational rate = av_guess_frame_rate(raw, raw->streams[i], nullptr);
    if (out.type == AVMEDIA_TYPE_VIDEO && rate.num > 0) {
      out.seconds = static_cast<double>(out.frames) / av_q2d(rate);
    }
  }
  return file;
}

ProbedFile RecordAndProbe(const std::string& name, const std::string& attributes, const Feed& feed,
                          int count) {
  const TemporaryFolder folder;
  std::string noted;
  const HRESULT result = Record(folder / name, attributes, feed, count, &noted);
  if (result != S_OK || !noted.empty())
    throw std::runtime_error(attributes + ": " + host::Describe(result) + " " + noted);
  return Probe(folder / name);
}

ProbedStream RecordPicture(const std::string& name, const std::string& attributes, const Feed& feed,
                           const std::vector<std::uint8_t>& bytes, const std::string& edits) {
  const TemporaryFolder folder;
  host::Writer writer;
  HRESULT result = writer.Start(folder / name, attributes);
  host::FrameBuilder builder;
  builder.Video(feed.layout, feed.width, feed.height, feed.rate, bytes.data(), bytes.size());
  builder.Interlace(feed.interlace).Aspect(feed.aspectX, feed.aspectY);
  if (!edits.empty()) builder.Attributes(edits);
  builder.Time(host::Ticks(0), host::Ticks(std::llround(kTimeUnitsPerSecond / feed.rate)));
  if (result == S_OK) result = writer.Put(std::move(builder).Build());
  const HRESULT stopped = writer.Stop();
  if (result != S_OK || stopped != S_OK) {
    throw std::runtime_error(attributes + " " + edits + ": " +
                             host::Describe(result != S_OK ? result : stopped) + " " +
                             writer.LastError());
  }
  return Probe(folder / name).Pictures();
}

}  // namespace xv::test
