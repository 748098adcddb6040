#pragma once

#include <cstdint>

#include "kernels/scale_row.h"
#include "kernels/simd_level.h"

namespace xv {

// Rows of samples in signed 16 bits, 128 to a code of 8 bits around the middle: what filters make
// of a picture between its source and its target, with room for what overshoots. Wide rows are
// ours: they are worked in whole steps of kWideStep samples, and kWideSlack samples behind `count`
// may be read and written. Narrow rows follow the rules of packed_kernels.h.
struct WideKernels {
  void (*widen8)(const std::uint8_t* source, std::int16_t* target, int count);
  // The lower 10 bits of each word.
  void (*widen10)(const std::uint16_t* source, std::int16_t* target, int count);
  // Rounded and clamped.
  void (*narrow8)(const std::int16_t* source, std::uint8_t* target, int count);
  void (*narrow10)(const std::int16_t* source, std::uint16_t* target, int count);
  // One row of a vertical filter: the sum of (weight[i] * rows[i][x] + 2^14) >> 15, saturated at
  // each step.
  void (*down)(const std::int16_t* const* rows, const std::int16_t* weights, int taps,
               std::int16_t* target, int count);
  // One row of a horizontal filter with its word tables: (sum + 2^13) >> 14, saturated. No target
  // reads more than kWideSlack samples behind the row.
  void (*across)(const RowFilter& filter, const std::int16_t* source, std::int16_t* target);
  // The same for pixels of 4 channels.
  void (*across4)(const RowFilter& filter, const std::int16_t* source, std::int16_t* target);
};
inline constexpr int kWideStep = 32;
inline constexpr int kWideSlack = 128;
inline constexpr int kColumnFilterBits = 15;

const WideKernels& WideKernelsAt(SimdLevel level);
inline const WideKernels& Wide() { return WideKernelsAt(ActiveSimdLevel()); }

}  // namespace xv
