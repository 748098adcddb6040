#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/packed_simd.cpp"
#include "hwy/foreach_target.h"
// Behind it: what is included for each target.
#include "hwy/highway.h"
#include "kernels/packed_kernels.h"
#include "kernels/packed_plain.h"
#include "kernels/vec-inl.h"

XV_BEFORE_NAMESPACE();
namespace xv {
namespace HWY_NAMESPACE {
#if XV_VECTORS
namespace {

template <bool kLumaFirst>
HWY_INLINE Vec LumaWords(Vec v) {
  if constexpr (kLumaFirst) return And(v, Set16(0xFF));
  return ShiftRightU16<8>(v);
}
template <bool kLumaFirst>
HWY_INLINE Vec ChromaWords(Vec v) {
  return LumaWords<!kLumaFirst>(v);
}

// u and v of 2 * kVecBytes bytes u v u v.
template <bool kStream = false>
HWY_INLINE void SplitUv(Vec first, Vec second, std::uint8_t* u, std::uint8_t* v) {
  const Vec mask = Set16(0xFF);
  Put<kStream>(u, LaneOrder(PackU8(And(first, mask), And(second, mask))));
  Put<kStream>(v, LaneOrder(PackU8(ShiftRightU16<8>(first), ShiftRightU16<8>(second))));
}

template <bool kStream>
void Swizzle4(const std::uint8_t* source, std::uint8_t* target, std::size_t groups,
              const std::uint8_t order[4]) {
  std::uint8_t table[16];
  for (int i = 0; i < 16; ++i) table[i] = static_cast<std::uint8_t>((i & ~3) + order[i & 3]);
  const Vec shuffle = LoadTable(table);
  constexpr std::size_t kStep = kVecBytes / 4;
  std::size_t i = 0;
  for (; i + 2 * kStep <= groups; i += 2 * kStep) {
    PrefetchAhead<2 * kVecBytes>(source + 4 * i);
    const Vec a = Shuffle(Load(source + 4 * i), shuffle);
    const Vec b = Shuffle(Load(source + 4 * i + kVecBytes), shuffle);
    Put<kStream>(target + 4 * i, a);
    Put<kStream>(target + 4 * i + kVecBytes, b);
  }
  plain::Swizzle4(source + 4 * i, target + 4 * i, groups - i, order);
}

template <bool kLumaFirst, bool kStream = false>
void Luma(const std::uint8_t* source, std::uint8_t* y, int width) {
  int i = 0;
  for (; i + kVecBytes <= width; i += kVecBytes) {
    PrefetchAhead<2 * kVecBytes>(source + 2 * i);
    const Vec a = LumaWords<kLumaFirst>(Load(source + 2 * i));
    const Vec b = LumaWords<kLumaFirst>(Load(source + 2 * i + kVecBytes));
    Put<kStream>(y + i, LaneOrder(PackU8(a, b)));
  }
  plain::Luma<kLumaFirst>(source + 2 * i, y + i, width - i);
}

// kVecBytes bytes u v u v of 2 * kVecBytes source bytes at a and b.
template <bool kLumaFirst>
HWY_INLINE Vec AveragedUv(const std::uint8_t* a, const std::uint8_t* b) {
  const Vec first = Average8(Load(a), Load(b));
  const Vec second = Average8(Load(a + kVecBytes), Load(b + kVecBytes));
  return LaneOrder(PackU8(ChromaWords<kLumaFirst>(first), ChromaWords<kLumaFirst>(second)));
}

template <bool kLumaFirst>
void Chroma(const std::uint8_t* a, const std::uint8_t* b, std::uint8_t* u, std::uint8_t* v,
            int pairs) {
  int i = 0;
  for (; i + kVecBytes <= pairs; i += kVecBytes) {
    const Vec first = AveragedUv<kLumaFirst>(a + 4 * i, b + 4 * i);
    const Vec second = AveragedUv<kLumaFirst>(a + 4 * i + 2 * kVecBytes, b + 4 * i + 2 * kVecBytes);
    SplitUv(first, second, u + i, v + i);
  }
  plain::Chroma<kLumaFirst>(a + 4 * i, b + 4 * i, u + i, v + i, pairs - i);
}

template <bool kLumaFirst>
HWY_INLINE Vec Weighted31(const std::uint8_t* a, const std::uint8_t* b) {
  const Vec near = ChromaWords<kLumaFirst>(Load(a));
  const Vec far = ChromaWords<kLumaFirst>(Load(b));
  const Vec sum = Add16(Add16(near, far), Add16(Add16(near, near), Set16(2)));
  return ShiftRightU16<2>(sum);
}

template <bool kLumaFirst>
void Chroma31(const std::uint8_t* a, const std::uint8_t* b, std::uint8_t* u, std::uint8_t* v,
              int pairs) {
  int i = 0;
  for (; i + kVecBytes <= pairs; i += kVecBytes) {
    Vec uv[2];
    for (int k = 0; k < 2; ++k) {
      const int at = 4 * i + k * 2 * kVecBytes;
      uv[k] = LaneOrder(PackU8(Weighted31<kLumaFirst>(a + at, b + at),
                               Weighted31<kLumaFirst>(a + at + kVecBytes, b + at + kVecBytes)));
    }
    SplitUv(uv[0], uv[1], u + i, v + i);
  }
  plain::Chroma31<kLumaFirst>(a + 4 * i, b + 4 * i, u + i, v + i, pairs - i);
}

// kVecBytes pixels of row b: stores their luma and gives u v u v, averaged with row a.
template <bool kLumaFirst, bool kStream>
HWY_INLINE Vec LumaAndUv(const std::uint8_t* a, const std::uint8_t* b, std::uint8_t* yb) {
  const Vec b0 = Load(b), b1 = Load(b + kVecBytes);
  Put<kStream>(yb, LaneOrder(PackU8(LumaWords<kLumaFirst>(b0), LumaWords<kLumaFirst>(b1))));
  return LaneOrder(PackU8(ChromaWords<kLumaFirst>(Average8(Load(a), b0)),
                          ChromaWords<kLumaFirst>(Average8(Load(a + kVecBytes), b1))));
}

// Row a first, then row b with a in the first-level cache: reading both at once from memory is
// slower by a third.
template <bool kStream, bool kLumaFirst>
void To420(const std::uint8_t* a, const std::uint8_t* b, std::uint8_t* ya, std::uint8_t* yb,
           std::uint8_t* u, std::uint8_t* v, int width) {
  Luma<kLumaFirst, kStream>(a, ya, width);
  int x = 0;
  for (; x + 2 * kVecBytes <= width; x += 2 * kVecBytes) {
    PrefetchAhead<4 * kVecBytes>(b + 2 * x);
    Vec uv[2];
    for (int k = 0; k < 2; ++k) {
      const int at = x + k * kVecBytes;
      uv[k] = LumaAndUv<kLumaFirst, kStream>(a + 2 * at, b + 2 * at, yb + at);
    }
    SplitUv<kStream>(uv[0], uv[1], u + x / 2, v + x / 2);
  }
  plain::Luma<kLumaFirst>(b + 2 * x, yb + x, width - x);
  plain::Chroma<kLumaFirst>(a + 2 * x, b + 2 * x, u + x / 2, v + x / 2, (width - x + 1) / 2);
}

template <bool kStream, bool kLumaFirst>
void ToNv12(const std::uint8_t* a, const std::uint8_t* b, std::uint8_t* ya, std::uint8_t* yb,
            std::uint8_t* uv, int width) {
  Luma<kLumaFirst, kStream>(a, ya, width);
  int x = 0;
  for (; x + kVecBytes <= width; x += kVecBytes) {
    PrefetchAhead<2 * kVecBytes>(b + 2 * x);
    Put<kStream>(uv + x, LumaAndUv<kLumaFirst, kStream>(a + 2 * x, b + 2 * x, yb + x));
  }
  plain::Luma<kLumaFirst>(b + 2 * x, yb + x, width - x);
  plain::ChromaNv12<kLumaFirst>(a + 2 * x, b + 2 * x, uv + x, (width - x + 1) / 2);
}

template <bool kLumaFirst>
void Chroma411(const std::uint8_t* source, std::uint8_t* u, std::uint8_t* v, int quads) {
  const Vec mask = Set32(0xFFFF);
  int i = 0;
  for (; i + kVecBytes <= quads; i += kVecBytes) {
    Vec uv[2];
    for (int k = 0; k < 2; ++k) {
      Vec words[2];
      for (int j = 0; j < 2; ++j) {
        // u v u v of 2 pairs in each 32 bits: average the halves.
        const std::uint8_t* at = source + 8 * i + (4 * k + 2 * j) * kVecBytes;
        const Vec both = LaneOrder(PackU8(ChromaWords<kLumaFirst>(Load(at)),
                                          ChromaWords<kLumaFirst>(Load(at + kVecBytes))));
        words[j] = And(Average8(both, ShiftRightU32<16>(both)), mask);
      }
      // 16 bits of each 32 hold u v: signed packing would saturate, so they are moved down by
      // bytes.
      const Vec low = LaneOrder(PackU8(And(words[0], Set32(0xFF)), And(words[1], Set32(0xFF))));
      const Vec high = LaneOrder(PackU8(ShiftRightU32<8>(words[0]), ShiftRightU32<8>(words[1])));
      uv[k] = Or(low, ShiftLeft16<8>(high));
    }
    SplitUv(uv[0], uv[1], u + i, v + i);
  }
  plain::Chroma411<kLumaFirst>(source + 8 * i, u + i, v + i, quads - i);
}

template <bool kStream, bool kLumaFirst>
void Join(const std::uint8_t* y, const std::uint8_t* u, const std::uint8_t* v, std::uint8_t* target,
          int width) {
  int i = 0;
  for (; i + 2 * kVecBytes <= width; i += 2 * kVecBytes) {
    const Vec us = Load(u + i / 2);
    const Vec vs = Load(v + i / 2);
    Vec uv[2] = {LowBytes(us, vs), HighBytes(us, vs)};
    LanesInOrder(uv[0], uv[1]);
    for (int k = 0; k < 2; ++k) {
      const Vec ys = Load(y + i + k * kVecBytes);
      Vec low = kLumaFirst ? LowBytes(ys, uv[k]) : LowBytes(uv[k], ys);
      Vec high = kLumaFirst ? HighBytes(ys, uv[k]) : HighBytes(uv[k], ys);
      LanesInOrder(low, high);
      Put<kStream>(target + 2 * i + 2 * k * kVecBytes, low);
      Put<kStream>(target + 2 * i + 2 * k * kVecBytes + kVecBytes, high);
    }
  }
  plain::Join<kLumaFirst>(y + i, u + i / 2, v + i / 2, target + 2 * i, width - i);
}

void Interleave(const std::uint8_t* u, const std::uint8_t* v, std::uint8_t* uv, int count) {
  int i = 0;
  for (; i + kVecBytes <= count; i += kVecBytes) {
    const Vec us = Load(u + i);
    const Vec vs = Load(v + i);
    Vec low = LowBytes(us, vs);
    Vec high = HighBytes(us, vs);
    LanesInOrder(low, high);
    Store(uv + 2 * i, low);
    Store(uv + 2 * i + kVecBytes, high);
  }
  plain::Interleave(u + i, v + i, uv + 2 * i, count - i);
}

void Deinterleave(const std::uint8_t* uv, std::uint8_t* u, std::uint8_t* v, int count) {
  int i = 0;
  for (; i + kVecBytes <= count; i += kVecBytes) {
    SplitUv(Load(uv + 2 * i), Load(uv + 2 * i + kVecBytes), u + i, v + i);
  }
  plain::Deinterleave(uv + 2 * i, u + i, v + i, count - i);
}

// Words that hold value - 128 in their high bytes.
HWY_INLINE Vec ExpandWords(Vec centred, const plain::RangeStep& step) {
  const Vec gain = MulRound15(centred, Set16(step.factor));
  const Vec sum = Add16(Add16(ShiftRight16<1>(centred), gain), Set16(step.offset));
  return ShiftRight16<7>(sum);
}
HWY_INLINE Vec ExpandBytes(Vec bytes, const plain::RangeStep& step) {
  const Vec sign = Set8(0x80);
  const Vec centred = Xor(bytes, sign);
  const Vec low = ExpandWords(LowBytes(Zero(), centred), step);
  const Vec high = ExpandWords(HighBytes(Zero(), centred), step);
  return Xor(PackS8(low, high), sign);
}

HWY_INLINE void Expand(std::uint8_t* row, int count, const plain::RangeStep& step) {
  int i = 0;
  for (; i + kVecBytes <= count; i += kVecBytes) Store(row + i, ExpandBytes(Load(row + i), step));
  for (; i < count; ++i) row[i] = plain::ExpandSample(row[i], step);
}
void ExpandLuma(std::uint8_t* row, int count) { Expand(row, count, plain::kLumaRange); }
void ExpandChroma(std::uint8_t* row, int count) { Expand(row, count, plain::kChromaRange); }

template <bool kFull, bool kStream>
HWY_INLINE void PutInRange(std::uint8_t* p, Vec bytes, const plain::RangeStep& step) {
  if constexpr (kFull) bytes = ExpandBytes(bytes, step);
  Put<kStream>(p, bytes);
}

// Gives the first pixel that is left.
template <bool kFull, bool kStream, bool kLumaFirst>
HWY_INLINE int To422InRange(const std::uint8_t* source, std::uint8_t* y, std::uint8_t* u,
                            std::uint8_t* v, int width) {
  const Vec mask = Set16(0xFF);
  int x = 0;
  for (; x + 2 * kVecBytes <= width; x += 2 * kVecBytes) {
    PrefetchAhead<4 * kVecBytes>(source + 2 * x);
    Vec uv[2];
    for (int k = 0; k < 2; ++k) {
      const std::uint8_t* at = source + 2 * x + 2 * k * kVecBytes;
      const Vec a = Load(at);
      const Vec b = Load(at + kVecBytes);
      const Vec luma = PackU8(LumaWords<kLumaFirst>(a), LumaWords<kLumaFirst>(b));
      PutInRange<kFull, kStream>(y + x + k * kVecBytes, LaneOrder(luma), plain::kLumaRange);
      uv[k] = LaneOrder(PackU8(ChromaWords<kLumaFirst>(a), ChromaWords<kLumaFirst>(b)));
    }
    const Vec us = LaneOrder(PackU8(And(uv[0], mask), And(uv[1], mask)));
    const Vec vs = LaneOrder(PackU8(ShiftRightU16<8>(uv[0]), ShiftRightU16<8>(uv[1])));
    PutInRange<kFull, kStream>(u + x / 2, us, plain::kChromaRange);
    PutInRange<kFull, kStream>(v + x / 2, vs, plain::kChromaRange);
  }
  return x;
}

template <bool kStream, bool kLumaFirst>
void To422(const std::uint8_t* source, std::uint8_t* y, std::uint8_t* u, std::uint8_t* v, int width,
           bool fullRange) {
  const int x = fullRange ? To422InRange<true, kStream, kLumaFirst>(source, y, u, v, width)
                          : To422InRange<false, kStream, kLumaFirst>(source, y, u, v, width);
  plain::To422<kLumaFirst>(source + 2 * x, y + x, u + x / 2, v + x / 2, width - x, fullRange);
}

template <bool kLumaFirst>
constexpr auto kTo420 = Either<To420<false, kLumaFirst>, To420<true, kLumaFirst>>::Run;
template <bool kLumaFirst>
constexpr auto kToNv12 = Either<ToNv12<false, kLumaFirst>, ToNv12<true, kLumaFirst>>::Run;
template <bool kLumaFirst>
constexpr auto kTo422 = Either<To422<false, kLumaFirst>, To422<true, kLumaFirst>>::Run;
template <bool kLumaFirst>
constexpr auto kJoin = Either<Join<false, kLumaFirst>, Join<true, kLumaFirst>>::Run;

}  // namespace

const PackedKernels kPackedTable = {Either<Swizzle4<false>, Swizzle4<true>>::Run,
                                    {Luma<false>, Luma<true>},
                                    {Chroma<false>, Chroma<true>},
                                    {Chroma31<false>, Chroma31<true>},
                                    {kTo420<false>, kTo420<true>},
                                    {kToNv12<false>, kToNv12<true>},
                                    {kTo422<false>, kTo422<true>},
                                    {Chroma411<false>, Chroma411<true>},
                                    {kJoin<false>, kJoin<true>},
                                    Interleave,
                                    Deinterleave,
                                    ExpandLuma,
                                    ExpandChroma};

#endif  // XV_VECTORS
}  // namespace HWY_NAMESPACE
}  // namespace xv
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace xv {
namespace plain {

const PackedKernels kPackedTable = {Swizzle4,
                                    {Luma<false>, Luma<true>},
                                    {Chroma<false>, Chroma<true>},
                                    {Chroma31<false>, Chroma31<true>},
                                    {To420<false>, To420<true>},
                                    {ToNv12<false>, ToNv12<true>},
                                    {To422<false>, To422<true>},
                                    {Chroma411<false>, Chroma411<true>},
                                    {Join<false>, Join<true>},
                                    Interleave,
                                    Deinterleave,
                                    ExpandLuma,
                                    ExpandChroma};

}  // namespace plain

const PackedKernels& PackedKernelsAt(SimdLevel level) {
  return *XV_AT_LEVEL(level, &, kPackedTable);
}

}  // namespace xv
#endif
