#pragma once

#include <atomic>
#include <chrono>
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
  // 128 and the number of the second signal, the status that the process ends with then; 0 before.
  int EndStatus() const { return endStatus_; }
  // What a second signal runs before it ends the process with 128 + its number. Where `rescue` has
  // not come back after a second `hurry` is called beside it, and the process ends 5 seconds later
  // or with a third signal, whatever is left. Each may be null, and is called on another thread
  // than the recording's; when OnSecond has returned the former ones run no more.
  void OnSecond(std::function<void()> rescue, std::function<void()> hurry);

 private:
  void Listen();
  void Hurry();
  bool ThirdWithin(std::chrono::milliseconds time);
  [[noreturn]] void End();

  sigset_t signals_{};
  std::atomic<bool> asked_{false};
  std::atomic<int> endStatus_{0};
  std::mutex lock_;       // guards rescue_, and is held while that runs
  std::mutex hurryLock_;  // the same of hurry_; behind the other where both are taken
  std::function<void()> rescue_;
  std::function<void()> hurry_;
};

}  // namespace xvrecord
