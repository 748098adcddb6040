#include "captions/caption_reader.h"

#include <algorithm>
#include <string_view>

#include "contracts/av_handles.h"

namespace xv::test {
namespace {

// The text of an ASS event behind its eight fields, without overrides.
std::string TextOf(std::string_view event) {
  for (int field = 0; field < 8; ++field) event.remove_prefix(event.find(',') + 1);
  std::string text;
  for (std::size_t i = 0; i < event.size(); ++i) {
    if (event[i] == '{') {
      i = event.find('}', i);
    } else if (event.substr(i, 2) == "\\N") {
      text += '\n';
      ++i;
    } else if (event.substr(i, 2) != "\\h") {
      text += event[i];
    } else {
      ++i;
    }
  }
  return text;
}

class Cea608 {
 public:
  Cea608() {
    const AVCodec* codec = avcodec_find_decoder(AV_CODEC_ID_EIA_608);
    decoder_.reset(avcodec_alloc_context3(codec));
    decoder_->pkt_timebase = AV_TIME_BASE_Q;
    avcodec_open2(decoder_.get(), codec, nullptr);
  }
  // Adds what is complete with these constructs; null gives the caption that is still on display.
  void Take(const AVFrameSideData* constructs, std::int64_t microseconds,
            std::vector<ShownCaption>* shown) {
    const AvPtr<AVPacket> packet(av_packet_alloc());
    if (constructs != nullptr) {
      av_new_packet(packet.get(), static_cast<int>(constructs->size));
      std::copy_n(constructs->data, constructs->size, packet->data);
      packet->pts = microseconds;
    }
    AVSubtitle subtitle{};
    int complete = 0;
    avcodec_decode_subtitle2(decoder_.get(), &subtitle, &complete, packet.get());
    if (complete == 0) return;
    for (unsigned i = 0; i < subtitle.num_rects; ++i) {
      shown->push_back(
          {static_cast<double>(subtitle.pts) / AV_TIME_BASE, TextOf(subtitle.rects[i]->ass)});
    }
    avsubtitle_free(&subtitle);
  }

 private:
  AvPtr<AVCodecContext> decoder_;
};

struct Source {
  explicit Source(const std::string& path) {
    AVFormatContext* opened = nullptr;
    if (avformat_open_input(&opened, path.c_str(), nullptr, nullptr) < 0) return;
    input = opened;
    avformat_find_stream_info(input, nullptr);
    index = av_find_best_stream(input, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
  }
  ~Source() { avformat_close_input(&input); }
  Source(const Source&) = delete;
  Source& operator=(const Source&) = delete;

  // The next packet of the pictures; null at the end.
  AvPtr<AVPacket> Next() {
    AvPtr<AVPacket> packet(av_packet_alloc());
    while (input != nullptr && av_read_frame(input, packet.get()) >= 0) {
      if (packet->stream_index == index) return packet;
      av_packet_unref(packet.get());
    }
    return nullptr;
  }
  const AVStream& Stream() const { return *input->streams[index]; }

  AVFormatContext* input = nullptr;
  int index = -1;
};

class PictureReader {
 public:
  PictureReader(const Source& source, ReadCaptions* out)
      : decoder_(avcodec_alloc_context3(avcodec_find_decoder(source.Stream().codecpar->codec_id))),
        timeBase_(source.Stream().time_base),
        step_(av_rescale_q(1, av_inv_q(source.Stream().avg_frame_rate), timeBase_)),
        out_(out) {
    avcodec_parameters_to_context(decoder_.get(), source.Stream().codecpar);
    avcodec_open2(decoder_.get(), decoder_->codec, nullptr);
  }

  // Null drains.
  void Take(const AVPacket* packet) {
    out_->errors += avcodec_send_packet(decoder_.get(), packet) < 0;
    const AvPtr<AVFrame> picture(av_frame_alloc());
    while (avcodec_receive_frame(decoder_.get(), picture.get()) >= 0) TakePicture(*picture);
    if (packet == nullptr) text_.Take(nullptr, 0, &out_->shown);
  }

 private:
  void TakePicture(const AVFrame& picture) {
    // In a program stream not every picture has a time of its own.
    const bool timed = picture.best_effort_timestamp != AV_NOPTS_VALUE;
    time_ = timed ? picture.best_effort_timestamp : time_ + step_;
    if (out_->pictures++ == 0) first_ = time_;
    out_->bPictures += picture.pict_type == AV_PICTURE_TYPE_B;
    out_->errors += picture.decode_error_flags != 0;
    const AVFrameSideData* constructs = av_frame_get_side_data(&picture, AV_FRAME_DATA_A53_CC);
    const std::int64_t time = av_rescale_q(time_ - first_, timeBase_, AV_TIME_BASE_Q);
    if (constructs != nullptr) text_.Take(constructs, time, &out_->shown);
  }

  const AvPtr<AVCodecContext> decoder_;
  const AVRational timeBase_;
  const std::int64_t step_;  // from picture to picture
  ReadCaptions* const out_;
  Cea608 text_;
  std::int64_t first_ = 0;
  std::int64_t time_ = 0;
};

}  // namespace

ReadCaptions ReadCaptionsOf(const std::string& path) {
  ReadCaptions out;
  Source source(path);
  if (source.index < 0) return out;
  PictureReader pictures(source, &out);
  AvPtr<AVPacket> packet;
  do {
    packet = source.Next();
    pictures.Take(packet.get());
  } while (packet);
  return out;
}

std::map<int, std::uint16_t> UserDataPairsOf(const std::string& path) {
  constexpr std::string_view kHead("\0\0\1\xB2GA94\3", 9);
  constexpr std::size_t kPairAt = kHead.size() + 3;  // behind count, filler and the first marker
  std::map<std::int64_t, std::string> packets;
  Source source(path);
  while (const AvPtr<AVPacket> packet = source.Next()) {
    packets[packet->pts] = {reinterpret_cast<const char*>(packet->data),
                            static_cast<std::size_t>(packet->size)};
  }
  std::map<int, std::uint16_t> pairs;
  int number = 0;
  for (const auto& [pts, bytes] : packets) {
    const std::size_t at = bytes.find(kHead);
    if (at != std::string::npos && at + kPairAt + 1 < bytes.size()) {
      const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(bytes[at + i]); };
      pairs[number] = static_cast<std::uint16_t>(byte(kPairAt) | byte(kPairAt + 1) << 8);
    }
    ++number;
  }
  return pairs;
}

}  // namespace xv::test
