#pragma once

#include <cstdint>

#include "contracts/av_handles.h"
#include "xvrecord/input.h"

extern "C" {
#include <libavutil/frame.h>
#include <libswscale/swscale.h>
}

namespace xvrecord {

// FFmpeg's pixel format of a host layout; AV_PIX_FMT_NONE for v210 and for unknown ones.
AVPixelFormat PixelFormatOf(std::uint32_t layout);

// The layout that loses nothing of `format`, or least.
std::uint32_t NearestLayout(AVPixelFormat format, int height);

// Pictures of that format and range are converted on their way into the layout, to limited range
// where it is not RGB; others keep their codes.
bool IsConverted(std::uint32_t layout, AVPixelFormat format, AVColorRange range);
// One of those that the writer can keep.
bool IsKnownMatrix(AVColorSpace matrix);
// The matrix that a conversion into a layout that is not RGB ends with; `source` is the picture's,
// which stays where that can be.
AVColorSpace MatrixOf(std::uint32_t layout, int height, AVColorSpace source);

// Lays decoded pictures out as a host would have them: one block, planes behind one another.
class LayoutPacker {
 public:
  explicit LayoutPacker(std::uint32_t layout) : layout_(layout) {}
  ~LayoutPacker() { sws_freeContext(sws_); }
  LayoutPacker(const LayoutPacker&) = delete;
  LayoutPacker& operator=(const LayoutPacker&) = delete;

  // Width and height are cut to even numbers. A picture that lies as the host would have it is
  // lent, any other is copied or converted. Throws InputError.
  Block Pack(const AVFrame& picture);
  // Of the block that Pack gives; RGB layouts are top-down.
  void Describe(const AVFrame& picture, xv::XV_VID_PROPS* vid) const;
  std::uint32_t LayoutFor(const AVFrame& picture) const;

 private:
  // Nothing where the picture lies otherwise.
  static Block Lend(const AVFrame& picture, AVPixelFormat format, int width, int height,
                    std::size_t bytes);
  Block PackV210(const AVFrame& picture, int width, int height);
  void Convert(const AVFrame& picture, AVPixelFormat format, int width, int height,
               std::uint8_t* const* planes, const int* strides, AVColorSpace matrix);
  // A picture with room behind its rows.
  AVFrame& Padded(AVPixelFormat format, int width, int height);

  std::uint32_t layout_;
  BlockPool pool_;
  SwsContext* sws_ = nullptr;
  xv::AvPtr<AVFrame> padded_;
  std::vector<std::uint16_t> planes_;  // 10-bit planes on the way to v210
};

}  // namespace xvrecord
