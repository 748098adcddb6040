#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

// The scanner of attribute text, shared by the reader of XML and by merging. It allocates nothing.
namespace xv::XMLParse {

// White space of attribute text: blank, CR, LF, TAB and the code points U+FFEE, U+FFEF and U+FDD0
// to U+FDEE. The bytes that it takes at `at`, or 0.
inline std::size_t WhiteSpaceAt(std::string_view text, std::size_t at) {
  const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(text[at + i]); };
  if (byte(0) <= ' ') {
    return text[at] == ' ' || text[at] == '\r' || text[at] == '\n' || text[at] == '\t' ? 1 : 0;
  }
  if (byte(0) != 0xEF || at + 2 >= text.size()) return 0;
  const bool high = byte(1) == 0xBF && (byte(2) == 0xAE || byte(2) == 0xAF);
  const bool middle = byte(1) == 0xB7 && byte(2) >= 0x90 && byte(2) <= 0xAE;
  return high || middle ? 3 : 0;
}

inline std::size_t SkipWhiteSpace(std::string_view text, std::size_t at) {
  while (at < text.size()) {
    const std::size_t width = WhiteSpaceAt(text, at);
    if (width == 0) break;
    at += width;
  }
  return at;
}

// The first place from `at` on that is white space or `stop`; the text's end if there is none.
inline std::size_t FindWordEnd(std::string_view text, std::size_t at, char stop) {
  while (at < text.size() && text[at] != stop && WhiteSpaceAt(text, at) == 0) ++at;
  return at;
}

inline std::string_view TrimWhiteSpace(std::string_view text) {
  text.remove_prefix(SkipWhiteSpace(text, 0));
  while (!text.empty()) {
    const std::size_t last = text.size() - 1;
    if (WhiteSpaceAt(text, last) == 1) {
      text.remove_suffix(1);
    } else if (last >= 2 && WhiteSpaceAt(text, last - 2) == 3) {
      text.remove_suffix(3);
    } else {
      break;
    }
  }
  return text;
}

// One attribute of a text; the views point into the text.
struct ScannedAttribute {
  std::string_view name;
  std::string_view value;
  bool openQuote = false;  // the value's quote is never closed: it runs to the end
};

// The value behind an "=": in single quotes, in double quotes, or up to white space. No escape, no
// nesting. `*at` comes to stand behind it.
inline void ScanValue(std::string_view text, std::size_t* at, ScannedAttribute* out) {
  const std::size_t start = SkipWhiteSpace(text, *at);
  if (start < text.size() && (text[start] == '\'' || text[start] == '"')) {
    const std::size_t quote = text.find(text[start], start + 1);
    const std::size_t end = std::min(quote, text.size());
    *at = std::min(end + 1, text.size());
    out->value = text.substr(start + 1, end - start - 1);
    out->openQuote = quote == std::string_view::npos;
    return;
  }
  *at = FindWordEnd(text, start, '\0');
  out->value = text.substr(start, *at - start);
}

// Calls `visit(ScannedAttribute)` for each attribute of "name=value name2='value 2'" until it gives
// false; then ScanAttributes does too. A name without "=" has an empty value.
template <class Visit>
bool ScanAttributes(std::string_view text, Visit&& visit) {
  std::size_t at = SkipWhiteSpace(text, 0);
  while (at < text.size()) {
    const std::size_t end = FindWordEnd(text, at, '=');
    ScannedAttribute one{text.substr(at, end - at), {}};
    at = SkipWhiteSpace(text, end);
    if (at < text.size() && text[at] == '=') {
      ++at;
      ScanValue(text, &at, &one);
    }
    if (!one.name.empty() && !visit(one)) return false;
    at = SkipWhiteSpace(text, at);
  }
  return true;
}

}  // namespace xv::XMLParse
