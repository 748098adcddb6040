#pragma once

#include <cstdint>

namespace xv {

// Local wall-clock time. Month 1 to 12.
struct LocalClockTime {
  int year = 0;
  int month = 0;
  int day = 0;
  int hour = 0;
  int minute = 0;
  int second = 0;
  int millisecond = 0;
};

// Where the library reads time, so that tests own it. Thread-safety: safe.
class Clock {
 public:
  virtual ~Clock() = default;
  virtual LocalClockTime LocalTime() = 0;
  // Monotonic, in nanoseconds from an arbitrary point.
  virtual std::int64_t SteadyNanoseconds() = 0;
};

// The machine's clock; lives as long as the process.
Clock& SystemClock();

// Seconds since 1970-01-01 UTC as local time.
LocalClockTime LocalTimeFromUnix(std::int64_t seconds);

}  // namespace xv
