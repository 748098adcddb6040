#pragma once

#include <cstdint>
#include <vector>

#include "kernels/simd_level.h"

namespace xv {

// How a row of samples gets another width: target sample x is
//   (sum over i < taps of weight[i] * source[first[x] + i] + 8192) >> 14, clamped to 0-255.
// Made by MakeRowFilter (picture/row_filter.h). The vectors lay out for kernels what `first` and
// `weights` say; they are filled up to a multiple of kRowFilterPadding targets.
struct RowFilter {
  int sourceWidth = 0;
  int targetWidth = 0;
  int pairs = 0;  // taps, rounded up to even, over 2; no more than the source has, or a pair
  std::vector<std::int32_t> first;
  // Taps 2j and 2j + 1 of target x at [j * step + 2 * x].
  std::vector<std::int16_t> weights;
  std::size_t step = 0;
  // For 4 targets each, where the samples of their first taps lie in 16 bytes from the first of the
  // four on, spread to words. Empty when they lie farther apart.
  std::vector<std::uint8_t> shuffle16;
  // The same for 16 targets and 64 bytes, without the spreading.
  std::vector<std::uint8_t> shuffle64;
};
inline constexpr int kRowFilterPadding = 64;
inline constexpr int kRowFilterBits = 14;

// Samples of 1 byte, and pixels of 4. `slack` is how many bytes behind the source row may be read;
// with kRowFilterSlack of them no sample falls back to plain code. Otherwise the rules of
// packed_kernels.h.
struct ScaleRowKernels {
  void (*scale1)(const RowFilter& filter, const std::uint8_t* source, int slack,
                 std::uint8_t* target);
  void (*scale4)(const RowFilter& filter, const std::uint8_t* source, int slack,
                 std::uint8_t* target);
};
inline constexpr int kRowFilterSlack = 64;

const ScaleRowKernels& ScaleRowKernelsAt(SimdLevel level);
inline const ScaleRowKernels& ScaleRows() { return ScaleRowKernelsAt(ActiveSimdLevel()); }

}  // namespace xv
