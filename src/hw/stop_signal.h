#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace xv {

// Ends waits from any thread, and stays set until it is cleared.
class StopSignal {
 public:
  void Set() {
    {
      const std::scoped_lock lock(lock_);
      set_ = true;
    }
    changed_.notify_all();
  }
  void Clear() {
    const std::scoped_lock lock(lock_);
    set_ = false;
  }
  // Never gives up the processor, as a wait of no length may.
  bool IsSet() {
    const std::scoped_lock lock(lock_);
    return set_;
  }
  // True when it is set, at once or within `time`.
  bool WaitFor(std::chrono::milliseconds time) {
    std::unique_lock lock(lock_);
    return changed_.wait_for(lock, time, [this] { return set_; });
  }

 private:
  std::mutex lock_;  // a leaf: guards set_
  std::condition_variable changed_;
  bool set_ = false;
};

}  // namespace xv
