#pragma once

#include <cstdint>

#include "kernels/simd_level.h"

namespace xv {

// Rows of 10-bit layouts. v210: 6 pixels of 4:2:2 in 16 bytes, little-endian words of three 10-bit
// samples in the order Cb Y Cr Y Cb Y ... from the low bits up. The same rules as in
// packed_kernels.h.
struct DeepKernels {
  // 8-bit packed rows (index 1: luma first) into (width + 5) / 6 groups; each value lies in the top
  // of its 10 bits. Samples past the row repeat its last pair.
  void (*packV210[2])(const std::uint8_t* source, std::uint8_t* target, int width, Stores stores);
  // Into U Y V Y, rounded: width / 6 groups, then 4 or 2 pixels. An odd pixel is left out.
  void (*unpackV210)(const std::uint8_t* source, std::uint8_t* target, int width, Stores stores);
  // Into planes of 10 bits in 16: `width` luma and (width + 1) / 2 chroma samples.
  void (*planesFromV210)(const std::uint8_t* source, std::uint16_t* y, std::uint16_t* u,
                         std::uint16_t* v, int width);
  // Back, into (width + 5) / 6 groups; the lower 10 bits of each sample count, samples past the row
  // are 0.
  void (*v210FromPlanes)(const std::uint16_t* y, const std::uint16_t* u, const std::uint16_t* v,
                         std::uint8_t* target, int width);
};

const DeepKernels& DeepKernelsAt(SimdLevel level);
inline const DeepKernels& Deep() { return DeepKernelsAt(ActiveSimdLevel()); }

}  // namespace xv
