#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace xv {

// A lock that is given in the order in which it was asked for: a thread that takes it again and
// again cannot keep the others out. For std::lock_guard. Not recursive.
class FairLock {
 public:
  void lock() {
    std::unique_lock guard(lock_);
    const std::uint64_t ticket = nextTicket_++;
    freed_.wait(guard, [&] { return serving_ == ticket; });
  }
  void unlock() {
    const std::lock_guard guard(lock_);
    ++serving_;
    freed_.notify_all();
  }

 private:
  std::mutex lock_;  // guards what follows; a leaf
  std::condition_variable freed_;
  std::uint64_t nextTicket_ = 0;
  std::uint64_t serving_ = 0;
};

}  // namespace xv
