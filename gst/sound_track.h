#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>

namespace xv::gst {

// Interleaved samples of one pad; `first` counts samples of running time.
struct SoundBlock {
  std::int64_t first = 0;
  std::int64_t count = 0;
  const std::uint8_t* data = nullptr;
  std::shared_ptr<const void> keep;

  std::int64_t End() const { return first + count; }
};

// The samples of one pad that wait for their pictures, in order. One caller at a time.
class SoundTrack {
 public:
  void Add(SoundBlock block);
  void Clear() { blocks_.clear(); }
  // Samples ahead of that one are let go of.
  void DropBefore(std::int64_t first);
  // Puts samples [first, first + count), `bytes` bytes of all channels each, at `out` and every
  // `stride` bytes behind. Where the track has none, `out` stays as it is.
  void CopyTo(std::int64_t first, std::int64_t count, std::size_t bytes, std::size_t stride,
              std::uint8_t* out) const;

  bool IsEmpty() const { return blocks_.empty(); }
  std::int64_t First() const { return blocks_.front().first; }  // of a track that is not empty
  std::int64_t End() const { return blocks_.back().End(); }     // the same

 private:
  std::deque<SoundBlock> blocks_;
};

}  // namespace xv::gst
