#include "sound_track.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace xv::gst {

void SoundTrack::Add(SoundBlock block) {
  if (block.count > 0) blocks_.push_back(std::move(block));
}

void SoundTrack::DropBefore(std::int64_t first) {
  while (!blocks_.empty() && blocks_.front().End() <= first) blocks_.pop_front();
}

void SoundTrack::CopyTo(std::int64_t first, std::int64_t count, std::size_t bytes,
                        std::size_t stride, std::uint8_t* out) const {
  for (const SoundBlock& block : blocks_) {
    const std::int64_t from = std::max(first, block.first);
    const std::int64_t to = std::min(first + count, block.End());
    for (std::int64_t i = from; i < to; ++i) {
      std::memcpy(out + static_cast<std::size_t>(i - first) * stride,
                  block.data + static_cast<std::size_t>(i - block.first) * bytes, bytes);
    }
  }
}

}  // namespace xv::gst
