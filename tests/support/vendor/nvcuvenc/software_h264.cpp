#include "support/vendor/nvcuvenc/software_h264.h"

#include <fmt/format.h>

#include <stdexcept>

extern "C" {
#include <libavutil/opt.h>
}

namespace xv::nvcuvenc {
namespace {

AVPictureType TypeOf(const AVPacket& packet) {
  std::size_t size = 0;
  const std::uint8_t* stats = av_packet_get_side_data(&packet, AV_PKT_DATA_QUALITY_STATS, &size);
  return size < 5 ? AV_PICTURE_TYPE_NONE : static_cast<AVPictureType>(stats[4]);
}

std::vector<std::string> SetsOf(const AVCodecContext& context) {
  const std::string all(reinterpret_cast<const char*>(context.extradata),
                        static_cast<std::size_t>(context.extradata_size));
  const std::string code("\0\0\0\1", 4);
  std::vector<std::string> sets;
  for (std::size_t at = 0; at != std::string::npos && at < all.size();) {
    const std::size_t next = all.find(code, at + code.size());
    sets.push_back(all.substr(at + code.size(), next - at - code.size()));
    at = next;
  }
  if (sets.size() < 2) throw std::runtime_error("libx264 gave no parameter sets");
  sets.resize(2);  // its own words follow
  return sets;
}

std::string Words(const H264Options& options) {
  return fmt::format(
      "scenecut=0:b-adapt=0:rc-lookahead=0:sync-lookahead=0:mbtree=0:b-pyramid=none:weightp=0:"
      "open-gop=0:threads=1:repeat-headers={:d}:cabac={:d}:no-deblock={:d}{}{}",
      options.headersInStream, options.cabac && options.profile != 66, !options.deblock,
      options.fieldMode == 0   ? ""
      : options.fieldMode == 1 ? ":tff=1"
                               : ":bff=1",
      options.level == 0xFF ? "" : fmt::format(":level={}", options.level));
}

}  // namespace

SoftwareH264::SoftwareH264(const H264Options& options) : options_(options) {
  const AVCodec* codec = avcodec_find_encoder_by_name("libx264");
  if (codec == nullptr) throw std::runtime_error("FFmpeg has no libx264");
  context_.reset(avcodec_alloc_context3(codec));
  Configure();
  av_opt_set(context_->priv_data, "preset", "ultrafast", 0);
  av_opt_set(context_->priv_data, "x264-params", Words(options).c_str(), 0);
  av_opt_set(context_->priv_data, "profile",
             options.profile == 66   ? "baseline"
             : options.profile == 77 ? "main"
                                     : "high",
             0);
  if (avcodec_open2(context_.get(), codec, nullptr) < 0) {
    throw std::runtime_error("libx264 did not open");
  }
  headers_ = SetsOf(*context_);
}

void SoftwareH264::Configure() {
  context_->width = options_.outWidth;
  context_->height = options_.outHeight;
  context_->pix_fmt = options_.format;
  context_->framerate = {options_.rateNumerator, options_.rateDenominator};
  context_->time_base = av_inv_q(context_->framerate);
  context_->gop_size = options_.keyDistance;
  context_->max_b_frames = options_.profile == 66 ? 0 : options_.referenceDistance - 1;
  context_->thread_count = 1;
  context_->log_level_offset = 64;  // not a word
  context_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  if (options_.fieldMode != 0) context_->flags |= AV_CODEC_FLAG_INTERLACED_DCT;
  context_->bit_rate = options_.average;
  context_->rc_max_rate = options_.peak;
  context_->rc_buffer_size = static_cast<int>(std::min<std::int64_t>(options_.peak, 1 << 30));
  if (options_.quantiser >= 0) {
    av_opt_set_int(context_->priv_data, "qp", options_.quantiser, 0);
  }
}

void SoftwareH264::Send(const AVFrame* frame) {
  if (avcodec_send_frame(context_.get(), frame) < 0) {
    throw std::runtime_error("libx264 did not take a picture");
  }
}

void SoftwareH264::Put(const Picture& picture) {
  const AVPixelFormat format = picture.lumaFirst ? AV_PIX_FMT_YUYV422 : AV_PIX_FMT_UYVY422;
  if (!scaler_) {
    scaler_.reset(sws_getContext(options_.inWidth, picture.height, format, options_.outWidth,
                                 options_.outHeight, AV_PIX_FMT_YUV420P, SWS_POINT, nullptr,
                                 nullptr, nullptr));
  }
  const std::unique_ptr<AVFrame, Closer> frame(av_frame_alloc());
  frame->format = AV_PIX_FMT_YUV420P;
  frame->width = options_.outWidth;
  frame->height = options_.outHeight;
  if (av_frame_get_buffer(frame.get(), 0) < 0) throw std::runtime_error("no memory");
  const auto* rows = reinterpret_cast<const std::uint8_t*>(picture.rows.data());
  const int step = options_.inWidth * 2;
  sws_scale(scaler_.get(), &rows, &step, 0, picture.height, frame->data, frame->linesize);
  frame->pts = picture.number;
  PutFrame(frame.get());
}

void SoftwareH264::PutFrame(AVFrame* frame) {
  frame->interlaced_frame = options_.fieldMode != 0;
  frame->top_field_first = options_.fieldMode == 1;
  Send(frame);
}

bool SoftwareH264::Next(AccessUnit* unit) {
  const std::unique_ptr<AVPacket, Closer> packet(av_packet_alloc());
  if (avcodec_receive_packet(context_.get(), packet.get()) < 0) return false;
  unit->bytes.assign(reinterpret_cast<const char*>(packet->data),
                     static_cast<std::size_t>(packet->size));
  unit->number = static_cast<int>(packet->pts);
  unit->decoded = packet->dts;
  unit->key = (packet->flags & AV_PKT_FLAG_KEY) != 0;
  unit->type = TypeOf(*packet);
  return true;
}

}  // namespace xv::nvcuvenc
