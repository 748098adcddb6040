#pragma once

#include <cstddef>
#include <cstdint>

#include "kernels/simd_level.h"

namespace xv {

// One output row of a vertical filter: (sum of weight[i] * rows[i][x] + rounding) >> 8 for each
// byte. Weights are 0-255 and sum up to at most 256; one tap copies. The same rules as in
// packed_kernels.h.
using FilterRowKernel = void (*)(const std::uint8_t* const* rows, const std::uint8_t* weights,
                                 int taps, int rounding, std::uint8_t* target, std::size_t bytes);

FilterRowKernel FilterRowAt(SimdLevel level);
inline void FilterRow(const std::uint8_t* const* rows, const std::uint8_t* weights, int taps,
                      int rounding, std::uint8_t* target, std::size_t bytes) {
  FilterRowAt(ActiveSimdLevel())(rows, weights, taps, rounding, target, bytes);
}

inline constexpr int kMaxFilterTaps = 12;

}  // namespace xv
