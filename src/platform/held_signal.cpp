#include "platform/held_signal.h"

#include <pthread.h>

#include <cerrno>
#include <ctime>

namespace xv {

HeldSignal::HeldSignal(int signal) {
  sigset_t pending;
  sigemptyset(&held_);
  sigaddset(&held_, signal);
  sigpending(&pending);
  wasPending_ = sigismember(&pending, signal) == 1;
  pthread_sigmask(SIG_BLOCK, &held_, &before_);
}

HeldSignal::~HeldSignal() {
  const int error = errno;
  constexpr timespec kNow{};
  while (!wasPending_ && sigtimedwait(&held_, nullptr, &kNow) < 0 && errno == EINTR) {
  }
  pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  errno = error;
}

}  // namespace xv
