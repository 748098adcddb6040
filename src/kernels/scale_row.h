#pragma once

#include <cstdint>

#include "kernels/aligned_vector.h"
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
  AlignedVector<std::int32_t> first;
  // Taps 2j and 2j + 1 of target x at [j * step + 2 * x].
  AlignedVector<std::int16_t> weights;
  std::size_t step = 0;
  // For 4 targets each, where the samples of their first taps lie in 16 bytes from the first of the
  // four on, spread to words. Empty when they lie farther apart.
  AlignedVector<std::uint8_t> shuffle16;
  // The same for 16 targets and 64 bytes, without the spreading.
  AlignedVector<std::uint8_t> shuffle64;
  // For samples of 16 bits: bytes of the two first taps of 4 targets each within 8 samples from the
  // first of the four on; and words of 16 targets each within 64 samples, all within 32 where
  // `near64`. Empty when they lie farther apart.
  AlignedVector<std::uint8_t> words16;
  AlignedVector<std::uint16_t> words64;
  bool near64 = false;
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
