#include "output/interrupt.h"

namespace xv {
namespace {

std::int64_t Now() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

}  // namespace

void IoInterrupt::Begin() {
  deadline_ = Now() + std::chrono::duration_cast<std::chrono::nanoseconds>(timeout_).count();
}

void IoInterrupt::End() { deadline_ = INT64_MAX; }

int IoInterrupt::Check(void* opaque) {
  auto& self = *static_cast<IoInterrupt*>(opaque);
  if (self.givenUp_) return 1;
  if (Now() < self.deadline_) return 0;
  self.givenUp_ = true;
  return 1;
}

}  // namespace xv
