#pragma once

#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>

#include "base/ref.h"
#include "frames/frame_ffm.h"

namespace xv {

// One frame on its way to the worker. The picture may be shared by repeats, so the stamp travels
// beside it. No picture: the end of the stream.
struct QueuedFrame {
  Ref<XvFrameFFM> frame;
  std::int64_t pts = AV_NOPTS_VALUE;
};

// Frames between the host's thread and the worker. Thread-safe.
class VideoQueue {
 public:
  std::size_t Push(QueuedFrame entry) {
    const std::lock_guard lock(lock_);
    frames_.push_back(std::move(entry));
    return frames_.size();
  }
  // The front entry; `more` says whether others wait.
  std::optional<QueuedFrame> Pop(bool* more) {
    const std::lock_guard lock(lock_);
    if (frames_.empty()) return std::nullopt;
    QueuedFrame entry = std::move(frames_.front());
    frames_.pop_front();
    *more = !frames_.empty();
    return entry;
  }
  std::size_t Size() const {
    const std::lock_guard lock(lock_);
    return frames_.size();
  }
  void Clear() {
    std::deque<QueuedFrame> dropped;
    const std::lock_guard lock(lock_);
    frames_.swap(dropped);
  }

 private:
  mutable std::mutex lock_;
  std::deque<QueuedFrame> frames_;
};

}  // namespace xv
