#include "values/value_syntax.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>

#include "base/text.h"

namespace xv {
namespace {

constexpr std::uint64_t kMaxUnsigned = std::numeric_limits<std::uint64_t>::max();

int DigitOf(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  const char lower = AsciiLower(c);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : 99;
}

bool IsSpace(char c) { return IsBlank(c) || c == '\v' || c == '\f'; }

// The magnitude, its sign and its end; the length is 0 when there is no digit.
struct Magnitude {
  std::uint64_t value = 0;
  std::size_t length = 0;
  bool negative = false;
  bool overflow = false;
};

Magnitude ParseMagnitude(std::string_view text) {
  Magnitude out;
  std::size_t at = 0;
  while (at < text.size() && IsSpace(text[at])) ++at;
  if (at < text.size() && (text[at] == '-' || text[at] == '+')) out.negative = text[at++] == '-';
  unsigned base = 10;
  if (at < text.size() && text[at] == '0') {
    const bool hex =
        at + 2 < text.size() && AsciiLower(text[at + 1]) == 'x' && DigitOf(text[at + 2]) < 16;
    base = hex ? 16 : 8;
    if (hex) at += 2;
  }
  for (; at < text.size(); ++at) {
    const auto digit = static_cast<unsigned>(DigitOf(text[at]));
    if (digit >= base) break;
    if (out.value > (kMaxUnsigned - digit) / base) out.overflow = true;
    if (!out.overflow) out.value = out.value * base + digit;
    out.length = at + 1;
  }
  if (out.overflow) out.value = kMaxUnsigned;
  return out;
}

bool IsTrueWord(std::string_view text) { return EqualsNoCase(text, "true"); }

}  // namespace

ParsedInteger ParseInteger(std::string_view text) {
  constexpr auto kMax = std::numeric_limits<std::int64_t>::max();
  constexpr auto kMin = std::numeric_limits<std::int64_t>::min();
  const Magnitude number = ParseMagnitude(text);
  if (number.value > static_cast<std::uint64_t>(kMax)) {
    return {number.negative ? kMin : kMax, number.length};
  }
  const auto value = static_cast<std::int64_t>(number.value);
  return {number.negative ? -value : value, number.length};
}

ParsedUnsigned ParseUnsigned(std::string_view text) {
  const Magnitude number = ParseMagnitude(text);
  const bool wraps = number.negative && !number.overflow;
  return {wraps ? 0 - number.value : number.value, number.length};
}

ParsedNumber ParseNumber(std::string_view text) {
  std::size_t at = 0;
  while (at < text.size() && IsSpace(text[at])) ++at;
  const bool negative = at < text.size() && text[at] == '-';
  if (at < text.size() && (text[at] == '-' || text[at] == '+')) ++at;
  // Only decimal numbers: "inf", "nan" and a second sign are words.
  const bool starts = at < text.size() && (DigitOf(text[at]) < 10 || text[at] == '.');
  if (!starts) return {};
  double value = 0;
  const char* const first = text.data() + at;
  const auto [end, error] = std::from_chars(first, text.data() + text.size(), value);
  if (error == std::errc::invalid_argument) return {};
  if (error == std::errc::result_out_of_range) {
    const std::string_view digits(first, static_cast<std::size_t>(end - first));
    const bool tiny = digits.find("e-") != std::string_view::npos ||
                      digits.find("E-") != std::string_view::npos || digits.front() == '.' ||
                      digits.substr(0, 2) == "0.";
    value = tiny ? 0.0 : std::numeric_limits<double>::max();
  }
  return {negative ? -value : value, static_cast<std::size_t>(end - text.data())};
}

bool ReadBool(std::string_view text) {
  if (text.empty() || text == "0" || EqualsNoCase(text, "false")) return false;
  static constexpr const char* kTrue[] = {"1", "true", "yes", "only", "on", "y"};
  return WordIndex(text, kTrue) >= 0 || ParseInteger(text).value > 0;
}

int ReadTriState(std::string_view text) {
  static constexpr const char* kFalse[] = {"0", "false", "off", "no"};
  static constexpr const char* kTrue[] = {"1", "true", "yes", "on"};
  if (WordIndex(text, kFalse) >= 0) return 0;
  return WordIndex(text, kTrue) >= 0 ? 1 : -1;
}

std::int64_t ReadInt64(std::string_view text) {
  const std::int64_t value = ParseInteger(text).value;
  return value == 0 && IsTrueWord(text) ? 1 : value;
}

std::int32_t ReadInt(std::string_view text) {
  constexpr std::int64_t kMax = std::numeric_limits<std::int32_t>::max();
  constexpr std::int64_t kMin = std::numeric_limits<std::int32_t>::min();
  return static_cast<std::int32_t>(std::clamp(ReadInt64(text), kMin, kMax));
}

std::uint64_t ReadHex64(std::string_view text) {
  const std::uint64_t value = ParseUnsigned(text).value;
  return value == 0 && IsTrueWord(text) ? 1 : value;
}

double ReadDouble(std::string_view text) {
  const ParsedNumber number = ParseNumber(text);
  if (number.value == 0 && IsTrueWord(text)) return 1.0;
  const bool percent =
      number.length > 0 && number.length < text.size() && text[number.length] == '%';
  return percent ? number.value / 100.0 : number.value;
}

std::int64_t ReadRate(std::string_view text) {
  const ParsedInteger number = ParseInteger(text);
  if (number.length >= text.size()) return number.value;
  std::int64_t factor = 1;
  switch (AsciiLower(text[number.length])) {
    case 'k':
      factor = 1'000;
      break;
    case 'm':
      factor = 1'000'000;
      break;
    case 'g':
      factor = 1'000'000'000;
      break;
    case 't':
      factor = 1'000'000'000'000;
      break;
    default:
      break;
  }
  constexpr auto kMax = std::numeric_limits<std::int64_t>::max();
  constexpr auto kMin = std::numeric_limits<std::int64_t>::min();
  if (number.value > kMax / factor) return kMax;
  if (number.value < kMin / factor) return kMin;
  return number.value * factor;
}

bool ReadPair(std::string_view text, std::int32_t* first, std::int32_t* second) {
  const std::size_t start = text.find_first_of("0123456789");
  if (start == std::string_view::npos) return false;
  text.remove_prefix(start);
  const ParsedInteger one = ParseInteger(text);
  *first = static_cast<std::int32_t>(
      std::min<std::int64_t>(one.value, std::numeric_limits<std::int32_t>::max()));
  if (one.length < text.size()) *second = ReadInt(text.substr(one.length + 1));
  return true;
}

std::string RenderDouble(double value) {
  std::array<char, 512> buffer;
  char* const begin = buffer.data();
  char* const end =
      std::to_chars(begin, begin + buffer.size(), value, std::chars_format::fixed, 6).ptr;
  const std::string_view text(begin, static_cast<std::size_t>(end - begin));
  return std::string(text.substr(0, std::max(text.find_last_not_of('0') + 1, text.find('.') + 2)));
}

int WordIndex(std::string_view text, std::span<const char* const> words, int defaultIndex) {
  for (std::size_t i = 0; i < words.size() && words[i] != nullptr; ++i) {
    if (EqualsNoCase(text, words[i])) return static_cast<int>(i);
  }
  return defaultIndex;
}

std::vector<std::string> ReadList(std::string_view text) {
  constexpr std::string_view kSeparators = ",;| \t\r\n";
  std::vector<std::string> out;
  std::size_t at = text.find_first_not_of(kSeparators);
  while (at != std::string_view::npos) {
    const std::size_t end = std::min(text.find_first_of(kSeparators, at), text.size());
    out.emplace_back(text.substr(at, end - at));
    at = text.find_first_not_of(kSeparators, end);
  }
  return out;
}

}  // namespace xv
