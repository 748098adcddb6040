#pragma once

#include <atomic>
#include <cstdint>

namespace xv {

// The count of references to one object. Thread-safe: whoever takes the last reference away sees
// what the others did before they gave up theirs.
class RefCount {
 public:
  explicit RefCount(std::uint32_t start = 0) : count_(start) {}
  RefCount(const RefCount&) = delete;
  RefCount& operator=(const RefCount&) = delete;

  // Both give the count behind the change; at 0 the caller of Release frees the object.
  std::uint32_t Retain() noexcept { return count_.fetch_add(1, std::memory_order_relaxed) + 1; }
  std::uint32_t Release() noexcept { return count_.fetch_sub(1, std::memory_order_acq_rel) - 1; }
  // For those who know the object without a reference: false when the last one is gone.
  bool TryRetain() noexcept {
    std::uint32_t count = count_.load(std::memory_order_relaxed);
    while (count > 0) {
      if (count_.compare_exchange_weak(count, count + 1, std::memory_order_acquire,
                                       std::memory_order_relaxed)) {
        return true;
      }
    }
    return false;
  }

 private:
  std::atomic<std::uint32_t> count_;
};

}  // namespace xv
