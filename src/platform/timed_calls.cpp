#include "platform/timed_calls.h"

#include <condition_variable>
#include <system_error>
#include <utility>

#include "base/guard.h"

namespace xv {

// What caller and thread share; the thread may outlive the caller.
struct TimedCalls::Shared {
  std::mutex lock;  // guards what follows; not held during a call
  std::condition_variable changed;
  std::function<HRESULT()> call;  // waits to be run
  Status result;
  bool done = false;  // `result` is there
  bool ended = false;
  bool lost = false;
};

TimedCalls::~TimedCalls() {
  if (!shared_) return;
  {
    const std::lock_guard guard(shared_->lock);
    shared_->ended = true;
    shared_->changed.notify_all();
  }
  if (thread_.joinable()) thread_.join();
}

void TimedCalls::Serve(const std::shared_ptr<Shared>& shared) {
  std::unique_lock guard(shared->lock);
  while (true) {
    shared->changed.wait(guard, [&] { return shared->ended || shared->call != nullptr; });
    if (shared->call == nullptr) return;
    std::function<HRESULT()> call = std::exchange(shared->call, nullptr);
    guard.unlock();
    const Status result = Guarded(call);
    call = nullptr;
    guard.lock();
    shared->result = result;
    shared->done = true;
    shared->changed.notify_all();
    if (shared->lost) return;
  }
}

Status TimedCalls::Start() {
  if (shared_) return S_OK;
  auto shared = std::make_shared<Shared>();
  try {
    thread_ = std::thread(&TimedCalls::Serve, shared);
  } catch (const std::system_error&) {
    return E_OUTOFMEMORY;
  }
  shared_ = std::move(shared);
  return S_OK;
}

Status TimedCalls::Call(std::function<HRESULT()> call, std::chrono::milliseconds patience) {
  const std::lock_guard caller(callers_);
  RETURN_IF_FAILED(Start());
  std::unique_lock guard(shared_->lock);
  if (shared_->lost) return XV_E_TIMEOUT;
  shared_->call = std::move(call);
  shared_->done = false;
  shared_->changed.notify_all();
  if (shared_->changed.wait_for(guard, patience, [&] { return shared_->done; })) {
    return shared_->result;
  }
  shared_->lost = true;
  thread_.detach();
  return XV_E_TIMEOUT;
}

}  // namespace xv
