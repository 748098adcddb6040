#include "captions/caption_pairs.h"

#include <optional>

namespace xv {
namespace {

constexpr std::uint8_t kCountMask = 0x1F;

constexpr std::uint8_t kValid = 0x04;
constexpr std::uint8_t kTypeMask = 0x03;
constexpr std::uint8_t kField1 = 0;
constexpr std::uint8_t kField2 = 1;

std::uint16_t PairOf(std::span<const std::uint8_t> construct) {
  return static_cast<std::uint16_t>(construct[1] | construct[2] << 8);
}

}  // namespace

std::uint32_t ExtractPairs(std::span<const std::uint8_t> section) {
  if (section.size() < 2) return 0;
  std::optional<std::uint16_t> field1;
  std::optional<std::uint16_t> field2;
  std::size_t left = section[1] & kCountMask;
  for (section = section.subspan(2); left > 0 && section.size() >= 3; --left) {
    if ((section[0] & kValid) != 0) {
      auto& field = (section[0] & kTypeMask) == kField1 ? field1 : field2;
      if (!field) field = PairOf(section);
    }
    if (field1 && field2) break;
    section = section.subspan(3);
  }
  return field1.value_or(0) | std::uint32_t{field2.value_or(0)} << 16;
}

std::vector<std::uint16_t> Field1Pairs(std::span<const std::uint8_t> section) {
  std::vector<std::uint16_t> pairs;
  if (section.size() < 2) return pairs;
  for (section = section.subspan(2); section.size() >= 3; section = section.subspan(3)) {
    const bool field1 = (section[0] & (kValid | kTypeMask)) == (kValid | kField1);
    if (field1) pairs.push_back(PairOf(section));
  }
  return pairs;
}

bool IsNullPair(std::uint16_t pair) { return pair == 0 || pair == 0x8080; }

bool CarriesCaptions(std::span<const std::uint8_t> constructs) {
  for (; constructs.size() >= 3; constructs = constructs.subspan(3)) {
    if ((constructs[0] & kValid) == 0) continue;
    const bool line21 = (constructs[0] & kTypeMask) <= kField2;
    if (!line21 || !IsNullPair(PairOf(constructs))) return true;
  }
  return false;
}

}  // namespace xv
