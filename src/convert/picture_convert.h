#pragma once

#include <cstdint>

#include "base/status.h"
#include "contracts/av_handles.h"
#include "xvwriter/media.h"

namespace xv {

// A picture in host memory: properties with complete row bytes, and its first byte.
struct PictureView {
  XV_VID_PROPS vid;
  const std::uint8_t* data;
};

// Fills pictures for the encoder from host pictures: pixel format, and size where it differs.
// Keeps what libswscale builds from one frame to the next. One caller at a time.
class PictureConverter {
 public:
  // `target` has its planes. `fullRange` asks for 0-255 YUV. Interlaced sources of a size that
  // differs are scaled field by field when `target` is interlaced too.
  //   XV_E_NO_PIXEL_FORMAT the source layout cannot be read.
  //   E_FAIL               the scaler refused.
  Status Convert(const PictureView& source, AVFrame* target, bool fullRange);

 private:
  Status Scale(const AVFrame& source, AVFrame* target, bool bt709, bool fullRange, bool fields);

  AvPtr<SwsContext> sws_;
};

}  // namespace xv
