#include "xvrecord/stop_signals.h"

#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <memory>
#include <utility>

namespace xvrecord {
namespace {

constexpr std::chrono::milliseconds kGrace{1000};
constexpr std::chrono::milliseconds kHurriedGrace{5000};
constexpr std::chrono::milliseconds kGlance{20};
constexpr int kKilled = 128;

bool IsIgnored(int signal) {
  struct sigaction action {};
  return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

}  // namespace

StopSignals::StopSignals() {
  sigemptyset(&signals_);
  sigaddset(&signals_, SIGINT);
  sigaddset(&signals_, SIGTERM);
  if (!IsIgnored(SIGHUP)) sigaddset(&signals_, SIGHUP);
  pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
  std::thread([this] { Listen(); }).detach();
}

void StopSignals::OnSecond(std::function<void()> rescue, std::function<void()> hurry) {
  const std::lock_guard guard(lock_);
  const std::lock_guard beside(hurryLock_);
  rescue_ = std::move(rescue);
  hurry_ = std::move(hurry);
}

void StopSignals::Hurry() {
  const std::lock_guard guard(hurryLock_);
  if (hurry_) hurry_();
}

void StopSignals::Listen() {
  int signal = 0;
  while (sigwait(&signals_, &signal) != 0) {
  }
  asked_ = true;
  while (sigwait(&signals_, &signal) != 0) {
  }
  endStatus_ = kKilled + signal;
  End();
}

bool StopSignals::ThirdWithin(std::chrono::milliseconds time) {
  const timespec wait{0, std::chrono::nanoseconds(time).count()};
  return sigtimedwait(&signals_, nullptr, &wait) > 0;
}

void StopSignals::End() {
  const auto finished = std::make_shared<std::atomic<bool>>(false);
  std::thread([this, finished] {
    const std::lock_guard guard(lock_);
    if (rescue_) rescue_();
    *finished = true;
  }).detach();
  const auto begin = std::chrono::steady_clock::now();
  bool hurried = false;
  for (auto spent = kGlance; spent < kGrace + kHurriedGrace && !*finished && !ThirdWithin(kGlance);
       spent = std::chrono::duration_cast<std::chrono::milliseconds>(
           std::chrono::steady_clock::now() - begin)) {
    if (spent < kGrace || hurried) continue;
    hurried = true;
    Hurry();
  }
  _exit(endStatus_);
}

}  // namespace xvrecord
