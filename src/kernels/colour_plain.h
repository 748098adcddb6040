#pragma once

#include <cstdint>

#include "kernels/colour_matrix.h"
#include "kernels/simd_level.h"

// Reference of ColourKernels; the vector variants use it for the rest of a row.
namespace xv::plain {

void RgbLuma(const std::uint8_t* bgra, std::uint8_t* y, int width, const RgbToYuv& m);
void RgbChroma422(const std::uint8_t* bgra, std::uint8_t* u, std::uint8_t* v, int width,
                  const RgbToYuv& m);
void RgbChroma411(const std::uint8_t* bgra, std::uint8_t* u, std::uint8_t* v, int width,
                  const RgbToYuv& m);
template <bool kLumaFirst>
void RgbToPacked(const std::uint8_t* bgra, std::uint8_t* target, int width, const RgbToYuv& m,
                 Stores = Stores::kCached);
void RgbChroma420(const std::uint8_t* a, const std::uint8_t* b, std::uint8_t* u, std::uint8_t* v,
                  int width, const RgbToYuv& m);
void RgbChromaNv12(const std::uint8_t* a, const std::uint8_t* b, std::uint8_t* uv, int width,
                   const RgbToYuv& m);
void RgbTo420(const std::uint8_t* a, const std::uint8_t* b, std::uint8_t* ya, std::uint8_t* yb,
              std::uint8_t* u, std::uint8_t* v, int width, const RgbToYuv& m,
              Stores = Stores::kCached);
void RgbToNv12(const std::uint8_t* a, const std::uint8_t* b, std::uint8_t* ya, std::uint8_t* yb,
               std::uint8_t* uv, int width, const RgbToYuv& m, Stores = Stores::kCached);

template <bool kLumaFirst>
void PackedToRgb(const std::uint8_t* source, std::uint8_t* bgra, int width, int alpha,
                 const YuvToRgb& m, Stores = Stores::kCached);
void PlanarToRgb(const std::uint8_t* y, const std::uint8_t* u, const std::uint8_t* v,
                 std::uint8_t* bgra, int width, int alpha, const YuvToRgb& m,
                 Stores = Stores::kCached);
void HdycToRgb(const std::uint8_t* source, std::uint8_t* bgra, int width, int alpha,
               Stores = Stores::kCached);

}  // namespace xv::plain
