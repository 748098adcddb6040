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

void TakePictures(AVCodecContext& decoder, AVRational timeBase, std::int64_t* first, Cea608* text,
                  ReadCaptions* out) {
  const AvPtr<AVFrame> picture(av_frame_alloc());
  while (avcodec_receive_frame(&decoder, picture.get()) >= 0) {
    if (out->pictures++ == 0) *first = picture->best_effort_timestamp;
    out->bPictures += picture->pict_type == AV_PICTURE_TYPE_B;
    out->errors += picture->decode_error_flags != 0;
    const AVFrameSideData* constructs = av_frame_get_side_data(picture.get(), AV_FRAME_DATA_A53_CC);
    const std::int64_t time =
        av_rescale_q(picture->best_effort_timestamp - *first, timeBase, AV_TIME_BASE_Q);
    if (constructs != nullptr) text->Take(constructs, time, &out->shown);
  }
}

}  // namespace

ReadCaptions ReadCaptionsOf(const std::string& path) {
  ReadCaptions out;
  Source source(path);
  if (source.index < 0) return out;
  const AVCodec* codec = avcodec_find_decoder(source.Stream().codecpar->codec_id);
  const AvPtr<AVCodecContext> decoder(avcodec_alloc_context3(codec));
  avcodec_parameters_to_context(decoder.get(), source.Stream().codecpar);
  avcodec_open2(decoder.get(), codec, nullptr);
  Cea608 text;
  std::int64_t first = 0;
  AvPtr<AVPacket> packet;
  do {
    packet = source.Next();
    out.errors += avcodec_send_packet(decoder.get(), packet.get()) < 0;
    TakePictures(*decoder, source.Stream().time_base, &first, &text, &out);
  } while (packet);
  text.Take(nullptr, 0, &out.shown);
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
