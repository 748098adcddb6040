#include "kernels/colour_plain.h"

#include <algorithm>

namespace xv::plain {
namespace {

struct Sums {
  int b = 0;
  int g = 0;
  int r = 0;

  void Add(const std::uint8_t* pixel) {
    b += pixel[0];
    g += pixel[1];
    r += pixel[2];
  }
};

int Dot(const std::int16_t factors[3], const Sums& sums) {
  return factors[0] * sums.b + factors[1] * sums.g + factors[2] * sums.r;
}

std::uint8_t Clamp8(int value) { return static_cast<std::uint8_t>(std::clamp(value, 0, 255)); }

std::uint8_t LumaOf(const std::uint8_t* pixel, const RgbToYuv& m) {
  Sums sums;
  sums.Add(pixel);
  return Clamp8((Dot(m.y, sums) + m.yOffset) >> 15);
}

struct Chroma {
  std::uint8_t u;
  std::uint8_t v;
};

// Of 2^s pixels.
Chroma ChromaOf(const Sums& sums, int s, const RgbToYuv& m) {
  return {Clamp8((Dot(m.u, sums) + m.ChromaOffset(s)) >> (15 + s)),
          Clamp8((Dot(m.v, sums) + m.ChromaOffset(s)) >> (15 + s))};
}

// `count` pixels from x on; past the end the last one repeats.
Sums SumOf(const std::uint8_t* bgra, int x, int count, int width) {
  Sums sums;
  for (int i = 0; i < count; ++i) sums.Add(bgra + 4 * std::min(x + i, width - 1));
  return sums;
}

// Chroma of the 2x2 pixels from column x on.
Chroma ChromaOfBlock(const std::uint8_t* a, const std::uint8_t* b, int x, int width,
                     const RgbToYuv& m) {
  Sums sums = SumOf(a, x, 2, width);
  const Sums lower = SumOf(b, x, 2, width);
  sums.b += lower.b;
  sums.g += lower.g;
  sums.r += lower.r;
  return ChromaOf(sums, 2, m);
}

int Saturate16(int value) { return std::clamp(value, -32768, 32767); }
int MulRound15(int a, int b) { return (a * b + (1 << 14)) >> 15; }

void PutRgb(int luma, int u, int v, int alpha, const YuvToRgb& m, std::uint8_t* bgra) {
  const unsigned scaled = static_cast<unsigned>(luma) * 257U * m.yFactor >> 16;
  const int base = static_cast<std::int16_t>(static_cast<int>(scaled) + m.yOffset);
  const int cu = (u - 128) * 256;
  const int cv = (v - 128) * 256;
  const int blue = Saturate16(Saturate16(base + MulRound15(cu, m.blueU)) + cu);
  const int green = Saturate16(base - (MulRound15(cu, m.greenU) + MulRound15(cv, m.greenV)));
  const int red = Saturate16(base + MulRound15(cv, m.redV));
  bgra[0] = Clamp8((blue >> 7) + 128);
  bgra[1] = Clamp8((green >> 7) + 128);
  bgra[2] = Clamp8((red >> 7) + 128);
  bgra[3] = static_cast<std::uint8_t>(alpha);
}

}  // namespace

void RgbLuma(const std::uint8_t* bgra, std::uint8_t* y, int width, const RgbToYuv& m) {
  for (int x = 0; x < width; ++x) y[x] = LumaOf(bgra + 4 * x, m);
}

void RgbChroma422(const std::uint8_t* bgra, std::uint8_t* u, std::uint8_t* v, int width,
                  const RgbToYuv& m) {
  for (int x = 0; x < width; x += 2) {
    const Chroma chroma = ChromaOf(SumOf(bgra, x, 2, width), 1, m);
    u[x / 2] = chroma.u;
    v[x / 2] = chroma.v;
  }
}

void RgbChroma420(const std::uint8_t* a, const std::uint8_t* b, std::uint8_t* u, std::uint8_t* v,
                  int width, const RgbToYuv& m) {
  for (int x = 0; x < width; x += 2) {
    const Chroma chroma = ChromaOfBlock(a, b, x, width, m);
    u[x / 2] = chroma.u;
    v[x / 2] = chroma.v;
  }
}

void RgbChromaNv12(const std::uint8_t* a, const std::uint8_t* b, std::uint8_t* uv, int width,
                   const RgbToYuv& m) {
  for (int x = 0; x < width; x += 2) {
    const Chroma chroma = ChromaOfBlock(a, b, x, width, m);
    uv[x] = chroma.u;
    uv[x + 1] = chroma.v;
  }
}

void RgbTo420(const std::uint8_t* a, const std::uint8_t* b, std::uint8_t* ya, std::uint8_t* yb,
              std::uint8_t* u, std::uint8_t* v, int width, const RgbToYuv& m, Stores) {
  RgbLuma(a, ya, width, m);
  RgbLuma(b, yb, width, m);
  RgbChroma420(a, b, u, v, width, m);
}

void RgbToNv12(const std::uint8_t* a, const std::uint8_t* b, std::uint8_t* ya, std::uint8_t* yb,
               std::uint8_t* uv, int width, const RgbToYuv& m, Stores) {
  RgbLuma(a, ya, width, m);
  RgbLuma(b, yb, width, m);
  RgbChromaNv12(a, b, uv, width, m);
}

void RgbChroma411(const std::uint8_t* bgra, std::uint8_t* u, std::uint8_t* v, int width,
                  const RgbToYuv& m) {
  for (int x = 0; x < width; x += 4) {
    const Chroma chroma = ChromaOf(SumOf(bgra, x, 4, width), 2, m);
    u[x / 4] = chroma.u;
    v[x / 4] = chroma.v;
  }
}

template <bool kLumaFirst>
void RgbToPacked(const std::uint8_t* bgra, std::uint8_t* target, int width, const RgbToYuv& m,
                 Stores) {
  constexpr int kY = kLumaFirst ? 0 : 1;
  for (int x = 0; x < width; x += 2) {
    const Chroma chroma = ChromaOf(SumOf(bgra, x, 2, width), 1, m);
    std::uint8_t* group = target + 2 * x;
    group[kY] = LumaOf(bgra + 4 * x, m);
    group[kY + 2] = LumaOf(bgra + 4 * std::min(x + 1, width - 1), m);
    group[1 - kY] = chroma.u;
    group[3 - kY] = chroma.v;
  }
}
template void RgbToPacked<false>(const std::uint8_t*, std::uint8_t*, int, const RgbToYuv&, Stores);
template void RgbToPacked<true>(const std::uint8_t*, std::uint8_t*, int, const RgbToYuv&, Stores);

template <bool kLumaFirst>
void PackedToRgb(const std::uint8_t* source, std::uint8_t* bgra, int width, int alpha,
                 const YuvToRgb& m, Stores) {
  constexpr int kY = kLumaFirst ? 0 : 1;
  for (int x = 0; x < width; ++x) {
    const std::uint8_t* group = source + 4 * (x / 2);
    PutRgb(group[kY + 2 * (x & 1)], group[1 - kY], group[3 - kY], alpha, m, bgra + 4 * x);
  }
}
template void PackedToRgb<false>(const std::uint8_t*, std::uint8_t*, int, int, const YuvToRgb&,
                                 Stores);
template void PackedToRgb<true>(const std::uint8_t*, std::uint8_t*, int, int, const YuvToRgb&,
                                Stores);

void PlanarToRgb(const std::uint8_t* y, const std::uint8_t* u, const std::uint8_t* v,
                 std::uint8_t* bgra, int width, int alpha, const YuvToRgb& m, Stores) {
  for (int x = 0; x < width; ++x) PutRgb(y[x], u[x / 2], v[x / 2], alpha, m, bgra + 4 * x);
}

void HdycToRgb(const std::uint8_t* source, std::uint8_t* bgra, int width, int alpha, Stores) {
  for (int x = 0; x < width; ++x) {
    const std::uint8_t* group = source + 4 * (x / 2);
    const int y = 298 * (group[1 + 2 * (x & 1)] - 16);
    const int cb = group[0] - 128;
    const int cr = group[2] - 128;
    bgra[4 * x] = static_cast<std::uint8_t>(std::clamp(y + 542 * cb, 0, 65535) >> 8);
    bgra[4 * x + 1] = static_cast<std::uint8_t>(std::clamp(y - 55 * cb - 137 * cr, 0, 65535) >> 8);
    bgra[4 * x + 2] = static_cast<std::uint8_t>(std::clamp(y + 459 * cr, 0, 65535) >> 8);
    bgra[4 * x + 3] = static_cast<std::uint8_t>(alpha);
  }
}

}  // namespace xv::plain
