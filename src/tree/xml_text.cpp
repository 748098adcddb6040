#include "tree/xml_text.h"

#include <utf8.h>

#include <algorithm>
#include <iterator>

#include "values/value_syntax.h"

namespace xv::XMLParse {
namespace {

struct Entity {
  std::string_view text;
  std::string_view expansion;
};
constexpr Entity kEntities[] = {
    {"&lt;", "<"},   {"&gt;", ">"},        {"&amp;", "&"},      {"&apos;", "'"},
    {"&nbsp;", " "}, {"&copy;", "\u00A9"}, {"&reg;", "\u00AE"}, {"&quot;", "\""},
};

bool IsHigh(std::uint64_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
bool IsLow(std::uint64_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

// The number of "&#..." at the start of `text`; the result's length counts from the "&".
ParsedUnsigned ParseReference(std::string_view text) {
  std::string digits(text.substr(2, 24));
  // "x41" becomes "0x41": the number brings its own base.
  if (!digits.empty() && digits[0] == 'x') digits.insert(0, "0");
  ParsedUnsigned number = ParseUnsigned(digits);
  if (number.length > 0 && digits.size() > 1 && text.substr(2, 1) == "x") --number.length;
  number.length += 2;
  return number;
}

// The end of the character at `at`, which is skipped behind a number.
std::size_t BehindCharacter(std::string_view text, std::size_t at) {
  if (at >= text.size()) return text.size();
  do {
    ++at;
  } while (at < text.size() && (static_cast<std::uint8_t>(text[at]) & 0xC0) == 0x80);
  return at;
}

// Expands the reference at the start of `text` and gives the bytes that it takes. Two references
// to surrogates make one character.
std::size_t ExpandReference(std::string_view text, std::string* out) {
  ParsedUnsigned number = ParseReference(text);
  std::size_t taken = BehindCharacter(text, number.length);
  if (IsHigh(number.value) && text.substr(taken, 2) == "&#") {
    const ParsedUnsigned low = ParseReference(text.substr(taken));
    if (IsLow(low.value)) {
      number.value = 0x10000 + ((number.value - 0xD800) << 10) + (low.value - 0xDC00);
      taken = BehindCharacter(text, taken + low.length);
    }
  }
  if (number.value == 0) return taken;
  const bool character = number.value <= 0x10FFFF && !IsHigh(number.value) && !IsLow(number.value);
  utf8::unchecked::append(character ? static_cast<std::uint32_t>(number.value) : 0xFFFD,
                          std::back_inserter(*out));
  return taken;
}

void AppendBlanked(std::string_view text, bool keepControls, std::string* out) {
  const std::size_t from = out->size();
  out->append(text);
  if (keepControls) return;
  std::replace_if(
      out->begin() + static_cast<std::ptrdiff_t>(from), out->end(),
      [](char c) { return c == '\r' || c == '\n' || c == '\t'; }, ' ');
}

}  // namespace

void AppendEscaped(std::string_view text, std::string* out) {
  std::size_t at = 0;
  while (at < text.size()) {
    const std::size_t next = std::min(text.find_first_of("&<>", at), text.size());
    out->append(text.substr(at, next - at));
    if (next == text.size()) return;
    const std::string_view one = text.substr(next, 1);
    const auto entity = std::find_if(std::begin(kEntities), std::end(kEntities),
                                     [&](const Entity& e) { return e.expansion == one; });
    out->append(entity->text);
    at = next + 1;
  }
}

void AppendQuoted(std::string_view value, std::string* out) {
  const bool hasSingle = value.find('\'') != std::string_view::npos;
  out->push_back(hasSingle ? '"' : '\'');
  const std::size_t from = out->size();
  out->append(value);
  if (hasSingle) {
    std::replace(out->begin() + static_cast<std::ptrdiff_t>(from), out->end(), '"', '\'');
  }
  out->push_back(hasSingle ? '"' : '\'');
}

void AppendExpanded(std::string_view text, bool keepControls, std::string* out, bool keepUnknown) {
  while (!text.empty()) {
    const std::size_t ampersand = std::min(text.find('&'), text.size());
    AppendBlanked(text.substr(0, ampersand), keepControls, out);
    text.remove_prefix(ampersand);
    if (text.empty()) return;
    const auto entity =
        std::find_if(std::begin(kEntities), std::end(kEntities),
                     [&](const Entity& e) { return text.substr(0, e.text.size()) == e.text; });
    if (entity != std::end(kEntities)) {
      out->append(entity->expansion);
      text.remove_prefix(entity->text.size());
    } else if (text.substr(0, 2) == "&#") {
      text.remove_prefix(ExpandReference(text, out));
    } else {
      if (keepUnknown) out->push_back('&');
      text.remove_prefix(1);
    }
  }
}

}  // namespace xv::XMLParse
