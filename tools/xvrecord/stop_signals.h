#pragma once

#include <atomic>
#include <csignal>
#include <functional>
#include <mutex>
#include <thread>

namespace xvrecord {

// Ctrl-C, SIGTERM and a terminal that goes away (SIGHUP, unless it is ignored, as under nohup) ask
// a recording to stop. They are taken by a thread, so that what they set off may lock and wait.
// One object, made before the process has other threads, that lives as long as the process.
class StopSignals {
 public:
  StopSignals();
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;

  // A signal has come.
  bool Asked() const { return asked_; }
  // What a second signal runs before it ends the process with 128 + its number, at most a second
  // later. May be called on another thread than the recording's.
  void OnSecond(std::function<void()> rescue);

 private:
  void Listen();
  [[noreturn]] void End(int signal);

  sigset_t signals_{};
  std::atomic<bool> asked_{false};
  std::mutex lock_;  // guards rescue_; a leaf
  std::function<void()> rescue_;
};

}  // namespace xvrecord
