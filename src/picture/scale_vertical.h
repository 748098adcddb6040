#pragma once

#include <cstddef>
#include <cstdint>

#include "picture/filter_bank.h"
#include "picture/row_filter.h"

namespace xv {

// The second direction of a scaling that goes down first: each filtered row at once across.
struct Across {
  const RowFilter& filter;
  int sampleBytes;
};

// Scales rows of bytes vertically, in two bands side by side. `widthBytes` bytes of each row are
// made, or with `across` (may be null) what that makes of them; steps in bytes may be negative.
// `fieldFlags` see filter_bank.h.
void ScaleVertical(FilterBank& bank, const std::uint8_t* source, std::uint8_t* target,
                   int sourceHeight, int targetHeight, std::size_t widthBytes,
                   std::ptrdiff_t sourceStep, std::ptrdiff_t targetStep, double sharpness,
                   int fieldFlags, const Across* across = nullptr);

}  // namespace xv
