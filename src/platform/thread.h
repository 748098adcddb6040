#pragma once

#include <pthread.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>

#include "base/status.h"

namespace xv {

// States of a worker: kNone -> kRunning at Start; kRunning -> kStopping when told to stop;
// both -> kNone when the entry has returned and State or Stop has seen it.
enum class ThreadState { kNone = 0, kRunning = 1, kStopping = 2 };

// The part of XvThread that does not know the owner. Thread-safety: safe. Locks: controlLock_
// (start and stop) before stateLock_ (the fields).
class XvThreadBase {
 public:
  XvThreadBase();
  // A thread that is still alive here is a programmer's fault: a warning, then an endless Stop.
  ~XvThreadBase();
  XvThreadBase(const XvThreadBase&) = delete;
  XvThreadBase& operator=(const XvThreadBase&) = delete;

  // Notices an end: a thread that has returned is let go here.
  ThreadState State();
  // Tells the worker to stop, wakes it and waits `timeout` milliseconds (kInfinite: endless).
  //   S_OK             it has ended.
  //   S_FALSE          there was no thread.
  //   XV_E_OWN_THREAD  called by the worker itself: it is told to stop, nobody waits.
  //   XV_E_TIMEOUT     still alive.
  // A thread is never killed, it may hold a lock: with `terminate` the wait goes on until the end,
  // with a warning each 5 seconds.
  Status Stop(std::uint32_t timeout, bool terminate = false);

  // Waits for the worker to return by itself; true when it has, or without a thread.
  bool AwaitEnd(std::uint32_t timeout);

  // For the worker. False once it was told to stop.
  bool IsRunning() const { return running_.load(std::memory_order_acquire); }
  // Sleeps for `timeout` milliseconds, or until the worker is told to stop.
  void WaitForStop(std::uint32_t timeout);

 protected:
  // As XvThread::Start, with the entry bound.
  Status StartEntry(std::function<void()> entry);

 private:
  struct Shared;

  static void* Run(void* shared);
  bool IsOwnThread() const;
  void TellToStop();
  bool WaitEndWithWarnings();
  Status StopLocked(std::uint32_t timeout, bool terminate);
  void ReapLocked();

  std::mutex controlLock_;
  mutable std::mutex stateLock_;
  std::shared_ptr<Shared> shared_;  // null when there is no thread
  pthread_t thread_{};
  std::mutex stopLock_;  // so that a worker about to sleep does not miss the change of `running_`
  std::condition_variable stopEvent_;
  std::atomic<bool> running_{false};
};

// A worker thread of `Owner`: runs one of its member functions, which should return soon after
// IsRunning is false.
template <class Owner>
class XvThread : public XvThreadBase {
 public:
  using Entry = void (Owner::*)();

  // Stops an earlier thread first. E_INVALIDARG for a null owner or entry; the system's error when
  // no thread could be made. The owner must outlive the thread.
  Status Start(Owner* owner, Entry entry) {
    if (owner == nullptr || entry == nullptr) return E_INVALIDARG;
    return StartEntry([owner, entry] { (owner->*entry)(); });
  }
};

}  // namespace xv
