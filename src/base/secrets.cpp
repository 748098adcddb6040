#include "base/secrets.h"

#include <algorithm>
#include <iterator>

#include "base/text.h"

namespace xv {
namespace {

constexpr std::string_view kMask = "***";
constexpr std::string_view kSecretNames[] = {
    "password", "passwd",   "pwd",       "passphrase", "secret",         "token",
    "auth",     "headers",  "cookies",   "key",        "access_token",   "authorization",
    "apikey",   "api_key",  "streamkey", "stream_key", "encryption_key", "decryption_key",
    "sig",      "signature"};

bool EndsUrl(char c) { return IsBlank(c) || c == '\'' || c == '"' || c == '<' || c == '>'; }

bool IsNameCharacter(char c) {
  return (AsciiLower(c) >= 'a' && AsciiLower(c) <= 'z') || (c >= '0' && c <= '9') || c == '_' ||
         c == '-' || c == '.';
}

// The password of the authority that begins at `at`: its first byte and the one behind it. Equal
// where there is none.
std::pair<std::size_t, std::size_t> PasswordAt(std::string_view text, std::size_t at) {
  std::size_t end = at;
  while (end < text.size() && !EndsUrl(text[end]) && text[end] != '/' && text[end] != '?' &&
         text[end] != '#') {
    ++end;
  }
  const std::string_view authority = text.substr(at, end - at);
  const std::size_t host = authority.rfind('@');
  const std::size_t colon = authority.find(':');
  if (host == std::string_view::npos || colon == std::string_view::npos || colon > host) {
    return {at, at};
  }
  return {at + colon + 1, at + host};
}

// The same of the value behind the "=" at `at`, where the name ahead of it is a secret's.
std::pair<std::size_t, std::size_t> SecretValueAt(std::string_view text, std::size_t at) {
  std::size_t begin = at;
  while (begin > 0 && IsNameCharacter(text[begin - 1])) --begin;
  if (!IsSecretName(text.substr(begin, at - begin))) return {at + 1, at + 1};
  std::size_t first = at + 1;
  const char quote = first < text.size() ? text[first] : '\0';
  const bool quoted = quote == '\'' || quote == '"';
  if (quoted) ++first;
  std::size_t end = first;
  while (
      end < text.size() &&
      (quoted ? text[end] != quote : !EndsUrl(text[end]) && text[end] != '&' && text[end] != '#')) {
    ++end;
  }
  return {first, end};
}

}  // namespace

bool IsSecretName(std::string_view name) {
  return std::any_of(std::begin(kSecretNames), std::end(kSecretNames),
                     [name](std::string_view word) { return EqualsNoCase(name, word); });
}

std::string MaskSecrets(std::string_view text) {
  std::string shown;
  std::size_t done = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool authority = text.substr(i, 3) == "://";
    if (i < done || (!authority && text[i] != '=')) continue;
    const auto [first, end] = authority ? PasswordAt(text, i + 3) : SecretValueAt(text, i);
    if (first == end) continue;
    shown += text.substr(done, first - done);
    shown += kMask;
    done = end;
  }
  shown += text.substr(done);
  return shown;
}

}  // namespace xv
