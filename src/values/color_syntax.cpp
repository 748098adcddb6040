#include "values/color_syntax.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <optional>

#include "base/text.h"
#include "values/value_syntax.h"

namespace xv {
namespace {

struct ColorName {
  const char* text;
  std::uint32_t color;  // 0xBBGGRR
};

// The names that are read; of two names of one colour the first is the one that is rendered.
constexpr ColorName kNames[] = {
    {"Orange", 0x00A5FF},         {"OrangeRed", 0x0045FF},
    {"Aqua", 0xFFFF00},           {"cyan", 0xFFFF00},
    {"Black", 0x000000},          {"Blue", 0xFF0000},
    {"Magenta", 0xFF00FF},        {"Grey", 0x808080},
    {"Green", 0x008000},          {"Lime", 0x00FF00},
    {"Maroon", 0x000080},         {"Brown", 0x13458B},
    {"Navy", 0x800000},           {"Olive", 0x008080},
    {"Purple", 0x800080},         {"Red", 0x0000FF},
    {"Silver", 0xC0C0C0},         {"Teal", 0x808000},
    {"White", 0xFFFFFF},          {"Yellow", 0x00FFFF},
    {"Pink", 0x8080FF},           {"QZ", 0x8A5406},
    {"velarion", 0x8A5406},       {"QZL", 0xB29000},
    {"velarion-light", 0xB29000},
};

constexpr std::size_t kMaxText = 63;
constexpr std::size_t kMaxDigits = 13;
constexpr std::string_view kEnds = "~!@#$%^&*-+=|\\/.,;`";

std::uint32_t WithAlpha(std::uint32_t color, std::uint32_t alpha) {
  return (color & 0xFFFFFF) | alpha << 24;
}

std::uint32_t SwapRedAndBlue(std::uint32_t color) {
  return (color & 0xFF00FF00) | (color & 0xFF) << 16 | (color >> 16 & 0xFF);
}

bool IsUpperHex(char c) { return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F'); }

// The number between brackets: a level from 1 on, a fraction below. The end characters leave no
// point in the text, so a fraction can only be 0.
std::uint32_t ReadAlpha(std::string_view text) {
  const double number = ReadDouble(text);
  const bool level = number >= 1.0 && text.find('.') == std::string_view::npos;
  const double alpha = level ? number : number * 255.0;
  return static_cast<std::uint32_t>(std::lround(std::clamp(alpha, 0.0, 255.0)));
}

std::optional<std::uint32_t> ReadDigits(std::string_view text, std::uint32_t alpha) {
  std::string digits(text);
  if (digits.size() >= 2 && IsUpperHex(digits[0]) && IsUpperHex(digits[1])) {
    digits.insert(0, "0x");
  }
  digits.resize(std::min(digits.size(), kMaxDigits));
  const ParsedUnsigned number = ParseUnsigned(digits);
  if (number.length == 0) return std::nullopt;
  auto color = static_cast<std::uint32_t>(std::min<std::uint64_t>(number.value, 0xFFFFFFFF));
  if (number.length < 6) {  // 0xRGB: each digit stands for two
    color = (color >> 8 & 15) * 17 << 16 | (color >> 4 & 15) * 17 << 8 | (color & 15) * 17;
  }
  color = SwapRedAndBlue(color);
  return digits.size() < 9 ? WithAlpha(color, alpha) : color;
}

}  // namespace

std::uint32_t ReadColor(std::string_view text, std::uint32_t defaultColor) {
  text = text.substr(0, kMaxText);
  text = text.substr(0, text.find_first_of(kEnds));
  std::uint32_t alpha = 255;
  const std::size_t bracket = text.find('(');
  const bool hasAlpha = bracket != std::string_view::npos;
  if (hasAlpha) {
    alpha = ReadAlpha(text.substr(bracket + 1));
    text = text.substr(0, bracket);
  }
  if (EqualsNoCase(text, "Default") || (hasAlpha && text.empty())) {
    return hasAlpha ? WithAlpha(defaultColor, alpha) : defaultColor;
  }
  if (EqualsNoCase(text, "Transparent")) return 0;
  for (const ColorName& name : kNames) {
    if (EqualsNoCase(text, name.text)) return WithAlpha(name.color, alpha);
  }
  return ReadDigits(text, alpha).value_or(defaultColor);
}

std::string RenderColor(std::uint32_t color) {
  const std::uint32_t alpha = color >> 24;
  std::string text;
  for (const ColorName& name : kNames) {
    if (name.color != (color & 0xFFFFFF)) continue;
    text = name.text;
    break;
  }
  if (text.empty()) text = fmt::format("#{:06X}", SwapRedAndBlue(color) & 0xFFFFFF);
  return alpha == 255 ? text : fmt::format("{}({})", text, alpha);
}

}  // namespace xv
