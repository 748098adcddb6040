#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <utility>
#include <vector>

#include "contracts/av_handles.h"
#include "platform/held_signal.h"

namespace xv {

// Opens the file that a muxer writes a second time, for reading.
class ReadBackOpener {
 public:
  // Null when it cannot be read.
  virtual AVIOContext* OpenReadBack() = 0;
  // False for a context of somebody else.
  virtual bool CloseReadBack(const AVIOContext* io) = 0;

 protected:
  ~ReadBackOpener() = default;
};

// Breaks off network and file calls of one FFmpeg context that make no progress: that write no byte
// for a time. GiveUp and EndWithin may come from any thread, the rest from whoever holds the
// output's lock.
class IoInterrupt {
 public:
  // Time without progress that is tolerated.
  void SetTimeout(std::chrono::milliseconds timeout) { timeout_ = timeout; }
  std::chrono::milliseconds timeout() const { return timeout_; }
  // Asked while a call makes its caller wait: where the end must not wait, this one comes within a
  // moment. Null: never.
  void SetHurry(std::function<bool()> hurried) { hurried_ = std::move(hurried); }
  // `context` and the contexts that its muxer makes within are broken off by this, and what their
  // own files and connections write counts as progress. This outlives them.
  void Attach(AVFormatContext& context);
  // The muxer opens files by itself.
  bool OpensFiles() const { return opensFiles_; }
  // FFmpeg's error of the first of those files that was closed without all its bytes, 0 for none:
  // some muxers go on in silence.
  int failure() const { return failure_; }
  // What the muxer reads of the context's own file comes from there; null: from FFmpeg.
  void ReadBackThrough(ReadBackOpener* opener) { readBack_ = opener; }
  // What this one writes counts as progress, until Forget.
  void Watch(const AVIOContext* io) { watched_.push_back(io); }
  void Forget(const AVIOContext* io) { std::erase(watched_, io); }
  // A call begins: the clock starts anew, unless the context has been given up.
  void Begin();
  // The call has ended; between calls nothing is interrupted.
  void End();
  // Gives the context up: every later call is broken off at once.
  void GiveUp() { givenUp_ = true; }
  bool GivenUp() const { return givenUp_; }
  // Gives the context up when that time is over, progress or not.
  void EndWithin(std::chrono::milliseconds time);
  bool Ended() const;
  // Nobody waits for a call of this context any more.
  bool InHurry() const { return Ended() || (hurried_ && hurried_()); }

  AVIOInterruptCB Callback() { return {&IoInterrupt::Check, this}; }

 private:
  static int Check(void* opaque);
  static int OpenWatched(AVFormatContext* context, AVIOContext** io, const char* url, int flags,
                         AVDictionary** options);
  static int CloseWatched(AVFormatContext* context, AVIOContext* io);
  std::int64_t BytesWritten() const;

  std::chrono::milliseconds timeout_{10'000};
  bool opensFiles_ = false;
  int failure_ = 0;
  std::vector<const AVIOContext*> watched_;
  std::int64_t written_ = 0;  // by the watched ones, when the clock was started
  ReadBackOpener* readBack_ = nullptr;
  decltype(AVFormatContext::io_open) open_ = nullptr;  // FFmpeg's own
  decltype(AVFormatContext::io_close2) close_ = nullptr;
  std::function<bool()> hurried_;
  std::atomic<std::int64_t> since_{INT64_MAX};  // begin of the call or of its last progress, ns
  std::atomic<std::int64_t> end_{INT64_MAX};    // of all calls
  std::atomic<bool> givenUp_{false};
};

// One call of FFmpeg's input or output. A file of the muxer's own that outgrows the process's limit
// fails the call and raises no signal.
class IoCall {
 public:
  explicit IoCall(IoInterrupt& interrupt) : interrupt_(interrupt) {
    if (interrupt.OpensFiles()) outgrown_.emplace(SIGXFSZ);
    interrupt_.Begin();
  }
  ~IoCall() { interrupt_.End(); }
  IoCall(const IoCall&) = delete;
  IoCall& operator=(const IoCall&) = delete;

 private:
  IoInterrupt& interrupt_;
  std::optional<HeldSignal> outgrown_;
};

}  // namespace xv
