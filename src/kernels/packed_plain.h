#pragma once

#include <cstddef>
#include <cstdint>

#include "kernels/packed_kernels.h"

// Reference of PackedKernels; the vector variants use it for the rest of a row.
namespace xv::plain {

void Swizzle4(const std::uint8_t* source, std::uint8_t* target, std::size_t groups,
              const std::uint8_t order[4], Stores = Stores::kCached);

template <bool kLumaFirst>
void Luma(const std::uint8_t* source, std::uint8_t* y, int width) {
  for (int i = 0; i < width; ++i) y[i] = source[2 * i + (kLumaFirst ? 0 : 1)];
}

template <bool kLumaFirst>
void Chroma(const std::uint8_t* a, const std::uint8_t* b, std::uint8_t* u, std::uint8_t* v,
            int pairs) {
  constexpr int kAt = kLumaFirst ? 1 : 0;
  for (int i = 0; i < pairs; ++i) {
    u[i] = static_cast<std::uint8_t>((a[4 * i + kAt] + b[4 * i + kAt] + 1) >> 1);
    v[i] = static_cast<std::uint8_t>((a[4 * i + kAt + 2] + b[4 * i + kAt + 2] + 1) >> 1);
  }
}

template <bool kLumaFirst>
void Chroma31(const std::uint8_t* a, const std::uint8_t* b, std::uint8_t* u, std::uint8_t* v,
              int pairs) {
  constexpr int kAt = kLumaFirst ? 1 : 0;
  for (int i = 0; i < pairs; ++i) {
    u[i] = static_cast<std::uint8_t>((3 * a[4 * i + kAt] + b[4 * i + kAt] + 2) >> 2);
    v[i] = static_cast<std::uint8_t>((3 * a[4 * i + kAt + 2] + b[4 * i + kAt + 2] + 2) >> 2);
  }
}

template <bool kLumaFirst>
void To420(const std::uint8_t* a, const std::uint8_t* b, std::uint8_t* ya, std::uint8_t* yb,
           std::uint8_t* u, std::uint8_t* v, int width, Stores = Stores::kCached) {
  Luma<kLumaFirst>(a, ya, width);
  Luma<kLumaFirst>(b, yb, width);
  Chroma<kLumaFirst>(a, b, u, v, (width + 1) / 2);
}

template <bool kLumaFirst>
void ChromaNv12(const std::uint8_t* a, const std::uint8_t* b, std::uint8_t* uv, int pairs) {
  constexpr int kAt = kLumaFirst ? 1 : 0;
  for (int i = 0; i < 2 * pairs; ++i) {
    uv[i] = static_cast<std::uint8_t>((a[2 * i + kAt] + b[2 * i + kAt] + 1) >> 1);
  }
}

template <bool kLumaFirst>
void ToNv12(const std::uint8_t* a, const std::uint8_t* b, std::uint8_t* ya, std::uint8_t* yb,
            std::uint8_t* uv, int width, Stores = Stores::kCached) {
  Luma<kLumaFirst>(a, ya, width);
  Luma<kLumaFirst>(b, yb, width);
  ChromaNv12<kLumaFirst>(a, b, uv, (width + 1) / 2);
}

void ExpandLuma(std::uint8_t* row, int count);
void ExpandChroma(std::uint8_t* row, int count);

template <bool kLumaFirst>
void To422(const std::uint8_t* source, std::uint8_t* y, std::uint8_t* u, std::uint8_t* v, int width,
           bool fullRange, Stores = Stores::kCached) {
  const int pairs = (width + 1) / 2;
  Luma<kLumaFirst>(source, y, width);
  Chroma<kLumaFirst>(source, source, u, v, pairs);
  if (!fullRange) return;
  ExpandLuma(y, width);
  ExpandChroma(u, pairs);
  ExpandChroma(v, pairs);
}

template <bool kLumaFirst>
void Chroma411(const std::uint8_t* source, std::uint8_t* u, std::uint8_t* v, int quads) {
  constexpr int kAt = kLumaFirst ? 1 : 0;
  for (int i = 0; i < quads; ++i) {
    const std::uint8_t* p = source + 8 * i + kAt;
    u[i] = static_cast<std::uint8_t>((p[0] + p[4] + 1) >> 1);
    v[i] = static_cast<std::uint8_t>((p[2] + p[6] + 1) >> 1);
  }
}

template <bool kLumaFirst>
void Join(const std::uint8_t* y, const std::uint8_t* u, const std::uint8_t* v, std::uint8_t* target,
          int width, Stores = Stores::kCached) {
  constexpr int kY = kLumaFirst ? 0 : 1;
  for (int x = 0; x < width; x += 2) {
    std::uint8_t* group = target + 2 * x;
    group[kY] = y[x];
    group[kY + 2] = y[x + 1 < width ? x + 1 : x];
    group[1 - kY] = u[x / 2];
    group[3 - kY] = v[x / 2];
  }
}

void Interleave(const std::uint8_t* u, const std::uint8_t* v, std::uint8_t* uv, int count);
void Deinterleave(const std::uint8_t* uv, std::uint8_t* u, std::uint8_t* v, int count);

// Range expansion in fixed point, the same in vectors: x = value - 128 takes part with 7 fractional
// bits, 128 x + x * factor / 128 + offset, where factor is the gain beyond 1 in 1/16384.
struct RangeStep {
  int factor;
  int offset;  // with half a unit for rounding
};
inline constexpr RangeStep kLumaRange = {2693, 373};   // gain 255/219, 16 goes to 0
inline constexpr RangeStep kChromaRange = {2267, 64};  // gain 255/224

std::uint8_t ExpandSample(std::uint8_t value, const RangeStep& step);

}  // namespace xv::plain
