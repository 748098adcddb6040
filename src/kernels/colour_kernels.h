#pragma once

#include <cstdint>

#include "kernels/colour_matrix.h"
#include "kernels/simd_level.h"

namespace xv {

// Rows of colour conversion. RGB pixels are 4 bytes B, G, R, x. The same rules as in
// packed_kernels.h; `width` may be odd: a pixel that is missing in the last chroma group counts as
// a copy of the last one, and packed 4:2:2 rows hold (width + 1) / 2 groups.
struct ColourKernels {
  void (*luma)(const std::uint8_t* bgra, std::uint8_t* y, int width, const RgbToYuv& m);
  // Chroma of 2x1 and 4x1 pixels.
  void (*chroma422)(const std::uint8_t* bgra, std::uint8_t* u, std::uint8_t* v, int width,
                    const RgbToYuv& m);
  void (*chroma411)(const std::uint8_t* bgra, std::uint8_t* u, std::uint8_t* v, int width,
                    const RgbToYuv& m);
  // Two rows of 4:2:0 at once: luma of rows a and b, chroma of 2x2 pixels. The rows may be the
  // same.
  void (*to420)(const std::uint8_t* a, const std::uint8_t* b, std::uint8_t* ya, std::uint8_t* yb,
                std::uint8_t* u, std::uint8_t* v, int width, const RgbToYuv& m, Stores stores);
  // The same with chroma as U V U V.
  void (*toNv12)(const std::uint8_t* a, const std::uint8_t* b, std::uint8_t* ya, std::uint8_t* yb,
                 std::uint8_t* uv, int width, const RgbToYuv& m, Stores stores);
  // To packed 4:2:2; index 1 has luma first.
  void (*toPacked[2])(const std::uint8_t* bgra, std::uint8_t* target, int width, const RgbToYuv& m,
                      Stores stores);

  // To BGRA with a constant alpha. Chroma is that of the pixel's pair.
  void (*fromPacked[2])(const std::uint8_t* source, std::uint8_t* bgra, int width, int alpha,
                        const YuvToRgb& m, Stores stores);
  void (*fromPlanar)(const std::uint8_t* y, const std::uint8_t* u, const std::uint8_t* v,
                     std::uint8_t* bgra, int width, int alpha, const YuvToRgb& m, Stores stores);
  // The integer inverse of HDYC (U Y V Y): R = 298 Y + 459 Cr, G = 298 Y - 55 Cb - 137 Cr,
  // B = 298 Y + 542 Cb with Y - 16, Cb - 128, Cr - 128; clamped to 0-65535, >> 8.
  void (*fromHdyc)(const std::uint8_t* source, std::uint8_t* bgra, int width, int alpha,
                   Stores stores);
};

const ColourKernels& ColourKernelsAt(SimdLevel level);
inline const ColourKernels& Colour() { return ColourKernelsAt(ActiveSimdLevel()); }

}  // namespace xv
