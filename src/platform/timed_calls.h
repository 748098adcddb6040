#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

#include "base/status.h"

namespace xv {

// Calls into code that may throw or not come back, one after the other, on a thread that the first
// one starts. Thread-safety: safe; a second caller waits for the first.
class TimedCalls {
 public:
  TimedCalls() = default;
  TimedCalls(const TimedCalls&) = delete;
  TimedCalls& operator=(const TimedCalls&) = delete;
  // Ends the thread, but does not wait for a call that was given up. Not on that thread.
  ~TimedCalls();

  // Runs `call` and waits for it. What it throws becomes a status, as at every interface.
  //   XV_E_TIMEOUT  it did not come back within `patience`; nothing is called any more. The thread
  //                 goes on until it does, so `call` owns what it uses and is destroyed there.
  Status Call(std::function<HRESULT()> call, std::chrono::milliseconds patience);

 private:
  struct Shared;
  static void Serve(const std::shared_ptr<Shared>& shared);
  Status Start();

  std::mutex callers_;  // one call at a time; ahead of the shared state's lock
  std::shared_ptr<Shared> shared_;
  std::thread thread_;  // not joinable once a call was given up
};

}  // namespace xv
