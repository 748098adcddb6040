#include "captions/stream_writer.h"

#include <gtest/gtest.h>

#include "captions/caption_frame.h"
#include "captions/cea608_text.h"
#include "contracts/av_handles.h"

extern "C" {
#include <libavutil/opt.h>
}

namespace xv::test {
namespace {

constexpr int kWidth = 320;
constexpr int kHeight = 240;
constexpr int kSeconds = 10;

// Captions and the frames at which their first pair goes out.
struct Script {
  double seconds;
  const char* text;
};
constexpr Script kScript[] = {
    {0.5, "HELLO CAPTION"}, {3.5, "SECOND ONE\nTWO ROWS"}, {7, "THE END"}};

class StreamWriter {
 public:
  StreamWriter(const StreamSpec& spec, SessionStats* stats) : spec_(spec), stats_(stats) {}

  bool Open() {
    av_log_set_level(AV_LOG_PANIC);
    AVFormatContext* muxer = nullptr;
    avformat_alloc_output_context2(&muxer, nullptr, nullptr, spec_.path.c_str());
    muxer_.reset(muxer);
    const AVCodec* codec = avcodec_find_encoder_by_name(spec_.encoder);
    if (!muxer_ || codec == nullptr) return false;
    encoder_.reset(avcodec_alloc_context3(codec));
    encoder_->width = kWidth;
    encoder_->height = kHeight;
    encoder_->pix_fmt = AV_PIX_FMT_YUV420P;
    encoder_->time_base = av_inv_q(spec_.rate);
    encoder_->framerate = spec_.rate;
    encoder_->gop_size = 15;
    encoder_->max_b_frames = spec_.bFrames;
    encoder_->bit_rate = 2'000'000;
    if ((muxer_->oformat->flags & AVFMT_GLOBALHEADER) != 0) {
      encoder_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    }
    AvDictionary options;
    av_dict_parse_string(options.Address(), spec_.options, "=", ":", 0);
    if (avcodec_open2(encoder_.get(), codec, options.Address()) < 0) return false;
    stream_ = avformat_new_stream(muxer_.get(), nullptr);
    avcodec_parameters_from_context(stream_->codecpar, encoder_.get());
    stream_->time_base = encoder_->time_base;
    stream_->avg_frame_rate = spec_.rate;
    return avio_open(&muxer_->pb, spec_.path.c_str(), AVIO_FLAG_WRITE) >= 0 &&
           avformat_write_header(muxer_.get(), nullptr) >= 0;
  }

  bool Write(std::vector<SaidAt>* said) {
    const int frames = kSeconds * spec_.rate.num / spec_.rate.den;
    for (int n = 0; n < frames; ++n) {
      Caption(n, said);
      const AvPtr<AVFrame> picture = Picture(n);
      if (avcodec_send_frame(encoder_.get(), picture.get()) < 0 || !TakePackets()) return false;
      ++sent_;
    }
    avcodec_send_frame(encoder_.get(), nullptr);
    const bool drained = TakePackets();
    DropCaptions(&map_, stats_);
    const bool written = av_write_trailer(muxer_.get()) >= 0;
    avio_closep(&muxer_->pb);
    return drained && written;
  }

 private:
  // Feeds the text and keeps the block of frame n.
  void Caption(int n, std::vector<SaidAt>* said) {
    const double rate = av_q2d(spec_.rate);
    for (const Script& line : kScript) {
      if (n == static_cast<int>(line.seconds * rate)) {
        text_.Say(line.text);
        pending_ = line.text;
      }
    }
    const std::uint16_t pair = text_.NextPair();
    // A caption appears with its last control code; that is sent twice, the first counts.
    if (pair == kEndOfCaption && !pending_.empty()) {
      said->push_back({n, pending_});
      pending_.clear();
    }
    const CaptionItems items =
        MakeCaptionItems(ConstructsForPair(pair, rate), rate, static_cast<std::uint16_t>(n));
    CaptionFrame frame;
    const char key[] = {spec_.key[0], spec_.key[1], spec_.key[2], spec_.key[3], 0};
    frame.Bytes(key, items.ga94);
    EXPECT_EQ(KeepCaptions(&map_, *frame, n, sent_ - received_, stats_), S_OK);
  }

  static AvPtr<AVFrame> Picture(int n) {
    AvPtr<AVFrame> picture(av_frame_alloc());
    picture->format = AV_PIX_FMT_YUV420P;
    picture->width = kWidth;
    picture->height = kHeight;
    picture->pts = n;
    av_frame_get_buffer(picture.get(), 0);
    for (int plane = 0; plane < 3; ++plane) {
      for (int y = 0; y < (plane == 0 ? kHeight : kHeight / 2); ++y) {
        std::uint8_t* row = picture->data[plane] + y * picture->linesize[plane];
        for (int x = 0; x < (plane == 0 ? kWidth : kWidth / 2); ++x) {
          row[x] = static_cast<std::uint8_t>((x + y * (plane + 1) + n * 3) & 0x7F);
        }
      }
    }
    return picture;
  }

  bool TakePackets() {
    const AvPtr<AVPacket> packet(av_packet_alloc());
    while (avcodec_receive_packet(encoder_.get(), packet.get()) >= 0) {
      ++received_;
      EXPECT_EQ(InsertCaptions(&map_, encoder_->codec_id, spec_.placement, packet.get(), stats_),
                S_OK)
          << "stamp " << packet->pts;
      av_packet_rescale_ts(packet.get(), encoder_->time_base, stream_->time_base);
      packet->stream_index = stream_->index;
      if (av_interleaved_write_frame(muxer_.get(), packet.get()) < 0) return false;
    }
    return true;
  }

  static constexpr std::uint16_t kEndOfCaption = 0x2F94;

  const StreamSpec& spec_;
  SessionStats* stats_;
  AvPtr<AVFormatContext> muxer_;
  AvPtr<AVCodecContext> encoder_;
  AVStream* stream_ = nullptr;
  Cea608Text text_;
  std::string pending_;
  CaptionMap map_;
  std::int64_t sent_ = 0;
  std::int64_t received_ = 0;
};

}  // namespace

std::vector<SaidAt> WriteCaptionedStream(const StreamSpec& spec, SessionStats* stats) {
  std::vector<SaidAt> said;
  StreamWriter writer(spec, stats);
  if (!writer.Open() || !writer.Write(&said)) said.clear();
  return said;
}

}  // namespace xv::test
