#include "hw/stamp_order.h"

#include <algorithm>

namespace xv {

void StampOrder::Push(std::int64_t pts) {
  if (firstKept_ == 0 && stamps_.empty()) first_ = pts;
  stamps_.push_back(pts);
  // What decoding has yet to give is kept, however late it comes.
  while (stamps_.size() > kMostKept && firstKept_ + delay_ < comeOut_) {
    stamps_.pop_front();
    ++firstKept_;
  }
}

std::int64_t StampOrder::Presentation(std::int64_t picture) const {
  const std::int64_t place = picture - firstKept_;
  if (place < 0 || place >= static_cast<std::int64_t>(stamps_.size())) return -1;
  return stamps_[static_cast<std::size_t>(place)];
}

std::int64_t StampOrder::NextDecoding() {
  const std::int64_t picture = comeOut_++ - delay_;
  if (picture < 0) return first_ + picture;
  return Presentation(picture);
}

}  // namespace xv
