#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/deep_simd.cpp"
#include "hwy/foreach_target.h"
// Behind it: what is included for each target.
#include "hwy/highway.h"
#include "kernels/deep_kernels.h"
#include "kernels/deep_plain.h"
#include "kernels/vec-inl.h"

XV_BEFORE_NAMESPACE();
namespace xv {
namespace HWY_NAMESPACE {
#if XV_VECTORS
namespace {

constexpr int kStepPixels = 6 * kVecLanes;
// Vectors of which 12 bytes a lane count are loaded and stored whole: so many pixels of 2 bytes lie
// behind a step's own.
constexpr int kSurplusPixels = 2 * kVecLanes;

// 12 bytes into each lane, one group behind the other in memory.
HWY_INLINE Vec LoadGroups(const std::uint8_t* p) {
#if XV_VEC_BYTES == 64
  return _mm512_permutexvar_epi32(
      _mm512_setr_epi32(0, 1, 2, 2, 3, 4, 5, 5, 6, 7, 8, 8, 9, 10, 11, 11), Load(p));
#elif XV_VEC_BYTES == 32
  return _mm256_permutevar8x32_epi32(Load(p), _mm256_setr_epi32(0, 1, 2, 2, 3, 4, 5, 5));
#else
  return Load(p);
#endif
}
// The lower 12 bytes of each lane, one behind the other; what lies behind them in a vector's width
// is overwritten.
HWY_INLINE void StoreGroups(void* p, Vec v) {
#if XV_VEC_BYTES == 64
  Store(p, _mm512_permutexvar_epi32(
               _mm512_setr_epi32(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, 15, 15, 15, 15), v));
#elif XV_VEC_BYTES == 32
  Store(p, _mm256_permutevar8x32_epi32(v, _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 7, 7)));
#else
  Store(p, v);
#endif
}
#if XV_VEC_BYTES > 16
// 32-bit words of a vector, and those of them in the lower 12 bytes of lanes.
constexpr int kWords = kVecBytes / 4;
constexpr int kFilled = kWords / 4 * 3;

// Where the words of vector i of three come from: words of vector i of four, then of the next one.
struct alignas(kVecBytes) FourGroups {
  std::int32_t from[3][kWords];

  constexpr FourGroups() : from{} {
    for (int i = 0; i < 3; ++i) {
      for (int k = 0; k < kWords; ++k) {
        const int word = i * kWords + k - i * kFilled;
        const int own = word % kFilled;
        from[i][k] = own / 3 * 4 + own % 3 + (word < kFilled ? 0 : kWords);
      }
    }
  }
};
#endif

// The lower 12 bytes of each lane of four vectors, one behind the other: three vectors.
template <bool kStream>
HWY_INLINE void StoreFourGroups(std::uint8_t* p, const Vec v[4]) {
#if XV_VEC_BYTES == 16
  Put<kStream>(p, _mm_or_si128(_mm_slli_si128(v[1], 12), v[0]));
  Put<kStream>(p + 16, _mm_or_si128(_mm_srli_si128(v[1], 4), _mm_slli_si128(v[2], 8)));
  Put<kStream>(p + 32, _mm_or_si128(_mm_srli_si128(v[2], 8), _mm_slli_si128(v[3], 4)));
#else
  static constexpr FourGroups kOrder;
  for (int i = 0; i < 3; ++i) {
    const Vec order = Load(kOrder.from[i]);
#if XV_VEC_BYTES == 64
    Put<kStream>(p + i * kVecBytes, _mm512_permutex2var_epi32(v[i], order, v[i + 1]));
#else
    const Vec second = _mm256_cmpgt_epi32(order, Set32(kWords - 1));
    Put<kStream>(p + i * kVecBytes,
                 _mm256_blendv_epi8(_mm256_permutevar8x32_epi32(v[i], order),
                                    _mm256_permutevar8x32_epi32(v[i + 1], order), second));
#endif
  }
#endif
}

// The lower or upper 8 bytes of each lane.
template <bool kUpper>
HWY_INLINE void StoreHalves(void* p, int apart, Vec v) {
  auto* bytes = static_cast<std::uint8_t*>(p);
  EachLane(v, [=](int i, __m128i lane) XV_ATTR {
    _mm_storel_epi64(reinterpret_cast<__m128i*>(bytes + i * apart),
                     kUpper ? _mm_srli_si128(lane, 8) : lane);
  });
}

// The last groups are the reference's.
template <bool kStream, bool kLumaFirst>
void PackV210(const std::uint8_t* source, std::uint8_t* target, int width) {
  alignas(16) std::uint8_t lowerTable[16], upperTable[16];
  for (int word = 0; word < 4; ++word) {
    const auto at = [&](int k) {
      const int sample = 3 * word + k;
      return static_cast<std::uint8_t>(kLumaFirst ? sample ^ 1 : sample);
    };
    const std::uint8_t lower[4] = {at(0), 0x80, at(1), 0x80};
    const std::uint8_t upper[4] = {0x80, 0x80, at(2), 0x80};
    for (int k = 0; k < 4; ++k) {
      lowerTable[4 * word + k] = lower[k];
      upperTable[4 * word + k] = upper[k];
    }
  }
  const Vec lower = LoadTable(lowerTable);
  const Vec upper = LoadTable(upperTable);
  const Vec places = Set32(4096 << 16 | 4);
  int x = 0;
  for (; x + kStepPixels + kSurplusPixels <= width; x += kStepPixels) {
    PrefetchAhead(source + 2 * x);
    const Vec v = LoadGroups(source + 2 * x);
    const Vec low = MulPairs(Shuffle(v, lower), places);
    const Vec high = ShiftLeft32<6>(Shuffle(v, upper));
    Put<kStream>(target + x / 6 * 16, Or(low, high));
  }
  if (x < width) plain::PackV210<kLumaFirst>(source + 2 * x, target + x / 6 * 16, width - x);
}

// Where sample 0-11 of a group starts: the byte, and the factor that moves it to the top of 16
// bits.
struct Extract {
  alignas(16) std::uint8_t table[16];
  alignas(16) std::int16_t factor[8];

  // `samples[i]` goes to word i; -1 leaves it zero.
  explicit constexpr Extract(const int (&samples)[8]) : table{}, factor{} {
    for (int i = 0; i < 8; ++i) {
      const int sample = samples[i];
      const int byte = sample / 3 * 4 + sample % 3;
      table[2 * i] = static_cast<std::uint8_t>(sample < 0 ? 0x80 : byte);
      table[2 * i + 1] = static_cast<std::uint8_t>(sample < 0 ? 0x80 : byte + 1);
      factor[i] = static_cast<std::int16_t>(sample < 0 ? 0 : 64 >> (2 * (sample % 3)));
    }
  }
  HWY_INLINE Vec Of(Vec groups) const {
    return ShiftRightU16<6>(Mul16(Shuffle(groups, LoadTable(table)), LoadTable(factor)));
  }
};

constexpr Extract kFirstSamples({0, 1, 2, 3, 4, 5, 6, 7});
constexpr Extract kLastSamples({8, 9, 10, 11, -1, -1, -1, -1});

// 8-bit samples of a vector of groups, 12 bytes a lane.
HWY_INLINE Vec Unpacked(const std::uint8_t* groups) {
  const Vec v = Load(groups);
  const Vec half = Set16(2);
  return PackU8(ShiftRightU16<2>(Add16(kFirstSamples.Of(v), half)),
                ShiftRightU16<2>(Add16(kLastSamples.Of(v), half)));
}

template <bool kStream>
void UnpackV210(const std::uint8_t* source, std::uint8_t* target, int width) {
  int x = 0;
  for (; x + 4 * kStepPixels <= width; x += 4 * kStepPixels) {
    const std::uint8_t* at = source + x / 6 * 16;
    PrefetchAhead<4 * kVecBytes>(at);
    const Vec samples[4] = {Unpacked(at), Unpacked(at + kVecBytes), Unpacked(at + 2 * kVecBytes),
                            Unpacked(at + 3 * kVecBytes)};
    StoreFourGroups<kStream>(target + 2 * x, samples);
  }
  for (; x + kStepPixels + kSurplusPixels <= width; x += kStepPixels) {
    StoreGroups(target + 2 * x, Unpacked(source + x / 6 * 16));
  }
  plain::UnpackV210(source + x / 6 * 16, target + 2 * x, width - x);
}

void PlanesFromV210(const std::uint8_t* source, std::uint16_t* y, std::uint16_t* u,
                    std::uint16_t* v, int width) {
  constexpr Extract kLuma({1, 3, 5, 7, 9, 11, -1, -1});
  constexpr Extract kChroma({0, 4, 8, -1, 2, 6, 10, -1});
  int x = 0;
  for (; x + kStepPixels + kSurplusPixels <= width; x += kStepPixels) {
    PrefetchAhead(source + x / 6 * 16);
    const Vec groups = Load(source + x / 6 * 16);
    const Vec chroma = kChroma.Of(groups);
    StoreGroups(y + x, kLuma.Of(groups));
    StoreHalves<false>(u + x / 2, 6, chroma);
    StoreHalves<true>(v + x / 2, 6, chroma);
  }
  plain::PlanesFromV210(source + x / 6 * 16, y + x, u + x / 2, v + x / 2, width - x);
}

// Which of 8 words goes to each word of a lane; -1 leaves it zero.
struct Place {
  alignas(16) std::uint8_t table[16];

  explicit constexpr Place(const int (&words)[8]) : table{} {
    for (int i = 0; i < 16; ++i) {
      table[i] = static_cast<std::uint8_t>(words[i / 2] < 0 ? 0x80 : 2 * words[i / 2] + i % 2);
    }
  }
  HWY_INLINE Vec Of(Vec words) const { return Shuffle(words, LoadTable(table)); }
};

void V210FromPlanes(const std::uint16_t* y, const std::uint16_t* u, const std::uint16_t* v,
                    std::uint8_t* target, int width) {
  // Of each word of 32 bits the lower two samples, and the upper one; chroma is u u u - v v v -.
  constexpr Place kLowLuma({-1, 0, 1, -1, -1, 3, 4, -1});
  constexpr Place kLowChroma({0, -1, -1, 1, 5, -1, -1, 6});
  constexpr Place kHighLuma({-1, -1, 2, -1, -1, -1, 5, -1});
  constexpr Place kHighChroma({4, -1, -1, -1, 2, -1, -1, -1});
  const Vec places = Set32(1 | 1 << 26);
  const Vec mask = Set16(0x3FF);
  const auto half = [](const std::uint16_t* p)
                        XV_ATTR { return _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)); };
  int x = 0;
  for (; x + kStepPixels + kSurplusPixels <= width; x += kStepPixels) {
    const Vec luma = And(GatherLanes([=](int lane) { return y + x + 6 * lane; }), mask);
    alignas(64) std::uint8_t pairs[kVecBytes];
    for (int lane = 0; lane < kVecLanes; ++lane) {
      const int at = x / 2 + 3 * lane;
      Store128(pairs + 16 * lane, _mm_unpacklo_epi64(half(u + at), half(v + at)));
    }
    const Vec chroma = And(Load(pairs), mask);
    const Vec low = MulPairs(Or(kLowLuma.Of(luma), kLowChroma.Of(chroma)), places);
    const Vec high = ShiftLeft32<20>(Or(kHighLuma.Of(luma), kHighChroma.Of(chroma)));
    Store(target + x / 6 * 16, Or(low, high));
  }
  plain::V210FromPlanes(y + x, u + x / 2, v + x / 2, target + x / 6 * 16, width - x);
}

template <bool kLumaFirst>
constexpr auto kPackV210 = Either<PackV210<false, kLumaFirst>, PackV210<true, kLumaFirst>>::Run;

}  // namespace

const DeepKernels kDeepTable = {{kPackV210<false>, kPackV210<true>},
                                Either<UnpackV210<false>, UnpackV210<true>>::Run,
                                PlanesFromV210,
                                V210FromPlanes};

#endif  // XV_VECTORS
}  // namespace HWY_NAMESPACE
}  // namespace xv
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace xv {
namespace plain {

const DeepKernels kDeepTable = {
    {PackV210<false>, PackV210<true>}, UnpackV210, PlanesFromV210, V210FromPlanes};

}  // namespace plain

const DeepKernels& DeepKernelsAt(SimdLevel level) { return *XV_AT_LEVEL(level, &, kDeepTable); }

}  // namespace xv
#endif
