#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/colour_simd.cpp"
#include "hwy/foreach_target.h"
// Behind it: what is included for each target.
#include "hwy/highway.h"
#include "kernels/colour_kernels.h"
#include "kernels/colour_plain.h"
#include "kernels/vec-inl.h"

XV_BEFORE_NAMESPACE();
namespace xv {
namespace HWY_NAMESPACE {
#if XV_VECTORS
namespace {

constexpr int kPixels = kVecBytes / 4;  // BGRA pixels of a vector

// The colours of some pixels as words: B and R, G and the fourth byte, which counts for nothing,
// 32 bits for each pixel or group.
struct Words {
  Vec blueRed;
  Vec green;
};

HWY_INLINE Words LoadWords(const std::uint8_t* bgra) {
  const Vec v = Load(bgra);
  return {And(v, Set16(0xFF)), ShiftRightU16<8>(v)};
}
HWY_INLINE Words Sum(const Words& a, const Words& b) {
  return {Add16(a.blueRed, b.blueRed), Add16(a.green, b.green)};
}
// Neighbouring elements of a and b added. From AVX2 on in the order a.low, b.low, a.high, b.high.
HWY_INLINE Words SumPairs(const Words& a, const Words& b) {
  return Sum({Select32<0x88>(a.blueRed, b.blueRed), Select32<0x88>(a.green, b.green)},
             {Select32<0xDD>(a.blueRed, b.blueRed), Select32<0xDD>(a.green, b.green)});
}

// One row of the matrix.
struct Row {
  Row(const std::int16_t f[3], std::int32_t offset)
      : blueRed(Set32(static_cast<std::uint16_t>(f[0]) | static_cast<int>(f[2]) * 65536)),
        green(Set32(static_cast<std::uint16_t>(f[1]))),
        sumOffset(Set32(offset)) {}
  Vec blueRed;
  Vec green;
  Vec sumOffset;

  template <int kShift>
  HWY_INLINE Vec Of(const Words& words) const {
    return ShiftRight32<kShift>(
        AddMulPairs(AddMulPairs(sumOffset, words.blueRed, blueRed), words.green, green));
  }
};

struct ChromaRows {
  ChromaRows(const RgbToYuv& m, int s) : u(m.u, m.ChromaOffset(s)), v(m.v, m.ChromaOffset(s)) {}
  Row u;
  Row v;
  // u and v as words, in the order of the elements of `words`.
  template <int kShift>
  HWY_INLINE Vec Of(const Words& words) const {
    const Vec uv = Or(u.Of<kShift>(words), ShiftLeft32<16>(v.Of<kShift>(words)));
    return Min16(uv, Set16(255));
  }
};

// Bytes u v u v of four vectors of words, split into planes.
HWY_INLINE void StoreUv(const Vec uv[4], std::uint8_t* u, std::uint8_t* v) {
  const Vec first = LaneOrder(PackU8(uv[0], uv[1]));
  const Vec second = LaneOrder(PackU8(uv[2], uv[3]));
  const Vec mask = Set16(0xFF);
  Store(u, LaneOrder(PackU8(And(first, mask), And(second, mask))));
  Store(v, LaneOrder(PackU8(ShiftRightU16<8>(first), ShiftRightU16<8>(second))));
}

template <bool kStream = false>
void RgbLuma(const std::uint8_t* bgra, std::uint8_t* y, int width, const RgbToYuv& m) {
  const Row row(m.y, m.yOffset);
  int x = 0;
  for (; x + kVecBytes <= width; x += kVecBytes) {
    PrefetchAhead<4 * kVecBytes>(bgra + 4 * x);
    Vec luma[4];
    for (int k = 0; k < 4; ++k) luma[k] = row.Of<15>(LoadWords(bgra + 4 * x + k * kVecBytes));
    Put<kStream>(y + x, QuadOrder(PackU8(PackS16(luma[0], luma[1]), PackS16(luma[2], luma[3]))));
  }
  plain::RgbLuma(bgra + 4 * x, y + x, width - x, m);
}

void RgbChroma422(const std::uint8_t* bgra, std::uint8_t* u, std::uint8_t* v, int width,
                  const RgbToYuv& m) {
  const ChromaRows rows(m, 1);
  int x = 0;
  for (; x + 2 * kVecBytes <= width; x += 2 * kVecBytes) {
    Vec uv[4];
    for (int k = 0; k < 4; ++k) {
      const std::uint8_t* at = bgra + 4 * x + 2 * k * kVecBytes;
      uv[k] = LaneOrder(rows.Of<16>(SumPairs(LoadWords(at), LoadWords(at + kVecBytes))));
    }
    StoreUv(uv, u + x / 2, v + x / 2);
  }
  plain::RgbChroma422(bgra + 4 * x, u + x / 2, v + x / 2, width - x, m);
}

// 2 * kVecBytes pixels of row b: stores their luma and gives u and v together with row a.
template <bool kStream>
HWY_INLINE void LumaAndChroma(const std::uint8_t* a, const std::uint8_t* b, std::uint8_t* yb,
                              const Row& row, const ChromaRows& chroma, Vec& u, Vec& v) {
  Vec us[4], vs[4];
  for (int half = 0; half < 2; ++half) {
    PrefetchAhead<4 * kVecBytes>(b + half * 4 * kVecBytes);
    Words words[4];
    Vec luma[4];
    for (int k = 0; k < 4; ++k) {
      const int at = (4 * half + k) * kVecBytes;
      words[k] = LoadWords(b + at);
      luma[k] = row.Of<15>(words[k]);
      words[k] = Sum(words[k], LoadWords(a + at));
    }
    const Vec words16[2] = {PackS16(luma[0], luma[1]), PackS16(luma[2], luma[3])};
    Put<kStream>(yb + half * kVecBytes, QuadOrder(PackU8(words16[0], words16[1])));
    for (int k = 0; k < 2; ++k) {
      const Words sums = SumPairs(words[2 * k], words[2 * k + 1]);
      us[2 * half + k] = chroma.u.Of<17>(sums);
      vs[2 * half + k] = chroma.v.Of<17>(sums);
    }
  }
  u = EighthOrder(PackU8(PackS16(us[0], us[1]), PackS16(us[2], us[3])));
  v = EighthOrder(PackU8(PackS16(vs[0], vs[1]), PackS16(vs[2], vs[3])));
}

// Row a first, then row b with a in the first-level cache: memory is read in one stream. Gives the
// first pixel that is left.
template <bool kStream, class StoreChroma>
HWY_INLINE int RgbRows(const std::uint8_t* a, const std::uint8_t* b, std::uint8_t* ya,
                       std::uint8_t* yb, int width, const RgbToYuv& m, const StoreChroma& store) {
  RgbLuma<kStream>(a, ya, width, m);
  const Row luma(m.y, m.yOffset);
  const ChromaRows chroma(m, 2);
  int x = 0;
  for (; x + 2 * kVecBytes <= width; x += 2 * kVecBytes) {
    Vec u, v;
    LumaAndChroma<kStream>(a + 4 * x, b + 4 * x, yb + x, luma, chroma, u, v);
    store(x, u, v);
  }
  plain::RgbLuma(b + 4 * x, yb + x, width - x, m);
  return x;
}

template <bool kStream>
void RgbTo420(const std::uint8_t* a, const std::uint8_t* b, std::uint8_t* ya, std::uint8_t* yb,
              std::uint8_t* u, std::uint8_t* v, int width, const RgbToYuv& m) {
  const int x = RgbRows<kStream>(a, b, ya, yb, width, m, [=](int at, Vec us, Vec vs) XV_ATTR {
    Put<kStream>(u + at / 2, us);
    Put<kStream>(v + at / 2, vs);
  });
  plain::RgbChroma420(a + 4 * x, b + 4 * x, u + x / 2, v + x / 2, width - x, m);
}

template <bool kStream>
void RgbToNv12(const std::uint8_t* a, const std::uint8_t* b, std::uint8_t* ya, std::uint8_t* yb,
               std::uint8_t* uv, int width, const RgbToYuv& m) {
  const int x = RgbRows<kStream>(a, b, ya, yb, width, m, [=](int at, Vec us, Vec vs) XV_ATTR {
    Vec low = LowBytes(us, vs);
    Vec high = HighBytes(us, vs);
    LanesInOrder(low, high);
    Put<kStream>(uv + at, low);
    Put<kStream>(uv + at + kVecBytes, high);
  });
  plain::RgbChromaNv12(a + 4 * x, b + 4 * x, uv + x, width - x, m);
}

void RgbChroma411(const std::uint8_t* bgra, std::uint8_t* u, std::uint8_t* v, int width,
                  const RgbToYuv& m) {
  const ChromaRows rows(m, 2);
  const auto pairs = [&](const std::uint8_t* at) XV_ATTR {
    const Words sums = SumPairs(LoadWords(at), LoadWords(at + kVecBytes));
    return Words{LaneOrder(sums.blueRed), LaneOrder(sums.green)};
  };
  int x = 0;
  for (; x + 4 * kVecBytes <= width; x += 4 * kVecBytes) {
    Vec uv[4];
    for (int k = 0; k < 4; ++k) {
      const std::uint8_t* at = bgra + 4 * x + 4 * k * kVecBytes;
      uv[k] = LaneOrder(rows.Of<17>(SumPairs(pairs(at), pairs(at + 2 * kVecBytes))));
    }
    StoreUv(uv, u + x / 4, v + x / 4);
  }
  plain::RgbChroma411(bgra + 4 * x, u + x / 4, v + x / 4, width - x, m);
}

template <bool kStream, bool kLumaFirst>
void RgbToPacked(const std::uint8_t* bgra, std::uint8_t* target, int width, const RgbToYuv& m) {
  const Row luma(m.y, m.yOffset);
  const ChromaRows chroma(m, 1);
  int x = 0;
  for (; x + 2 * kPixels <= width; x += 2 * kPixels) {
    PrefetchAhead<2 * kVecBytes>(bgra + 4 * x);
    const Words a = LoadWords(bgra + 4 * x);
    const Words b = LoadWords(bgra + 4 * x + kVecBytes);
    const Vec y = PackS16(luma.Of<15>(a), luma.Of<15>(b));
    const Vec uv = chroma.Of<16>(SumPairs(a, b));
    const Vec group = kLumaFirst ? Or(y, ShiftLeft16<8>(uv)) : Or(uv, ShiftLeft16<8>(y));
    Put<kStream>(target + 2 * x, LaneOrder(group));
  }
  plain::RgbToPacked<kLumaFirst>(bgra + 4 * x, target + 2 * x, width - x, m);
}

// Where the words of a packed group come from: luma twice, chroma into the upper byte.
struct alignas(16) Tables {
  std::uint8_t luma[16];
  std::uint8_t u[16];
  std::uint8_t v[16];
};
template <bool kLumaFirst>
constexpr Tables MakeTables() {
  Tables t{};
  for (int i = 0; i < 8; ++i) {
    const auto luma = static_cast<std::uint8_t>(2 * i + (kLumaFirst ? 0 : 1));
    const auto u = static_cast<std::uint8_t>(4 * (i / 2) + (kLumaFirst ? 1 : 0));
    t.luma[2 * i] = t.luma[2 * i + 1] = luma;
    t.u[2 * i] = t.v[2 * i] = 0x80;
    t.u[2 * i + 1] = u;
    t.v[2 * i + 1] = static_cast<std::uint8_t>(u + 2);
  }
  return t;
}

// Words of blue, green, red from a vector of packed groups.
template <bool kLumaFirst>
class Inverse {
 public:
  Inverse(const YuvToRgb& m, int alpha)
      : tables_(MakeTables<kLumaFirst>()),
        factor_(Set16(m.yFactor)),
        offset_(Set16(m.yOffset)),
        redV_(Set16(m.redV)),
        greenU_(Set16(m.greenU)),
        greenV_(Set16(m.greenV)),
        blueU_(Set16(m.blueU)),
        alpha_(Set16(alpha - 128)) {}

  // The pixels of `packed`: `low` and `high` are in the order of memory within each lane of it.
  HWY_INLINE void Of(Vec packed, Vec& low, Vec& high) const {
    const Vec sign = Set16(0x8000);
    const Vec luma = Shuffle(packed, LoadTable(tables_.luma));
    const Vec u = Xor(Shuffle(packed, LoadTable(tables_.u)), sign);
    const Vec v = Xor(Shuffle(packed, LoadTable(tables_.v)), sign);
    const Vec base = Add16(MulHighU16(luma, factor_), offset_);
    const Vec blue = AddSat16(AddSat16(base, MulRound15(u, blueU_)), u);
    const Vec green = SubSat16(base, Add16(MulRound15(u, greenU_), MulRound15(v, greenV_)));
    const Vec red = AddSat16(base, MulRound15(v, redV_));
    const Vec bytes = Set8(0x80);
    const Vec bg = Xor(PackS8(ShiftRight16<7>(blue), ShiftRight16<7>(green)), bytes);
    const Vec ra = Xor(PackS8(ShiftRight16<7>(red), alpha_), bytes);
    const Vec br = LowBytes(bg, ra);
    const Vec ga = HighBytes(bg, ra);
    low = LowBytes(br, ga);
    high = HighBytes(br, ga);
  }

 private:
  Tables tables_;
  Vec factor_, offset_, redV_, greenU_, greenV_, blueU_, alpha_;
};

template <bool kStream, bool kLumaFirst>
void PackedToRgb(const std::uint8_t* source, std::uint8_t* bgra, int width, int alpha,
                 const YuvToRgb& m) {
  const Inverse<kLumaFirst> inverse(m, alpha);
  int x = 0;
  for (; x + 2 * kPixels <= width; x += 2 * kPixels) {
    PrefetchAhead(source + 2 * x);
    Vec low, high;
    inverse.Of(Load(source + 2 * x), low, high);
    LanesInOrder(low, high);
    Put<kStream>(bgra + 4 * x, low);
    Put<kStream>(bgra + 4 * x + kVecBytes, high);
  }
  plain::PackedToRgb<kLumaFirst>(source + 2 * x, bgra + 4 * x, width - x, alpha, m);
}

template <bool kStream>
void PlanarToRgb(const std::uint8_t* y, const std::uint8_t* u, const std::uint8_t* v,
                 std::uint8_t* bgra, int width, int alpha, const YuvToRgb& m) {
  const Inverse<false> inverse(m, alpha);
  int x = 0;
  for (; x + 2 * kVecBytes <= width; x += 2 * kVecBytes) {
    PrefetchAhead(y + x);
    const Vec us = Load(u + x / 2);
    const Vec vs = Load(v + x / 2);
    Vec uv[2] = {LowBytes(us, vs), HighBytes(us, vs)};
    LanesInOrder(uv[0], uv[1]);
    for (int k = 0; k < 2; ++k) {
      const Vec ys = Load(y + x + k * kVecBytes);
      Vec packed[2] = {LowBytes(uv[k], ys), HighBytes(uv[k], ys)};
      LanesInOrder(packed[0], packed[1]);
      for (int half = 0; half < 2; ++half) {
        Vec low, high;
        inverse.Of(packed[half], low, high);
        LanesInOrder(low, high);
        std::uint8_t* at = bgra + 4 * (x + k * kVecBytes + half * kVecBytes / 2);
        Put<kStream>(at, low);
        Put<kStream>(at + kVecBytes, high);
      }
    }
  }
  plain::PlanarToRgb(y + x, u + x / 2, v + x / 2, bgra + 4 * x, width - x, alpha, m);
}

template <bool kStream>
void HdycToRgb(const std::uint8_t* source, std::uint8_t* bgra, int width, int alpha) {
  // As the tables above, with the byte in the lower half of its word.
  alignas(16) std::uint8_t uTable[16], vTable[16];
  for (int i = 0; i < 8; ++i) {
    uTable[2 * i] = static_cast<std::uint8_t>(4 * (i / 2));
    vTable[2 * i] = static_cast<std::uint8_t>(4 * (i / 2) + 2);
    uTable[2 * i + 1] = vTable[2 * i + 1] = 0x80;
  }
  const Vec uShuffle = LoadTable(uTable);
  const Vec vShuffle = LoadTable(vTable);
  const Vec alphas = Set16(alpha);
  int x = 0;
  for (; x + 2 * kPixels <= width; x += 2 * kPixels) {
    PrefetchAhead(source + 2 * x);
    const Vec packed = Load(source + 2 * x);
    const Vec y = Sub16(ShiftRightU16<8>(packed), Set16(16));
    const Vec cb = Sub16(Shuffle(packed, uShuffle), Set16(128));
    const Vec cr = Sub16(Shuffle(packed, vShuffle), Set16(128));
    // Each sum is split into a multiple of 256 and a rest that fits 16 bits.
    const Vec rest = Mul16(y, Set16(42));
    const Vec redRest = ShiftRight16<8>(Sub16(rest, Mul16(cr, Set16(53))));
    const Vec greenRest =
        ShiftRight16<8>(Add16(Sub16(rest, Mul16(cb, Set16(55))), Mul16(cr, Set16(119))));
    const Vec blueRest = ShiftRight16<8>(Add16(rest, Mul16(cb, Set16(30))));
    const Vec red = Add16(Add16(y, Add16(cr, cr)), redRest);
    const Vec green = Add16(Sub16(y, cr), greenRest);
    const Vec blue = Add16(Add16(y, Add16(cb, cb)), blueRest);
    const Vec bg = PackU8(blue, green);
    const Vec ra = PackU8(red, alphas);
    const Vec br = LowBytes(bg, ra);
    const Vec ga = HighBytes(bg, ra);
    Vec low = LowBytes(br, ga);
    Vec high = HighBytes(br, ga);
    LanesInOrder(low, high);
    Put<kStream>(bgra + 4 * x, low);
    Put<kStream>(bgra + 4 * x + kVecBytes, high);
  }
  plain::HdycToRgb(source + 2 * x, bgra + 4 * x, width - x, alpha);
}

template <bool kLumaFirst>
constexpr auto kToPacked =
    Either<RgbToPacked<false, kLumaFirst>, RgbToPacked<true, kLumaFirst>>::Run;
template <bool kLumaFirst>
constexpr auto kFromPacked =
    Either<PackedToRgb<false, kLumaFirst>, PackedToRgb<true, kLumaFirst>>::Run;

}  // namespace

const ColourKernels kColourTable = {RgbLuma<false>,
                                    RgbChroma422,
                                    RgbChroma411,
                                    Either<RgbTo420<false>, RgbTo420<true>>::Run,
                                    Either<RgbToNv12<false>, RgbToNv12<true>>::Run,
                                    {kToPacked<false>, kToPacked<true>},
                                    {kFromPacked<false>, kFromPacked<true>},
                                    Either<PlanarToRgb<false>, PlanarToRgb<true>>::Run,
                                    Either<HdycToRgb<false>, HdycToRgb<true>>::Run};

#endif  // XV_VECTORS
}  // namespace HWY_NAMESPACE
}  // namespace xv
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace xv {
namespace plain {

const ColourKernels kColourTable = {RgbLuma,
                                    RgbChroma422,
                                    RgbChroma411,
                                    RgbTo420,
                                    RgbToNv12,
                                    {RgbToPacked<false>, RgbToPacked<true>},
                                    {PackedToRgb<false>, PackedToRgb<true>},
                                    PlanarToRgb,
                                    HdycToRgb};

}  // namespace plain

const ColourKernels& ColourKernelsAt(SimdLevel level) {
  return *XV_AT_LEVEL(level, &, kColourTable);
}

}  // namespace xv
#endif
