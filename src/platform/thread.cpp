#include "platform/thread.h"

#include <fmt/format.h>

#include <chrono>
#include <utility>

#include "platform/module.h"
#include "platform/warning.h"
#include "xvwriter/writer.h"

namespace xv {
namespace {

constexpr std::uint32_t kWarningMilliseconds = 5000;

// The condition within `timeout` milliseconds, kInfinite for endless. True when it holds.
template <class Condition>
bool WaitFor(std::condition_variable& event, std::unique_lock<std::mutex>& lock,
             std::uint32_t timeout, Condition condition) {
  if (timeout != kInfinite) {
    return event.wait_for(lock, std::chrono::milliseconds(timeout), condition);
  }
  event.wait(lock, condition);
  return true;
}

}  // namespace

// What the worker needs to end without the object: Run holds it too.
struct XvThreadBase::Shared {
  std::function<void()> entry;
  std::mutex lock;
  std::condition_variable ends;
  bool ended = false;
};

XvThreadBase::XvThreadBase() = default;

XvThreadBase::~XvThreadBase() {
  if (State() == ThreadState::kNone) return;
  Warn(fmt::format("WARNING !!! Thread not stopped.\nProcess: {}\nModule: {}", ProcessPath(),
                   ModulePath()));
  (void)Stop(kInfinite);
}

void* XvThreadBase::Run(void* shared) {
  const std::unique_ptr<std::shared_ptr<Shared>> held(
      static_cast<std::shared_ptr<Shared>*>(shared));
  try {
    (*held)->entry();
  } catch (...) {
    // An entry tells of its own failures; what it let out must not end the process.
    Warn("A worker thread ended by an exception\n");
  }
  const std::scoped_lock lock((*held)->lock);
  (*held)->ended = true;
  (*held)->ends.notify_all();
  return nullptr;
}

Status XvThreadBase::StartEntry(std::function<void()> entry) {
  if (IsOwnThread()) return XV_E_OWN_THREAD;
  const std::scoped_lock control(controlLock_);
  RETURN_IF_FAILED(StopLocked(kInfinite, false));
  const std::scoped_lock lock(stateLock_);
  auto shared = std::make_shared<Shared>();
  shared->entry = std::move(entry);
  auto held = std::make_unique<std::shared_ptr<Shared>>(shared);
  running_.store(true, std::memory_order_release);
  const int error = pthread_create(&thread_, nullptr, &XvThreadBase::Run, held.get());
  if (error != 0) {
    running_.store(false, std::memory_order_release);
    return StatusFromErrno(error);
  }
  (void)held.release();
  shared_ = std::move(shared);
  return S_OK;
}

void XvThreadBase::TellToStop() {
  const std::scoped_lock lock(stopLock_);
  running_.store(false, std::memory_order_release);
  stopEvent_.notify_all();
}

void XvThreadBase::WaitForStop(std::uint32_t timeout) {
  std::unique_lock lock(stopLock_);
  (void)WaitFor(stopEvent_, lock, timeout, [this] { return !IsRunning(); });
}

ThreadState XvThreadBase::State() {
  const std::scoped_lock lock(stateLock_);
  ReapLocked();
  if (shared_ == nullptr) return ThreadState::kNone;
  return IsRunning() ? ThreadState::kRunning : ThreadState::kStopping;
}

// Lets go of a thread that has returned. Its last steps behind `ended` are bounded, so the join is.
void XvThreadBase::ReapLocked() {
  if (shared_ == nullptr) return;
  {
    const std::scoped_lock lock(shared_->lock);
    if (!shared_->ended) return;
  }
  pthread_join(thread_, nullptr);
  thread_ = {};
  shared_ = nullptr;
}

bool XvThreadBase::IsOwnThread() const {
  const std::scoped_lock lock(stateLock_);
  return shared_ != nullptr && pthread_equal(thread_, pthread_self()) != 0;
}

Status XvThreadBase::Stop(std::uint32_t timeout, bool terminate) {
  // Ahead of controlLock_: another thread that stops this one holds it while it waits for the end.
  if (IsOwnThread()) {
    TellToStop();
    return XV_E_OWN_THREAD;
  }
  const std::scoped_lock control(controlLock_);
  return StopLocked(timeout, terminate);
}

Status XvThreadBase::StopLocked(std::uint32_t timeout, bool terminate) {
  const bool none = State() == ThreadState::kNone;  // asked first: once told, it may end at once
  TellToStop();
  if (none) return S_FALSE;
  const bool ended = AwaitEnd(timeout) || (terminate && WaitEndWithWarnings());
  return ended && State() == ThreadState::kNone ? Status() : Status(XV_E_TIMEOUT);
}

bool XvThreadBase::AwaitEnd(std::uint32_t timeout) {
  std::shared_ptr<Shared> shared;
  {
    const std::scoped_lock lock(stateLock_);
    shared = shared_;
  }
  if (shared == nullptr) return true;
  std::unique_lock lock(shared->lock);
  return WaitFor(shared->ends, lock, timeout, [&] { return shared->ended; });
}

bool XvThreadBase::WaitEndWithWarnings() {
  while (!AwaitEnd(kWarningMilliseconds)) {
    Warn(fmt::format("A worker thread of {} does not stop; still waiting for it.", ModulePath()));
  }
  return true;
}

}  // namespace xv
