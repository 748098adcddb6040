#include "xvfollow/nal_lengths.h"

extern "C" {
#include <libavutil/intreadwrite.h>
}

namespace xvfollow {
namespace {

constexpr std::size_t kLengthBytes = 4;
constexpr std::uint32_t kStartCode = 1;

// The lengths lead from one unit to the next up to the end.
bool HasLengths(const std::uint8_t* data, std::size_t bytes) {
  std::size_t at = 0;
  while (bytes - at > kLengthBytes) {
    const std::size_t unit = AV_RB32(data + at);
    if (unit == 0 || unit > bytes - at - kLengthBytes) return false;
    at += kLengthBytes + unit;
  }
  return at == bytes;
}

}  // namespace

bool HasOwnStartCodes(const AVCodecParameters& codec) {
  const bool units = codec.codec_id == AV_CODEC_ID_H264 || codec.codec_id == AV_CODEC_ID_HEVC;
  // Parameter sets in the container's own form begin with a version of 1.
  return units && (codec.extradata_size == 0 || codec.extradata[0] != 1);
}

void RestoreStartCodes(std::uint8_t* data, std::size_t bytes) {
  if (!HasLengths(data, bytes)) return;
  std::size_t at = 0;
  while (at < bytes) {
    const std::size_t unit = AV_RB32(data + at);
    AV_WB32(data + at, kStartCode);
    at += kLengthBytes + unit;
  }
}

}  // namespace xvfollow
