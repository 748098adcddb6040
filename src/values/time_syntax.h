#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/status.h"

// Dates and times of day as text.
namespace xv {

// All zero when nothing is set; a year of 0 means that there is no date.
struct CalendarTime {
  std::uint16_t year = 0;
  std::uint16_t month = 0;  // 1 to 12
  std::uint16_t dayOfWeek = 0;
  std::uint16_t day = 0;  // 1 to 31
  std::uint16_t hour = 0;
  std::uint16_t minute = 0;
  std::uint16_t second = 0;
  std::uint16_t milliseconds = 0;

  friend bool operator==(const CalendarTime&, const CalendarTime&) = default;
};
static_assert(sizeof(CalendarTime) == 16);

// "12:34:56.5", "1h30m", "56.5" (seconds), and with neither hours nor a point minutes and hours:
// "90" is ninety minutes, "12:34" twelve hours and more; "10s" and "5m" are scaled the same way, to
// 10 minutes and 5 hours. A date may stand ahead of the time, unless `timeOnly`: year-month-day,
// day/month/year or day.month.year. `text` is zero-terminated. E_POINTER for a null.
Status ReadTime(const char* text, CalendarTime* out, bool timeOnly);

// "hh:mm:ss:ff", or ";" or "." ahead of the frames of a drop-frame count; a time within one day and
// below 60 frames.
bool IsTimeCode(std::string_view text);

// "hh:mm:ss" or, with milliseconds, "hh:mm:ss.mmm"; behind "yyyy-mm-dd " when there is a date.
std::string RenderTime(const CalendarTime& time, bool timeOnly);

}  // namespace xv
