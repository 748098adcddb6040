#pragma once

#include <csignal>

namespace xv {

// A signal that the thread's own calls raise (SIGPIPE, SIGXFSZ) stays away while this lives: the
// call that would have raised it fails by its errno alone, which the end of this leaves as it is.
// One that was pending before is still so. On one thread.
class HeldSignal {
 public:
  explicit HeldSignal(int signal);
  ~HeldSignal();
  HeldSignal(const HeldSignal&) = delete;
  HeldSignal& operator=(const HeldSignal&) = delete;

 private:
  sigset_t held_{};
  sigset_t before_{};
  bool wasPending_ = false;
};

}  // namespace xv
