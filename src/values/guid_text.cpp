#include <fmt/format.h>

#include <charconv>

#include "values/value_syntax.h"

namespace xv {
namespace {

template <class Number>
bool ReadHex(std::string_view digits, Number* number) {
  const auto [end, error] =
      std::from_chars(digits.data(), digits.data() + digits.size(), *number, 16);
  return error == std::errc() && end == digits.data() + digits.size();
}

}  // namespace

std::string RenderGuid(const Guid& guid) {
  const std::uint8_t* d = guid.data4;
  return fmt::format("{{{:08X}-{:04X}-{:04X}-{:02X}{:02X}-{:02X}{:02X}{:02X}{:02X}{:02X}{:02X}}}",
                     guid.data1, guid.data2, guid.data3, d[0], d[1], d[2], d[3], d[4], d[5], d[6],
                     d[7]);
}

bool ReadGuid(std::string_view text, Guid* guid) {
  if (text.size() == 38 && text.front() == '{' && text.back() == '}') text = text.substr(1, 36);
  if (text.size() != 36) return false;
  for (const std::size_t dash : {8, 13, 18, 23}) {
    if (text[dash] != '-') return false;
  }
  Guid read;
  bool good = ReadHex(text.substr(0, 8), &read.data1) && ReadHex(text.substr(9, 4), &read.data2) &&
              ReadHex(text.substr(14, 4), &read.data3);
  constexpr std::size_t kBytes[] = {19, 21, 24, 26, 28, 30, 32, 34};
  for (std::size_t i = 0; i < 8; ++i) {
    good = good && ReadHex(text.substr(kBytes[i], 2), &read.data4[i]);
  }
  if (good) *guid = read;
  return good;
}

}  // namespace xv
