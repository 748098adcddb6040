#include "values/time_syntax.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <string_view>

#include "base/text.h"
#include "values/value_syntax.h"

namespace xv {
namespace {

// Reads the time of day from the end of the text towards its start, one group of digits after the
// other.
class TimeScan {
 public:
  // Gives the place where the scan stopped; 0 when it came to the text's start.
  std::size_t Run(std::string_view text) {
    for (std::size_t at = text.size(); at-- > 0;) {
      const char c = text[at];
      if (c >= '0' && c <= '9') {
        group_ += (c - '0') * power_;
        power_ *= 10;
      }
      const bool ends = std::string_view(":.HhMmSs \r\n\t").find(c) != std::string_view::npos;
      if (!ends && at != 0) continue;
      EndGroup(c);
      if (IsBlank(c)) return at;
    }
    return 0;
  }

  // Seconds. Without hours and without a fraction the groups were hours and minutes.
  double Total() const { return hoursOrFraction_ ? total_ : total_ * 60; }

 private:
  void EndGroup(char c) {
    switch (mode_) {
      case 0:
        if (c == '.') {
          total_ += group_ / power_;
          hoursOrFraction_ = true;
        } else {
          total_ += group_;
          mode_ = 1;
        }
        break;
      case 1:
        total_ += group_;
        break;
      case 2:
        total_ += group_ * 60;
        break;
      case 3:
        total_ += group_ * 3600;
        hoursOrFraction_ = true;
        break;
      default:
        break;
    }
    NextMode(AsciiLower(c));
    group_ = 0;
    power_ = 1;
  }

  void NextMode(char c) {
    if (c == 'h') {
      mode_ = 3;
    } else if (c == 'm') {
      mode_ = 2;
    } else if (c == 's') {
      mode_ = 1;
    } else if (mode_ < 4) {
      ++mode_;
    }
  }

  double total_ = 0;
  double group_ = 0;
  double power_ = 1;
  int mode_ = 0;  // what the next group is: 0 seconds or fraction, 1 seconds, 2 minutes, 3 hours
  bool hoursOrFraction_ = false;
};

// Three integers with `separator` between them, as scanf's "%d-%d-%d".
bool ReadThree(std::string_view text, char separator, std::int64_t (&out)[3]) {
  for (int i = 0; i < 3; ++i) {
    std::size_t digits = text.find_first_not_of(" \t\r\n");
    if (digits == std::string_view::npos) return false;
    text.remove_prefix(digits);
    digits = text.substr(0, 1).find_first_of("+-") == 0 ? 1 : 0;
    std::size_t end = digits;
    std::int64_t value = 0;
    for (; end < text.size() && text[end] >= '0' && text[end] <= '9'; ++end) {
      value = std::min<std::int64_t>(value * 10 + (text[end] - '0'), 0xFFFF);
    }
    if (end == digits) return false;
    out[i] = text[0] == '-' ? -value : value;
    text.remove_prefix(end);
    if (i == 2) return true;
    if (text.empty() || text[0] != separator) return false;
    text.remove_prefix(1);
  }
  return false;
}

void ReadDate(std::string_view text, CalendarTime* out) {
  std::int64_t part[3] = {};
  const bool yearFirst = ReadThree(text, '-', part);
  if (!yearFirst && !ReadThree(text, '/', part) && !ReadThree(text, '.', part)) return;
  out->year = static_cast<std::uint16_t>(part[yearFirst ? 0 : 2]);
  out->month = static_cast<std::uint16_t>(part[1]);
  out->day = static_cast<std::uint16_t>(part[yearFirst ? 2 : 0]);
}

}  // namespace

Status ReadTime(const char* text, CalendarTime* out, bool timeOnly) {
  if (text == nullptr || out == nullptr) return E_POINTER;
  *out = {};
  TimeScan scan;
  const std::size_t stop = scan.Run(text);
  // Thousandths carry into the seconds; what is past any calendar counts as midnight.
  double total = scan.Total();
  if (!(total < 1e15)) total = 0;
  const std::int64_t thousandths = RoundToInt64(total * 1000);
  const std::int64_t seconds = thousandths / 1000;
  out->milliseconds = static_cast<std::uint16_t>(thousandths % 1000);
  out->hour = static_cast<std::uint16_t>(seconds / 3600 % 24);
  out->minute = static_cast<std::uint16_t>(seconds / 60 % 60);
  out->second = static_cast<std::uint16_t>(seconds % 60);
  if (stop > 0 && !timeOnly) ReadDate(text, out);
  return S_OK;
}

bool IsTimeCode(std::string_view text) {
  constexpr int kMost[] = {23, 59, 59, 59};
  for (int i = 0; i < 4; ++i) {
    const std::size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
    if (digits < 1 || digits > 2) return false;
    int number = 0;
    for (std::size_t at = 0; at < digits; ++at) number = number * 10 + (text[at] - '0');
    if (number > kMost[i]) return false;
    text.remove_prefix(digits);
    if (i == 3) return text.empty();
    if (text.empty() || (text[0] != ':' && (i < 2 || (text[0] != ';' && text[0] != '.')))) break;
    text.remove_prefix(1);
  }
  return false;
}

std::string RenderTime(const CalendarTime& time, bool timeOnly) {
  std::string text;
  if (!timeOnly && time.year != 0) {
    text = fmt::format("{:04}-{:02}-{:02} ", time.year, time.month, time.day);
  }
  text += fmt::format("{:02}:{:02}:{:02}", time.hour, time.minute, time.second);
  if (time.milliseconds != 0) text += fmt::format(".{:03}", time.milliseconds);
  return text;
}

}  // namespace xv
