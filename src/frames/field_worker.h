#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>

#include "base/status.h"
#include "platform/thread.h"

namespace xv {

// A thread that works one field of each picture. Started on first need, stopped at destruction.
class FieldWorker {
 public:
  using Work = std::function<Status()>;

  FieldWorker() = default;
  ~FieldWorker();
  FieldWorker(const FieldWorker&) = delete;
  FieldWorker& operator=(const FieldWorker&) = delete;

  // Hands `work` over; it must stay valid until WaitDone. XV_E_ALREADY_EXISTS or the system's error
  // when there is no thread to be had.
  Status Begin(Work work);
  // Waits `timeout` milliseconds for the work handed over last and gives its result.
  //   XV_E_TIMEOUT      it still runs.
  //   XV_E_FILE_HANDLE  nothing is in progress.
  Status WaitDone(std::uint32_t timeout);

 private:
  void Run();

  XvThread<FieldWorker> thread_;
  std::mutex lock_;  // guards what follows
  std::condition_variable done_;
  Work work_;
  bool pending_ = false;
  bool inProgress_ = false;
  Status result_ = E_UNEXPECTED;
};

}  // namespace xv
