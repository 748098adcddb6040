#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>

#include "contracts/av_handles.h"

namespace xv {

// Breaks off network and file calls of one FFmpeg context that make no progress. Thread-safe.
class IoInterrupt {
 public:
  // Time without progress that is tolerated.
  void SetTimeout(std::chrono::milliseconds timeout) { timeout_ = timeout; }
  // A call begins: the clock starts anew, unless the context has been given up.
  void Begin();
  // The call has ended; between calls nothing is interrupted.
  void End();
  // Gives the context up: every later call is broken off at once.
  void GiveUp() { givenUp_ = true; }
  bool GivenUp() const { return givenUp_; }

  AVIOInterruptCB Callback() { return {&IoInterrupt::Check, this}; }

 private:
  static int Check(void* opaque);

  std::chrono::milliseconds timeout_{10'000};
  std::atomic<std::int64_t> deadline_{INT64_MAX};  // steady clock, ns
  std::atomic<bool> givenUp_{false};
};

// One call of FFmpeg's input or output.
class IoCall {
 public:
  explicit IoCall(IoInterrupt& interrupt) : interrupt_(interrupt) { interrupt_.Begin(); }
  ~IoCall() { interrupt_.End(); }
  IoCall(const IoCall&) = delete;
  IoCall& operator=(const IoCall&) = delete;

 private:
  IoInterrupt& interrupt_;
};

}  // namespace xv
