#include "media/track_mask.h"

namespace xv {

std::vector<int> TrackList(const XV_AUD_PROPS& aud) {
  std::vector<int> tracks;
  int count = 1;
  std::uint32_t mask = aud.nTrackMask;
  for (std::int32_t channel = 0; channel < aud.nChannels; ++channel) {
    if ((mask & 1) != 0 || channel == aud.nChannels - 1) {
      tracks.push_back(count);
      count = 0;
    }
    ++count;
    mask >>= 1;
  }
  return tracks;
}

}  // namespace xv
