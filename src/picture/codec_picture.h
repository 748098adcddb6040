#pragma once

#include <cstdint>
#include <vector>

#include "base/status.h"
#include "contracts/av_handles.h"
#include "picture/to_codec_format.h"
#include "picture/wide_scaler.h"
#include "xvwriter/media.h"

namespace xv {

// A picture in host memory: properties with complete row bytes, and its first byte.
struct PictureView {
  XV_VID_PROPS vid;
  const std::uint8_t* data;
};

// Fills pictures for the encoder from host pictures of the same size: by our own kernels where they
// know the pair, other samplings and depths of YCbCr through wide rows, with fields apart, the rest
// through libswscale, whose context is kept from one frame to the next. Pictures of the range
// 0-255, which are JPEG's, get BT.601's matrix. One caller at a time.
class PictureConverter {
 public:
  // `target` has its planes.
  //   XV_E_NO_VALID_MEDIA  a kernel failed.
  //   XV_E_NO_PIXEL_FORMAT neither knows the pair.
  //   E_FAIL               the library refused.
  Status Convert(const PictureView& source, AVFrame* target, const CodecConvertOptions& options);

 private:
  // In the source's matrix.
  Status Make(const PictureView& source, AVFrame* target, const CodecConvertOptions& options);
  // S_FALSE where these do not know the pair.
  Status ThroughWideRows(const ImageView& source, AVFrame* target,
                         const CodecConvertOptions& options);
  Status ThroughLibrary(const PictureView& source, AVFrame* target,
                        const CodecConvertOptions& options);
  Status Scale(const AVFrame& source, AVFrame* target, const CodecConvertOptions& options,
               bool fields);

  AvPtr<SwsContext> sws_;
  WideScaler wide_;
  std::vector<std::uint8_t> between_;  // a layout that the library knows
};

}  // namespace xv
