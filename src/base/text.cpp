#include "base/text.h"

#include <utf8.h>

#include <algorithm>
#include <iterator>

#include "xvwriter/object.h"

namespace xv {

std::string Utf8FromUtf16(const char16_t* text) {
  return text == nullptr ? std::string() : Utf8FromUtf16(std::u16string_view(text));
}

std::string Utf8FromUtf16(std::u16string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    char32_t code = text[i];
    const bool high = code >= 0xD800 && code < 0xDC00;
    const bool low = code >= 0xDC00 && code < 0xE000;
    if (high && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] < 0xE000) {
      code = 0x10000 + ((code - 0xD800) << 10) + (text[++i] - 0xDC00);
    } else if (high || low) {
      code = 0xFFFD;
    }
    utf8::unchecked::append(code, std::back_inserter(out));
  }
  return out;
}

std::u16string Utf16FromUtf8(std::string_view text) {
  std::string valid;
  if (!utf8::is_valid(text.begin(), text.end())) {
    utf8::replace_invalid(text.begin(), text.end(), std::back_inserter(valid));
    text = valid;
  }
  std::u16string out;
  out.reserve(text.size());
  utf8::unchecked::utf8to16(text.begin(), text.end(), std::back_inserter(out));
  return out;
}

Status GiveString(std::string_view text, char16_t** out) {
  if (out == nullptr) return E_POINTER;
  const std::u16string wide = Utf16FromUtf8(text);
  *out = XvStringAlloc(wide.c_str(), static_cast<std::uint32_t>(wide.size()));
  return *out == nullptr ? E_OUTOFMEMORY : S_OK;
}

char AsciiLower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

std::string ToLower(std::string_view text) {
  std::string out(text);
  std::transform(out.begin(), out.end(), out.begin(), AsciiLower);
  return out;
}

bool EqualsNoCase(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return AsciiLower(x) == AsciiLower(y); });
}

std::size_t FindNoCase(std::string_view text, std::string_view needle, std::size_t from) {
  if (from > text.size()) return std::string_view::npos;
  const auto found =
      std::search(text.begin() + static_cast<std::ptrdiff_t>(from), text.end(), needle.begin(),
                  needle.end(), [](char x, char y) { return AsciiLower(x) == AsciiLower(y); });
  if (found == text.end() && !needle.empty()) return std::string_view::npos;
  return static_cast<std::size_t>(found - text.begin());
}

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

std::string_view Trim(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

}  // namespace xv
