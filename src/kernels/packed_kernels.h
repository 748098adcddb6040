#pragma once

#include <cstddef>
#include <cstdint>

#include "kernels/simd_level.h"

namespace xv {

// Rows of packed 4:2:2: groups of 4 bytes for 2 pixels. `luma first` (index 1) is Y U Y V, as YUY2;
// index 0 is U Y V Y, as UYVY. YVYU is YUY2 with U and V exchanged by the caller.
//
// Everywhere: any alignment, no byte outside the spans is read or written, source and target do not
// overlap unless it says so. Chroma is averaged with halves rounded up.
struct PackedKernels {
  // Permutes each group of 4 bytes: target byte i is source byte order[i]. In place is allowed.
  void (*swizzle4)(const std::uint8_t* source, std::uint8_t* target, std::size_t groups,
                   const std::uint8_t order[4], Stores stores);
  // `width` luma samples.
  void (*luma[2])(const std::uint8_t* source, std::uint8_t* y, int width);
  // Chroma of `pairs` pixel pairs, the average of rows a and b (which may be the same row).
  void (*chroma[2])(const std::uint8_t* a, const std::uint8_t* b, std::uint8_t* u, std::uint8_t* v,
                    int pairs);
  // (3 a + b + 2) / 4: the nearer and the farther row of a field.
  void (*chroma31[2])(const std::uint8_t* a, const std::uint8_t* b, std::uint8_t* u,
                      std::uint8_t* v, int pairs);
  // Two rows of 4:2:0 at once: luma of rows a and b, and the average of their chroma, (width + 1) /
  // 2 samples. The rows may be the same.
  void (*to420[2])(const std::uint8_t* a, const std::uint8_t* b, std::uint8_t* ya, std::uint8_t* yb,
                   std::uint8_t* u, std::uint8_t* v, int width, Stores stores);
  // The same with chroma as U V U V.
  void (*toNv12[2])(const std::uint8_t* a, const std::uint8_t* b, std::uint8_t* ya,
                    std::uint8_t* yb, std::uint8_t* uv, int width, Stores stores);
  // 4:2:2 in planes; `fullRange` stretches video range as expandLuma and expandChroma do.
  void (*to422[2])(const std::uint8_t* source, std::uint8_t* y, std::uint8_t* u, std::uint8_t* v,
                   int width, bool fullRange, Stores stores);
  // The average of two neighbouring pairs: 4:1:1. Reads 8 bytes for each of `quads`.
  void (*chroma411[2])(const std::uint8_t* source, std::uint8_t* u, std::uint8_t* v, int quads);
  // Three planes to packed rows, (width + 1) / 2 groups; an odd row repeats its last luma sample.
  void (*join[2])(const std::uint8_t* y, const std::uint8_t* u, const std::uint8_t* v,
                  std::uint8_t* target, int width, Stores stores);
  // u v u v from two planes.
  void (*interleave)(const std::uint8_t* u, const std::uint8_t* v, std::uint8_t* uv, int count);
  // Two planes from u v u v.
  void (*deinterleave)(const std::uint8_t* uv, std::uint8_t* u, std::uint8_t* v, int count);
  // Video range to full range in place: (x - 16) 255 / 219 for luma, (x - 128) 255 / 224 + 128 for
  // chroma, rounded and clamped.
  void (*expandLuma)(std::uint8_t* row, int count);
  void (*expandChroma)(std::uint8_t* row, int count);
};

const PackedKernels& PackedKernelsAt(SimdLevel level);
inline const PackedKernels& Packed() { return PackedKernelsAt(ActiveSimdLevel()); }

}  // namespace xv
