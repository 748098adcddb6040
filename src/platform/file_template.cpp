#include "platform/file_template.h"

#include <fmt/format.h>

namespace xv {
namespace {

// What stands at a percent sign.
struct Place {
  std::size_t length = 0;  // characters of the place, 0 when it is plain text
  bool number = false;     // else an escaped percent sign
  int width = 0;
};

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

Place PlaceAt(std::string_view text, std::size_t at) {
  constexpr int kMaxWidth = 64;
  std::size_t i = at + 1;
  if (text.substr(i, 1) == "%") return {2, false, 0};
  int width = 0;
  if (text.substr(i, 1) == "0") {
    ++i;
    while (i < text.size() && IsDigit(text[i]) && width <= kMaxWidth) {
      width = width * 10 + (text[i] - '0');
      ++i;
    }
    if (width < 1 || width > kMaxWidth) return {};
  }
  if (text.substr(i, 1) != "d") return {};
  return {i + 1 - at, true, width};
}

}  // namespace

std::string ExpandFileTemplate(std::string_view text, std::int64_t number) {
  std::string out;
  std::size_t i = 0;
  while (i < text.size()) {
    const Place place = text[i] == '%' ? PlaceAt(text, i) : Place{};
    if (place.length == 0) {
      out += text[i++];
      continue;
    }
    out += place.number ? fmt::format("{:0{}}", number, place.width) : "%";
    i += place.length;
  }
  return out;
}

}  // namespace xv
