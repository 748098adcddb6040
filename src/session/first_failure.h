#pragma once

#include <atomic>
#include <string_view>

#include "base/status.h"
#include "output/output_report.h"

namespace xv {

// The first failure of a stage, latched until the next open: the host gets it with its next frame.
// Thread-safe.
class FirstFailure {
 public:
  explicit FirstFailure(OutputReport& report) : report_(report) {}

  Status status() const { return Status(code_.load(std::memory_order_acquire)); }
  // What is not a failure, or comes behind the first, changes nothing.
  void Keep(Status error, std::string_view stage, std::string_view words) {
    if (Latch(error)) report_.Fail(stage, words, error);
  }
  // As Keep where the cause has been reported already.
  bool Latch(Status error) {
    HRESULT none = S_OK;
    return error.Failed() && code_.compare_exchange_strong(none, error.code());
  }
  void Clear() { code_ = S_OK; }

 private:
  OutputReport& report_;
  std::atomic<HRESULT> code_{S_OK};
};

}  // namespace xv
