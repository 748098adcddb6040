#pragma once

#include <string>
#include <string_view>

#include "base/status.h"

// Text: UTF-16 at the interfaces, UTF-8 inside. Comparison without regard to case is ASCII's: every
// keyword of this system is ASCII.
namespace xv {

// Ill-formed input becomes U+FFFD, so that no text of a host can fail here. Null gives "".
std::string Utf8FromUtf16(const char16_t* text);
std::string Utf8FromUtf16(std::u16string_view text);
std::u16string Utf16FromUtf8(std::string_view text);

// Gives `text` as an owned XvString. E_POINTER for a null `out`.
Status GiveString(std::string_view text, char16_t** out);

char AsciiLower(char c);
std::string ToLower(std::string_view text);
bool EqualsNoCase(std::string_view a, std::string_view b);
// The first place of `needle` in `text` without regard to case, or npos.
std::size_t FindNoCase(std::string_view text, std::string_view needle, std::size_t from = 0);

// What attribute text takes for white space: blank, CR, LF, TAB.
bool IsBlank(char c);
std::string_view Trim(std::string_view text);

}  // namespace xv
