#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "xvwriter/object.h"

// The text of typed values: how each type is read and written. Readers never fail; text that
// cannot be read gives zero, or what the function names. Everything here is independent of the
// process's locale.
namespace xv {

// A number at the start of a text and where it ended.
struct ParsedNumber {
  double value = 0;
  std::size_t length = 0;  // characters read, leading blanks included; 0 when there is no number
};
struct ParsedInteger {
  std::int64_t value = 0;  // saturated
  std::size_t length = 0;
};
struct ParsedUnsigned {
  std::uint64_t value = 0;  // saturated; a "-" wraps, as in C
  std::size_t length = 0;
};

// The base comes from the text: "0x" 16, a leading "0" 8, else 10. Blanks and a sign may lead.
ParsedInteger ParseInteger(std::string_view text);
ParsedUnsigned ParseUnsigned(std::string_view text);
// Decimal, with an exponent if there is one.
ParsedNumber ParseNumber(std::string_view text);

// True for "1", "true", "yes", "only", "on", "y" in any case and for integers above 0.
bool ReadBool(std::string_view text);
// 0 for "0", "false", "off", "no"; 1 for "1", "true", "yes", "on"; -1 for anything else.
int ReadTriState(std::string_view text);

// "true" reads as 1 wherever the number would be 0. Out of range: the nearest value.
std::int32_t ReadInt(std::string_view text);
std::int64_t ReadInt64(std::string_view text);
std::uint64_t ReadHex64(std::string_view text);
// A "%" right behind the number divides by 100.
double ReadDouble(std::string_view text);
// An integer and one letter behind it: K, M, G, T in either case multiply by powers of 1000. Only
// the integer counts: "1.5M" is 1.
std::int64_t ReadRate(std::string_view text);
// "1920x1080", "16:9": the first integer starts at the first digit, the second right behind one
// separating character. False, with both members untouched, when there is no digit; a text that
// ends with the first integer leaves `second`.
bool ReadPair(std::string_view text, std::int32_t* first, std::int32_t* second);

// Six digits behind the point, of which trailing zeros go, but one.
std::string RenderDouble(double value);
// "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}".
std::string RenderGuid(const Guid& guid);
// The same, in any case and with or without braces. False, with `guid` untouched, for other text.
bool ReadGuid(std::string_view text, Guid* guid);

// The index of `text` in `words` without regard to case, else `defaultIndex`.
int WordIndex(std::string_view text, std::span<const char* const> words, int defaultIndex = -1);
// Split at "," ";" "|" and white space; empty members are left out.
std::vector<std::string> ReadList(std::string_view text);

}  // namespace xv
