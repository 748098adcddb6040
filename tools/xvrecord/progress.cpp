#include "xvrecord/progress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>

#include "xvrecord/input.h"

namespace xvrecord {
namespace {

constexpr std::size_t kLeastBar = 5;
constexpr std::size_t kMostBar = 60;

// Columns of the terminal, 80 where it does not say.
std::size_t Columns() {
  winsize size{};
  const bool told = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return told ? size.ws_col : 80;
}

// As 0:07, 12:34 or 1:02:03.
std::string Clock(double seconds) {
  const auto all = static_cast<long long>(std::ceil(seconds));
  char text[32];
  if (all >= 3600) {
    std::snprintf(text, sizeof(text), "%lld:%02lld:%02lld", all / 3600, all / 60 % 60, all % 60);
  } else {
    std::snprintf(text, sizeof(text), "%lld:%02lld", all / 60, all % 60);
  }
  return text;
}

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
  const std::string text = Text(seconds, pictures, drops, speed);
  if (terminal_) {
    Bar(seconds, text);
  } else {
    std::fprintf(stderr, "%s\n", text.c_str());
  }
}

std::string Progress::Text(double seconds, std::int64_t pictures, std::int64_t drops,
                           double speed) const {
  char text[160];
  std::snprintf(text, sizeof(text), "%.1f s, %lld pictures, %lld dropped, %.2fx", seconds,
                static_cast<long long>(pictures), static_cast<long long>(drops), speed);
  std::string all = text;
  if (duration_ > seconds && speed > 0) all += ", ETA " + Clock((duration_ - seconds) / speed);
  return all;
}

// A bar in the room that the text leaves; never more than a line, which could not be taken back.
void Progress::Bar(double seconds, const std::string& text) {
  const std::size_t columns = Columns() - 1;
  std::string line;
  const std::size_t taken = text.size() + std::string_view("[] 100% ").size();
  if (duration_ > 0 && columns >= taken + kLeastBar) {
    const std::size_t width = std::min(columns - taken, kMostBar);
    const double part = std::clamp(seconds / duration_, 0.0, 1.0);
    const auto filled = static_cast<std::size_t>(part * static_cast<double>(width));
    line = "[" + std::string(filled, '#') + std::string(width - filled, '.') + "] " +
           std::to_string(static_cast<int>(part * 100)) + "% ";
  }
  line = (line + text).substr(0, columns);
  std::fprintf(stderr, "\r\033[K%s", line.c_str());
  drawn_ = true;
}

FrameCount::FrameCount(const std::string& path) {
  if (path.empty() || file_.Create(path).Ok()) return;
  throw InputError("Cannot write the progress to " + path + ".");
}

bool FrameCount::Tell(std::int64_t frames) {
  const std::string line = std::to_string(frames) + "\n";
  return !file_.IsOpen() || file_.Write(line.data(), line.size()).Ok();
}

}  // namespace xvrecord
