#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "xvwriter/detail/cc_data.hpp"

// Caption bytes inside a caption distribution packet (SMPTE ST 334-2) and in cc data (CEA-708-E,
// 4.4). A pair is the two bytes of CEA-608 that one field carries, the first in the low byte.
namespace xv {

// The first valid pair of field 1 in the low 16 bits; the first valid construct of any other type
// in the high ones. `section` is what detail::CcSection gave; 0 for nothing found.
std::uint32_t ExtractPairs(std::span<const std::uint8_t> section);

// All valid pairs of field 1 in a section, in order; null ones too.
std::vector<std::uint16_t> Field1Pairs(std::span<const std::uint8_t> section);

// No bytes, or the null bytes of CEA-608 with their parity bits.
bool IsNullPair(std::uint16_t pair);

// Whether three-byte constructs hold anything for a viewer: a field pair that is not null, or
// CEA-708 bytes.
bool CarriesCaptions(std::span<const std::uint8_t> constructs);

}  // namespace xv
