#pragma once

#include <span>
#include <string_view>

#include "contracts/av_handles.h"

// What containers ask of sound before FFmpeg is asked to write their header. What is not told here
// is theirs to refuse.
namespace xv {

// Containers with room for one audio track.
bool TakesOneAudioTrack(std::string_view muxer);

// The sample rates in Hz that a container takes of that encoder's sound, rising; empty for any.
std::span<const int> ContainerSampleRates(std::string_view muxer, AVCodecID codec);

}  // namespace xv
