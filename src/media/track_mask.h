#pragma once

#include <cstdint>
#include <vector>

#include "xvwriter/media.h"

namespace xv {

// nTrackMask values that split any number of channels into equal tracks.
inline constexpr std::uint32_t kTrackMaskMono = 0xFFFFFFFFu;
inline constexpr std::uint32_t kTrackMaskPairs = 0xAAAAAAAAu;
inline constexpr std::uint32_t kTrackMaskFours = 0x88888888u;
inline constexpr std::uint32_t kTrackMaskSixes = 0x20820820u;
inline constexpr std::uint32_t kTrackMaskEights = 0x80808080u;

// Channels of each output track, in order; their sum is nChannels. Empty for no channels.
std::vector<int> TrackList(const XV_AUD_PROPS& aud);

}  // namespace xv
