#include "platform/clock.h"

#include <time.h>

#include <chrono>

namespace xv {
namespace {

LocalClockTime Broken(time_t seconds, int millisecond) {
  tm parts{};
  if (localtime_r(&seconds, &parts) == nullptr) return {};
  return {parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday, parts.tm_hour,
          parts.tm_min,         parts.tm_sec,     millisecond};
}

class MachineClock final : public Clock {
 public:
  LocalClockTime LocalTime() override {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return Broken(now.tv_sec, static_cast<int>(now.tv_nsec / 1'000'000));
  }
  std::int64_t SteadyNanoseconds() override {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::nanoseconds>(now).count();
  }
};

}  // namespace

Clock& SystemClock() {
  static MachineClock clock;
  return clock;
}

LocalClockTime LocalTimeFromUnix(std::int64_t seconds) { return Broken(seconds, 0); }

}  // namespace xv
