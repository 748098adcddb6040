#include "xvrecord/cea608_text.h"

#include <bit>

namespace xv {
namespace {

// Miscellaneous control codes of channel 1 (CEA-608-E, table 52).
constexpr std::uint8_t kMisc = 0x14;
constexpr std::uint8_t kResumeCaptionLoading = 0x20;
constexpr std::uint8_t kEraseNonDisplayed = 0x2E;
constexpr std::uint8_t kEndOfCaption = 0x2F;

// Preamble address codes: white text from column 0 of the two lowest rows.
constexpr std::uint8_t kRow14 = 0x50;
constexpr std::uint8_t kRow15 = 0x70;

std::uint8_t WithParity(std::uint8_t byte) {
  return std::popcount(byte) % 2 == 0 ? static_cast<std::uint8_t>(byte | 0x80) : byte;
}

// The places of ASCII that hold other letters in CEA-608.
bool IsPlain(char c) {
  constexpr std::string_view kOthers = "*\\^_`{|}~\x7F";
  return c >= ' ' && kOthers.find(c) == std::string_view::npos;
}

std::uint8_t Letter(std::string_view text, std::size_t at) {
  if (at >= text.size()) return 0;
  return static_cast<std::uint8_t>(IsPlain(text[at]) ? text[at] : ' ');
}

}  // namespace

void Cea608Text::Pair(std::uint8_t first, std::uint8_t second) {
  pairs_.push_back(static_cast<std::uint16_t>(WithParity(first) | WithParity(second) << 8));
}

void Cea608Text::Control(std::uint8_t first, std::uint8_t second) {
  Pair(first, second);
  Pair(first, second);
}

void Cea608Text::Row(int row, std::string_view text) {
  text = text.substr(0, kColumns);
  Control(kMisc, row == 14 ? kRow14 : kRow15);
  for (std::size_t i = 0; i < text.size(); i += 2) Pair(Letter(text, i), Letter(text, i + 1));
}

void Cea608Text::Say(std::string_view text) {
  Control(kMisc, kResumeCaptionLoading);
  Control(kMisc, kEraseNonDisplayed);
  const std::size_t end = text.find('\n');
  if (end == std::string_view::npos) {
    Row(15, text);
  } else {
    Row(14, text.substr(0, end));
    Row(15, text.substr(end + 1));
  }
  Control(kMisc, kEndOfCaption);
}

std::uint16_t Cea608Text::NextPair() {
  if (pairs_.empty()) return kNullPair;
  const std::uint16_t pair = pairs_.front();
  pairs_.pop_front();
  return pair;
}

}  // namespace xv
