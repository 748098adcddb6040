#include "xvrecord/progress.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <string>

namespace xvrecord {
namespace {

constexpr int kBarWidth = 30;

}  // namespace

Progress::Progress(double duration, bool quiet)
    : duration_(duration),
      quiet_(quiet),
      terminal_(isatty(STDERR_FILENO) == 1),
      begin_(std::chrono::steady_clock::now()),
      last_(begin_) {}

Progress::~Progress() {
  if (drawn_) std::fprintf(stderr, "\r\033[K");
}

void Progress::Show(double seconds, std::int64_t pictures, std::int64_t drops) {
  using namespace std::chrono_literals;
  const auto now = std::chrono::steady_clock::now();
  if (quiet_ || now - last_ < (terminal_ ? 100ms : 1000ms)) return;
  last_ = now;
  const double wall = std::chrono::duration<double>(now - begin_).count();
  const double speed = wall > 0 ? seconds / wall : 0;
  if (terminal_) {
    Bar(seconds, pictures, drops, speed);
  } else {
    std::fprintf(stderr, "%.1f s, %lld pictures, %lld dropped, %.2fx\n", seconds,
                 static_cast<long long>(pictures), static_cast<long long>(drops), speed);
  }
}

void Progress::Bar(double seconds, std::int64_t pictures, std::int64_t drops, double speed) {
  std::string bar;
  if (duration_ > 0) {
    const double part = std::clamp(seconds / duration_, 0.0, 1.0);
    const auto filled = static_cast<std::size_t>(part * kBarWidth);
    bar = "[" + std::string(filled, '#') + std::string(kBarWidth - filled, '.') + "] " +
          std::to_string(static_cast<int>(part * 100)) + "% ";
  }
  std::fprintf(stderr, "\r\033[K%s%.1f s, %lld pictures, %lld dropped, %.2fx", bar.c_str(), seconds,
               static_cast<long long>(pictures), static_cast<long long>(drops), speed);
  drawn_ = true;
}

}  // namespace xvrecord
