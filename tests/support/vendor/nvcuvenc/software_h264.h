#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libswscale/swscale.h>
}

namespace xv::nvcuvenc {

// What the stand-in's client has set.
struct H264Options {
  int inWidth = 0;
  int outWidth = 0, outHeight = 0;
  int rateNumerator = 25, rateDenominator = 1;
  std::int64_t average = 0, peak = 0;  // bits per second; 0: constant quality
  int keyDistance = 32;
  int referenceDistance = 1;
  int fieldMode = 0;  // 1 top field first, 2 bottom field first
  int profile = 77, level = 0xFF;
  int quantiser = -1;  // -1: none is given
  bool deblock = true, cabac = true, headersInStream = true;
  AVPixelFormat format = AV_PIX_FMT_YUV420P;  // of frames that are given as they are
};

struct Picture {
  std::string rows;  // packed 4:2:2 without padding
  int height = 0;
  bool lumaFirst = false;  // YUY2, else UYVY
  int number = 0;
};

struct AccessUnit {
  std::string bytes;         // Annex B
  int number = 0;            // of the picture, in order of showing
  std::int64_t decoded = 0;  // number of the picture at whose time it is decoded, from below 0
  bool key = false;
  AVPictureType type = AV_PICTURE_TYPE_NONE;
};

// FFmpeg's libx264 behind the stand-in. Throws std::runtime_error.
class SoftwareH264 {
 public:
  explicit SoftwareH264(const H264Options& options);

  // Sequence set and picture set, without start codes.
  const std::vector<std::string>& Headers() const { return headers_; }
  void Put(const Picture& picture);
  // Of the coded size and options' format. Its stamp is the picture's number.
  void PutFrame(AVFrame* frame);
  void End() { Send(nullptr); }
  // False when none is ready.
  bool Next(AccessUnit* unit);

 private:
  struct Closer {
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
    void operator()(SwsContext* scaler) const { sws_freeContext(scaler); }
  };
  void Configure();
  void Send(const AVFrame* frame);

  H264Options options_;
  std::unique_ptr<AVCodecContext, Closer> context_;
  std::unique_ptr<SwsContext, Closer> scaler_;
  std::vector<std::string> headers_;
};

}  // namespace xv::nvcuvenc
