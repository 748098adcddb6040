#include "platform/thread.h"

#include <fmt/format.h>
#include <limits.h>

#include <algorithm>
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
  (*held)->entry();
  const std::scoped_lock lock((*held)->lock);
  (*held)->ended = true;
  (*held)->ends.notify_all();
  return nullptr;
}

Status XvThreadBase::StartEntry(std::function<void()> entry, std::uint32_t stackSize) {
  if (IsOwnThread()) return XV_E_OWN_THREAD;
  const std::scoped_lock control(controlLock_);
  RETURN_IF_FAILED(StopLocked(kInfinite, false));
  const std::scoped_lock lock(stateLock_);
  if (shared_ != nullptr) return XV_E_ALREADY_EXISTS;
  auto shared = std::make_shared<Shared>();
  shared->entry = std::move(entry);
  {
    const std::scoped_lock wake(wakeLock_);
    woken_ = false;
  }
  pthread_attr_t attributes;
  if (const int error = pthread_attr_init(&attributes); error != 0) return StatusFromErrno(error);
  if (stackSize != 0) {
    const auto least = static_cast<std::size_t>(PTHREAD_STACK_MIN);
    pthread_attr_setstacksize(&attributes, std::max<std::size_t>(stackSize, least));
  }
  auto held = std::make_unique<std::shared_ptr<Shared>>(shared);
  running_.store(true, std::memory_order_release);
  const int error = pthread_create(&thread_, &attributes, &XvThreadBase::Run, held.get());
  pthread_attr_destroy(&attributes);
  if (error != 0) {
    running_.store(false, std::memory_order_release);
    return StatusFromErrno(error);
  }
  (void)held.release();
  shared_ = std::move(shared);
  return S_OK;
}

bool XvThreadBase::Wake(Handle* handle, int running) {
  const std::scoped_lock lock(stateLock_);
  if (handle != nullptr) *handle = thread_;
  if (shared_ == nullptr) return false;
  if (running >= 0) running_.store(running > 0, std::memory_order_release);
  const std::scoped_lock wake(wakeLock_);
  woken_ = true;
  wakeEvent_.notify_one();
  return true;
}

bool XvThreadBase::WaitWake(std::uint32_t timeout) {
  std::unique_lock lock(wakeLock_);
  if (!WaitFor(wakeEvent_, lock, timeout, [this] { return woken_; })) return false;
  woken_ = false;
  return true;
}

ThreadState XvThreadBase::State(Handle* handle) {
  const std::scoped_lock lock(stateLock_);
  ReapLocked();
  if (handle != nullptr) *handle = thread_;
  if (shared_ == nullptr) return ThreadState::kNone;
  return running_.load(std::memory_order_acquire) ? ThreadState::kRunning : ThreadState::kStopping;
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

Status XvThreadBase::Stop(std::uint32_t timeout, bool terminate, bool /*pumpMessages*/) {
  // Ahead of controlLock_: another thread that stops this one holds it while it waits for the end.
  if (IsOwnThread()) {
    running_.store(false, std::memory_order_release);
    return XV_E_OWN_THREAD;
  }
  const std::scoped_lock control(controlLock_);
  return StopLocked(timeout, terminate);
}

Status XvThreadBase::StopLocked(std::uint32_t timeout, bool terminate) {
  running_.store(false, std::memory_order_release);
  if (State() == ThreadState::kNone) return S_FALSE;
  Wake();
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
