#include "tree/well_formed.h"

#include <fmt/format.h>
#include <utf8.h>

#include <charconv>
#include <iterator>
#include <optional>

#include "base/text.h"

namespace xv::XMLParse {
namespace {

constexpr std::string_view kReplacement = "\uFFFD";

bool MayBegin(char32_t c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; }

bool MayFollow(char32_t c) { return MayBegin(c) || (c >= '0' && c <= '9') || c == '.' || c == '-'; }

struct Escape {
  std::uint32_t code;
  std::size_t length;
};

// "_xHHHH_" or "_xHHHHHH_" at the start of `text`.
std::optional<Escape> EscapeAt(std::string_view text) {
  if (text.substr(0, 2) != "_x") return std::nullopt;
  for (const std::size_t digits : {std::size_t{4}, std::size_t{6}}) {
    if (text.size() < digits + 3 || text[digits + 2] != '_') continue;
    Escape escape{0, digits + 3};
    const char* const end = text.data() + digits + 2;
    const auto [stop, error] = std::from_chars(text.data() + 2, end, escape.code, 16);
    const bool surrogate = escape.code >= 0xD800 && escape.code < 0xE000;
    if (stop == end && error == std::errc() && escape.code <= 0x10FFFF && !surrogate) return escape;
  }
  return std::nullopt;
}

// "_xHHHH", which with an escape behind it would read as one.
bool BeginsLikeEscape(std::string_view text) {
  const std::string_view digits = text.substr(0, 2) == "_x" ? text.substr(2, 4) : "";
  return digits.size() == 4 &&
         digits.find_first_not_of("0123456789abcdefABCDEF") == std::string_view::npos;
}

// How a byte of a value is written; empty where it stands for itself.
std::string_view Written(char c) {
  switch (c) {
    case '&':
      return "&amp;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '\t':
      return "&#9;";
    case '\n':
      return "&#10;";
    case '\r':
      return "&#13;";
    default:
      return static_cast<unsigned char>(c) < ' ' ? kReplacement : std::string_view();
  }
}

// Writes what stands at `at` and gives the bytes that it took.
std::size_t AppendOne(std::string_view value, std::size_t at, std::string* out) {
  const std::string_view three = value.substr(at, 3);
  if (three == "\xEF\xBF\xBE" || three == "\xEF\xBF\xBF") {  // U+FFFE, U+FFFF
    out->append(kReplacement);
    return three.size();
  }
  const std::string_view written = Written(value[at]);
  if (written.empty()) {
    out->push_back(value[at]);
  } else {
    out->append(written);
  }
  return 1;
}

}  // namespace

bool IsDeclaredXml(std::string_view document) {
  constexpr std::string_view kMark = "\xEF\xBB\xBF";
  constexpr std::string_view kStart = "<?xml";
  if (document.substr(0, kMark.size()) == kMark) document.remove_prefix(kMark.size());
  if (document.substr(0, kStart.size()) != kStart) return false;
  const std::string_view behind = document.substr(kStart.size(), 1);
  return !behind.empty() && std::string_view(" \t\r\n").find(behind) != std::string_view::npos;
}

void AppendXmlName(std::string_view name, std::string* out) {
  const std::size_t start = out->size();
  while (!name.empty()) {
    const auto end = utf8::find_invalid(name.begin(), name.end());
    auto at = name.begin();
    while (at != end) {
      const auto from = at;
      const char32_t c = utf8::unchecked::next(at);
      const std::string_view rest = name.substr(static_cast<std::size_t>(from - name.begin()));
      const bool may = out->size() == start ? MayBegin(c) : MayFollow(c);
      if (may && !BeginsLikeEscape(rest)) {
        out->push_back(static_cast<char>(c));
      } else {
        out->append(fmt::format("_x{:0{}X}_", std::uint32_t{c}, c > 0xFFFF ? 6 : 4));
      }
    }
    name.remove_prefix(static_cast<std::size_t>(end - name.begin()));
    if (name.empty()) return;
    out->append("_xFFFD_");
    name.remove_prefix(1);
  }
}

std::string PlainName(std::string_view written) {
  std::string name;
  while (!written.empty()) {
    if (const auto escape = EscapeAt(written)) {
      utf8::unchecked::append(escape->code, std::back_inserter(name));
      written.remove_prefix(escape->length);
    } else {
      name.push_back(written.front());
      written.remove_prefix(1);
    }
  }
  return name;
}

void AppendXmlText(std::string_view value, std::string* out) {
  std::size_t at = 0;
  while (at < value.size()) {
    const bool end = at == 0 || at + 1 == value.size();
    if (end && value[at] == ' ') {
      out->append("&#32;");
      ++at;
    } else {
      at += AppendOne(value, at, out);
    }
  }
}

void AppendXmlAttributeValue(std::string_view value, std::string* out) {
  out->push_back('\'');
  std::size_t at = 0;
  while (at < value.size()) {
    if (value[at] == '\'') {
      out->append("&apos;");
      ++at;
    } else {
      at += AppendOne(value, at, out);
    }
  }
  out->push_back('\'');
}

}  // namespace xv::XMLParse
