#pragma once

#include <cstdint>
#include <deque>

namespace xv {

// Stamps of the pictures that an encoder holds. Vendors' encoders count pictures; the host's stamps
// may have gaps between them, and decoding stamps must follow them.
class StampOrder {
 public:
  // `delay`: pictures by which decoding runs ahead of showing.
  explicit StampOrder(int delay = 0) : delay_(delay) {}

  // Where the delay is known late: ahead of the first NextDecoding.
  void SetDelay(int delay) { delay_ = delay; }

  // A picture goes in. Stamps rise.
  void Push(std::int64_t pts);
  // The stamp of the picture number `picture` from 0 in order of pushes; -1 where that one is not
  // known any more, or not yet.
  std::int64_t Presentation(std::int64_t picture) const;
  // The next access unit comes out: its decoding stamp. Ahead of the first `delay` pictures one
  // tick earlier each. Never above the stamp of a picture that is still to be shown.
  std::int64_t NextDecoding();

 private:
  // Access units come out behind their pictures, hardly ever more than this many.
  static constexpr std::size_t kMostKept = 256;

  int delay_;
  std::int64_t firstKept_ = 0;  // number of the front picture
  std::int64_t comeOut_ = 0;    // access units
  std::int64_t first_ = 0;      // the first picture's stamp
  std::deque<std::int64_t> stamps_;
};

}  // namespace xv
