#include <fmt/format.h>

#include <algorithm>

#include "base/text.h"
#include "values/value_syntax.h"

namespace xv {
namespace {

struct CodeName {
  const char* text;
  std::uint32_t code;
};

// First words of the media subtypes without a four-character code, and the BITMAPINFOHEADER
// compressions.
constexpr CodeName kReadNames[] = {
    {"ARGB32", 0x773C9AC0}, {"RGB32", 0xE436EB7E},    {"RGB24", 0xE436EB7D},
    {"RGB8", 0xE436EB7A},   {"ARGB4444", 0x6E6415E6}, {"BI_RGB", 0},
    {"BI_RLE8", 1},         {"BI_RLE4", 2},           {"BI_BITFIELDS", 3},
};
constexpr CodeName kRenderNames[] = {
    {"BI_RGB", 0},
    {"BI_RLE8", 1},
    {"BI_RLE4", 2},
    {"BI_BITFIELDS", 3},
    {"RGB1", 0xE436EB78},
    {"RGB4", 0xE436EB79},
    {"RGB8", 0xE436EB7A},
    {"RGB565", 0xE436EB7B},
    {"RGB555", 0xE436EB7C},
    {"RGB24", 0xE436EB7D},
    {"RGB32", 0xE436EB7E},
    {"ARGB1555", 0x297C55AF},
    {"ARGB4444", 0x6E6415E6},
    {"ARGB32", 0x773C9AC0},
};
// Codes whose four characters have one spelling, whatever the text's case.
constexpr const char* kSpelled[] = {"YUY2", "YVYU", "UYVY", "YV12", "HDYC", "I420",
                                    "Y422", "NV12", "Y444", "v210", "r210", "MJPG"};

std::uint32_t FourCharacters(std::string_view text) {
  std::uint32_t code = 0;
  for (int i = 3; i >= 0; --i) code = code << 8 | static_cast<std::uint8_t>(text[i]);
  return code;
}

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  const char lower = AsciiLower(c);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

}  // namespace

std::uint32_t ReadFourCC(std::string_view text) {
  for (const CodeName& name : kReadNames) {
    if (EqualsNoCase(text, name.text)) return name.code;
  }
  const int spelled = WordIndex(text, kSpelled);
  if (spelled >= 0) return FourCharacters(kSpelled[spelled]);
  return text.size() == 4 ? FourCharacters(text) : 0;
}

std::string RenderFourCC(std::uint32_t code) {
  std::string text;
  for (int shift = 0; shift < 32; shift += 8) text += static_cast<char>(code >> shift & 0xFF);
  const bool printable =
      std::all_of(text.begin(), text.end(), [](char c) { return c >= 0x20 && c <= 0x7E; });
  if (printable) return text;
  for (const CodeName& name : kRenderNames) {
    if (name.code == code) return name.text;
  }
  return fmt::format("0x{:X}", code);
}

std::string RenderHex(std::uint32_t value) { return fmt::format("0x{:08X}", value); }

std::string RenderHex64(std::uint64_t value) { return fmt::format("0x{:016X}", value); }

Guid ReadGuid(std::string_view text) {
  std::uint8_t bytes[16];
  int count = 0;
  for (std::size_t i = 0; i + 1 < text.size() && count < 16;) {
    const int high = HexDigit(text[i]);
    const int low = HexDigit(text[i + 1]);
    if (high < 0 || low < 0) {
      ++i;
      continue;
    }
    bytes[count++] = static_cast<std::uint8_t>(high << 4 | low);
    i += 2;
  }
  if (count < 16) return {};
  Guid guid;
  guid.data1 = std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 |
               std::uint32_t{bytes[2]} << 8 | bytes[3];
  guid.data2 = static_cast<std::uint16_t>(bytes[4] << 8 | bytes[5]);
  guid.data3 = static_cast<std::uint16_t>(bytes[6] << 8 | bytes[7]);
  std::copy(bytes + 8, bytes + 16, guid.data4);
  return guid;
}

std::string RenderGuid(const Guid& guid) {
  const std::uint8_t* d = guid.data4;
  return fmt::format("{{{:08X}-{:04X}-{:04X}-{:02X}{:02X}-{:02X}{:02X}{:02X}{:02X}{:02X}{:02X}}}",
                     guid.data1, guid.data2, guid.data3, d[0], d[1], d[2], d[3], d[4], d[5], d[6],
                     d[7]);
}

}  // namespace xv
