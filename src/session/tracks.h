#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "codec/stream_holder.h"

namespace xv {

// No mask of tracks was asked for: the frame's own counts.
inline constexpr std::uint32_t kNoMaskOverride = 0x80000000u;

// The tracks of a session, in the order of the container's streams. The list is fixed from open to
// cleanup. What a holder keeps belongs to its encoder's thread: the video holder's to the picture
// side, the audio holders' to the sound's lock.
struct Tracks {
  std::vector<std::unique_ptr<StreamHolder>> holders;
  StreamHolder* video = nullptr;  // one of them, or null

  void Add(std::unique_ptr<StreamHolder> holder) {
    if (holder->type == AVMEDIA_TYPE_VIDEO) video = holder.get();
    holders.push_back(std::move(holder));
  }
  void Clear() {
    video = nullptr;
    holders.clear();
  }
  // The audio tracks in order.
  std::vector<StreamHolder*> Audio() const {
    std::vector<StreamHolder*> audio;
    for (const auto& holder : holders) {
      if (holder->type == AVMEDIA_TYPE_AUDIO) audio.push_back(holder.get());
    }
    return audio;
  }
};

}  // namespace xv
