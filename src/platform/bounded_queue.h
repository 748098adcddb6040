#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>
#include <utility>

namespace xv {

// Items between threads, up to a capacity: producers wait for room or are refused, consumers wait
// for items. States: ended -> open by Open; open -> ended by End or Abort. Thread-safe; its lock is
// a leaf.
template <class T>
class BoundedQueue {
 public:
  // Takes items from here on, `capacity` (at least 1) at a time.
  void Open(std::size_t capacity) {
    const std::lock_guard guard(lock_);
    items_.clear();
    capacity_ = std::max<std::size_t>(capacity, 1);
    ended_ = false;
    aborted_ = false;
  }

  // Waits until there is room. False once the queue has ended.
  bool AwaitRoom() {
    std::unique_lock guard(lock_);
    room_.wait(guard, [this] { return ended_ || items_.size() < capacity_; });
    return !ended_;
  }
  bool Full() const {
    const std::lock_guard guard(lock_);
    return items_.size() >= capacity_;
  }
  // Adds an item without waiting, beyond the capacity too: for one that AwaitRoom was asked for,
  // and the end mark. False, and the item is gone, once the queue has ended.
  bool Push(T item) {
    const std::lock_guard guard(lock_);
    return Add(std::move(item), true);
  }
  // Adds an item if there is room. False, and the item is gone, when there is not.
  bool TryPush(T item) {
    const std::lock_guard guard(lock_);
    return Add(std::move(item), false);
  }

  // Waits for an item or the end, so that Pop need not. False when neither came in that time.
  bool AwaitItem(std::chrono::milliseconds longest) {
    std::unique_lock guard(lock_);
    return filled_.wait_for(guard, longest, [this] { return ended_ || !items_.empty(); });
  }
  // Waits for the oldest item. Nothing once the queue has ended and is empty.
  std::optional<T> Pop() {
    std::unique_lock guard(lock_);
    filled_.wait(guard, [this] { return ended_ || !items_.empty(); });
    if (aborted_ || items_.empty()) return std::nullopt;
    std::optional<T> item(std::move(items_.front()));
    items_.pop_front();
    if (items_.size() < capacity_) room_.notify_all();
    return item;
  }

  // No more items: producers are refused, consumers get what is there.
  void End() {
    const std::lock_guard guard(lock_);
    EndLocked();
  }
  // As End, and what is there is dropped.
  void Abort() {
    std::unique_lock guard(lock_);
    EndLocked();
    aborted_ = true;
    while (!items_.empty()) {
      std::optional<T> dropped(std::move(items_.front()));
      items_.pop_front();
      guard.unlock();
      dropped.reset();  // outside of the lock
      guard.lock();
    }
  }

  std::size_t Size() const {
    const std::lock_guard guard(lock_);
    return items_.size();
  }
  // Items that it takes now without waiting.
  std::size_t Room() const {
    const std::lock_guard guard(lock_);
    return capacity_ - std::min(items_.size(), capacity_);
  }

 private:
  bool Add(T item, bool beyond) {
    if (ended_ || (!beyond && items_.size() >= capacity_)) return false;
    items_.push_back(std::move(item));
    filled_.notify_one();
    return true;
  }
  void EndLocked() {
    ended_ = true;
    filled_.notify_all();
    room_.notify_all();
  }

  mutable std::mutex lock_;  // guards what follows
  std::condition_variable filled_;
  std::condition_variable room_;
  std::deque<T> items_;
  std::size_t capacity_ = 1;
  bool ended_ = true;
  bool aborted_ = false;
};

}  // namespace xv
