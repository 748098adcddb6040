#pragma once

#include <cstddef>
#include <cstdint>

#include "contracts/av_handles.h"

namespace xvfollow {

// H.264 or HEVC whose encoder writes start codes (its parameter sets have them, or come with the
// pictures): a mov or mp4 file has lengths in their place.
bool HasOwnStartCodes(const AVCodecParameters& codec);

// Puts start codes in the place of the 4-byte lengths of NAL units. What has no such lengths stays
// as it is.
void RestoreStartCodes(std::uint8_t* data, std::size_t bytes);

}  // namespace xvfollow
