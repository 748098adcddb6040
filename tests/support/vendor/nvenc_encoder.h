#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "support/vendor/nvenc_header.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

// The encoder behind the stand-in: libx264 and libx265, asked for pictures in the order and of the
// types that a card makes. FFmpeg opens libx265 under a lock, so its own hevc_nvenc, which is
// opened under it too, cannot be a client for H.265.
namespace xv::vendor {

struct FrameCloser {
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
using FramePtr = std::unique_ptr<AVFrame, FrameCloser>;

struct ContextCloser {
  void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
};
using ContextPtr = std::unique_ptr<AVCodecContext, ContextCloser>;

struct EncoderSetup {
  bool hevc = false;
  bool lossless = false;
  bool empty = false;  // the same access unit for each picture
  int width = 0, height = 0;
  unsigned rateNumerator = 25, rateDenominator = 1;
  NV_ENC_CONFIG config{};
  unsigned gop() const;       // pictures from one IDR picture to the next
  unsigned interval() const;  // from one reference to the next, at least 1
};

struct AccessUnit {
  std::string bytes;          // Annex B
  std::uint64_t picture = 0;  // the number of Put, from 0
  NV_ENC_PIC_TYPE type = NV_ENC_PIC_TYPE_UNKNOWN;
};

// One encoder of FFmpeg, from an IDR picture on. Throws std::runtime_error.
class LibraryEncoder {
 public:
  explicit LibraryEncoder(const EncoderSetup& setup);
  // Parameter sets, each behind four bytes of start code.
  const std::string& headers() const { return headers_; }
  // The picture's number is its stamp; null drains.
  std::vector<AccessUnit> Encode(AVFrame* picture);

 private:
  ContextPtr context_;
  std::string headers_;
};

class PictureEncoder {
 public:
  explicit PictureEncoder(const EncoderSetup& setup);
  const std::string& headers() const { return headers_; }
  // What is finished with it, in decoding order: nothing while pictures wait for a later one.
  std::vector<AccessUnit> Put(FramePtr picture, bool idr);
  // What waits.
  std::vector<AccessUnit> Finish();

 private:
  std::vector<AccessUnit> PutAtOnce(FramePtr picture, bool idr);
  std::vector<AccessUnit> PutInGroup(FramePtr picture, bool idr);
  std::vector<AccessUnit> EncodeGroup();
  void AddHeaders(AccessUnit* unit) const;
  AccessUnit EmptyUnit();

  EncoderSetup setup_;
  std::string headers_;
  std::unique_ptr<LibraryEncoder> running_;  // without B pictures
  std::vector<FramePtr> group_;              // with them: all pictures from the IDR picture on
  std::size_t given_ = 0;                    // access units of the group
  std::string givenBytes_;
  std::uint64_t put_ = 0;
  bool started_ = false;
  AccessUnit empty_;
};

}  // namespace xv::vendor
