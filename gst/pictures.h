#pragma once

#include <gst/video/video.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "media_caps.h"

// Pictures and what goes with them, out of buffers.
namespace xv::gst {

struct Timecode {
  unsigned hour = 0, minute = 0, second = 0, frame = 0;
  bool dropFrame = false;
};

// A picture as FrameBuilder::Video takes it.
struct Picture {
  XV_VID_PROPS props{};
  const void* data = nullptr;
  std::size_t bytes = 0;
  std::size_t rowBytes = 0;
  std::shared_ptr<const void> keep;                   // the buffer, mapped, or a copy of its pixels
  bool lent = false;                                  // `data` is the buffer's own memory
  std::optional<std::vector<std::uint8_t>> captions;  // cc data; nothing where the buffer says none
  std::optional<Timecode> timecode;
  std::int64_t start = 0;     // running time, nanoseconds
  std::int64_t duration = 0;  // 0: not known
  GstClockTime streamTime = GST_CLOCK_TIME_NONE;
};

// The picture of `buffer`, without times. Its memory is lent where the planes lie as the writer
// wants them, with whatever strides, and copied into a block otherwise. Nothing where the buffer
// cannot be read or is too small.
std::optional<Picture> PictureOf(const PictureFormat& format, GstBuffer* buffer);

}  // namespace xv::gst
