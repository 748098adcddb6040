#include "session/video_queue.h"

#include <algorithm>

#include "media/pixel_layout.h"
#include "session/session_attributes.h"

extern "C" {
#include <libavutil/imgutils.h>
}

namespace xv {
namespace {

// Five pictures of 1080 lines in 4:2:2 and 8 bits: a fifth of a second.
constexpr std::int64_t kWaitingBytes = 20 << 20;
constexpr std::int64_t kLeastWaiting = 2;  // the encoder has one at hand while the next is made

std::int64_t PictureBytes(const CodecView& codec) {
  if (codec.codecId == AV_CODEC_ID_V210) {
    return std::int64_t{NaturalRowBytes(kFccV210, codec.width)} * codec.height;
  }
  return av_image_get_buffer_size(static_cast<AVPixelFormat>(codec.pixelFormat), codec.width,
                                  codec.height, 1);
}

}  // namespace

int RoomForFrames(const XMLParse::CoXMLNode& attributes, const CodecView& codec) {
  const std::int64_t frames = attributes.Get(kVideoBuffers);
  const std::int64_t bytes = PictureBytes(codec);
  if (attributes.Has(kVideoBuffers) || attributes.Get(kDropFrames) || bytes <= 0) {
    return static_cast<int>(frames);
  }
  return static_cast<int>(std::clamp(kWaitingBytes / bytes, kLeastWaiting, frames));
}

}  // namespace xv
