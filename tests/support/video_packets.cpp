#include "support/video_packets.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/pixdesc.h>
}

namespace xv::test {
namespace {

void TakePicture(const AVFrame& frame, VideoPackets* out) {
  const auto& desc = *av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
  const AVComponentDescriptor& luma = desc.comp[0];
  out->pixelFormat = desc.name;
  out->width = frame.width;
  out->height = frame.height;
  for (int y = 0; y < frame.height; ++y) {
    const std::uint8_t* row = frame.data[luma.plane] + y * frame.linesize[luma.plane];
    for (int x = 0; x < frame.width; ++x) out->luma.push_back(row[luma.offset + x * luma.step]);
  }
}

void DecodeFirst(const AVCodecParameters& par, const AVPacket& packet, VideoPackets* out) {
  const AVCodec* codec = avcodec_find_decoder(par.codec_id);
  AVCodecContext* decoder = avcodec_alloc_context3(codec);
  AVFrame* frame = av_frame_alloc();
  avcodec_parameters_to_context(decoder, &par);
  avcodec_open2(decoder, codec, nullptr);
  avcodec_send_packet(decoder, &packet);
  avcodec_send_packet(decoder, nullptr);
  if (avcodec_receive_frame(decoder, frame) >= 0) TakePicture(*frame, out);
  av_frame_free(&frame);
  avcodec_free_context(&decoder);
}

}  // namespace

std::vector<std::size_t> VideoPackets::Sizes() const {
  std::vector<std::size_t> sizes;
  for (const std::string& packet : packets) sizes.push_back(packet.size());
  return sizes;
}

std::string VideoPackets::BehindStartCode(char code) const {
  const std::string& first = packets.empty() ? std::string() : packets.front();
  const std::size_t at = first.find(std::string("\0\0\1", 3) + code);
  return at == std::string::npos ? std::string() : first.substr(at + 4);
}

VideoPackets ReadVideoPackets(const std::string& path) {
  VideoPackets out;
  AVFormatContext* input = nullptr;
  if (avformat_open_input(&input, path.c_str(), nullptr, nullptr) < 0) return out;
  avformat_find_stream_info(input, nullptr);
  const int index = av_find_best_stream(input, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
  AVPacket* packet = av_packet_alloc();
  while (index >= 0 && av_read_frame(input, packet) >= 0) {
    if (packet->stream_index == index) {
      const AVCodecParameters& par = *input->streams[index]->codecpar;
      if (out.packets.empty()) DecodeFirst(par, *packet, &out);
      out.profile = par.profile;
      out.packets.emplace_back(reinterpret_cast<const char*>(packet->data),
                               static_cast<std::size_t>(packet->size));
      out.keys += (packet->flags & AV_PKT_FLAG_KEY) != 0 ? 'K' : '-';
    }
    av_packet_unref(packet);
  }
  av_packet_free(&packet);
  avformat_close_input(&input);
  return out;
}

}  // namespace xv::test
