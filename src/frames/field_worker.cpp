#include "frames/field_worker.h"

#include <chrono>
#include <utility>

namespace xv {
namespace {

constexpr std::uint32_t kStopTimeout = 1000;  // milliseconds
constexpr std::uint32_t kIdleTimeout = 500;
constexpr std::uint32_t kEndless = 0xFFFFFFFF;

}  // namespace

FieldWorker::~FieldWorker() { static_cast<void>(thread_.Stop(kStopTimeout, true)); }

Status FieldWorker::Begin(Work work) {
  {
    const std::lock_guard guard(lock_);
    work_ = std::move(work);
    result_ = E_UNEXPECTED;
    pending_ = inProgress_ = true;
  }
  if (thread_.State() == ThreadState::kNone) {
    if (const Status started = thread_.Start(this, &FieldWorker::Run); started.Failed()) {
      const std::lock_guard guard(lock_);
      pending_ = inProgress_ = false;
      return started;
    }
  }
  thread_.Wake();
  return S_OK;
}

Status FieldWorker::WaitDone(std::uint32_t timeout) {
  std::unique_lock guard(lock_);
  if (!inProgress_) return XV_E_FILE_HANDLE;
  const auto ended = [this] { return !pending_; };
  if (timeout == kEndless) {
    done_.wait(guard, ended);
  } else if (!done_.wait_for(guard, std::chrono::milliseconds(timeout), ended)) {
    return XV_E_TIMEOUT;
  }
  inProgress_ = false;
  return result_;
}

void FieldWorker::Run() {
  while (thread_.IsRunning()) {
    thread_.WaitWake(kIdleTimeout);
    Work work;
    {
      const std::lock_guard guard(lock_);
      if (!pending_) continue;
      work = std::move(work_);
    }
    Status result = E_UNEXPECTED;
    try {
      result = work();
    } catch (...) {
      result = E_OUTOFMEMORY;  // pictures and their temporaries are all that is made here
    }
    const std::lock_guard guard(lock_);
    result_ = result;
    pending_ = false;
    done_.notify_all();
  }
}

}  // namespace xv
