#include "xvrecord/stop_signals.h"

#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <utility>

namespace xvrecord {
namespace {

constexpr std::chrono::seconds kGrace{1};
constexpr int kKilled = 128;

bool IsIgnored(int signal) {
  struct sigaction action {};
  return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

struct Finish {
  std::mutex lock;
  std::condition_variable changed;
  bool done = false;
};

}  // namespace

StopSignals::StopSignals() {
  sigemptyset(&signals_);
  sigaddset(&signals_, SIGINT);
  sigaddset(&signals_, SIGTERM);
  if (!IsIgnored(SIGHUP)) sigaddset(&signals_, SIGHUP);
  pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
  std::thread([this] { Listen(); }).detach();
}

void StopSignals::OnSecond(std::function<void()> rescue) {
  const std::lock_guard guard(lock_);
  rescue_ = std::move(rescue);
}

void StopSignals::Listen() {
  int signal = 0;
  while (sigwait(&signals_, &signal) != 0) {
  }
  asked_ = true;
  while (sigwait(&signals_, &signal) != 0) {
  }
  End(signal);
}

void StopSignals::End(int signal) {
  const auto finish = std::make_shared<Finish>();
  std::thread([this, finish] {
    {
      const std::lock_guard guard(lock_);
      if (rescue_) rescue_();
    }
    const std::lock_guard guard(finish->lock);
    finish->done = true;
    finish->changed.notify_one();
  }).detach();
  std::unique_lock guard(finish->lock);
  finish->changed.wait_for(guard, kGrace, [&] { return finish->done; });
  _exit(kKilled + signal);
}

}  // namespace xvrecord
