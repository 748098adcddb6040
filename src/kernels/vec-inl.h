// Integer vectors of the target that is being compiled: 64 bytes with AVX-512, 32 with AVX2, 16
// before.
// Included once for each target by Highway's foreach_target.h; operations on bytes and words work
// inside 128-bit lanes, as the processor's do. LaneOrder puts right what packing two vectors has
// put out of order.
#if defined(XV_CONVERT_SIMD_VEC_INL_H_) == defined(HWY_TARGET_TOGGLE)
#ifdef XV_CONVERT_SIMD_VEC_INL_H_
#undef XV_CONVERT_SIMD_VEC_INL_H_
#else
#define XV_CONVERT_SIMD_VEC_INL_H_
#endif

#include <cstdint>

#include "hwy/highway.h"
#include "kernels/simd_level.h"

#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128
#include <immintrin.h>
#endif

// In place of HWY_BEFORE_NAMESPACE and HWY_ATTR (for lambdas): every processor of this target has
// VNNI, which Highway leaves to the caller.
#undef XV_BEFORE_NAMESPACE
#undef XV_ATTR
#if HWY_TARGET == HWY_AVX3_DL
#define XV_BEFORE_NAMESPACE()                       \
  HWY_PUSH_ATTRIBUTES(HWY_TARGET_STR ",avx512vnni") \
  static_assert(true, "For requiring trailing semicolon")
#define XV_ATTR __attribute__((target(HWY_TARGET_STR ",avx512vnni")))
#else
#define XV_BEFORE_NAMESPACE() HWY_BEFORE_NAMESPACE()
#define XV_ATTR HWY_ATTR
#endif

XV_BEFORE_NAMESPACE();
namespace xv {
namespace HWY_NAMESPACE {

// XV_MM(add_epi16) is the intrinsic of that name for vectors of the target, XV_SI(and) the one with
// the vector's own suffix.
#undef XV_VEC_BYTES
#undef XV_VECTORS
#undef XV_MM
#undef XV_SI
#if HWY_TARGET == HWY_AVX3 || HWY_TARGET == HWY_AVX3_DL
#define XV_VEC_BYTES 64
#define XV_MM(op) _mm512_##op
#define XV_SI(op) _mm512_##op##_si512
using Vec = __m512i;
#elif HWY_TARGET == HWY_AVX2
#define XV_VEC_BYTES 32
#define XV_MM(op) _mm256_##op
#define XV_SI(op) _mm256_##op##_si256
using Vec = __m256i;
#elif HWY_TARGET == HWY_SSE4 || HWY_TARGET == HWY_SSSE3
#define XV_VEC_BYTES 16
#define XV_MM(op) _mm_##op
#define XV_SI(op) _mm_##op##_si128
using Vec = __m128i;
#else
#define XV_VEC_BYTES 0
#endif
#define XV_VECTORS (XV_VEC_BYTES > 0)

#if XV_VECTORS

inline constexpr int kVecBytes = static_cast<int>(sizeof(Vec));

HWY_INLINE Vec Load(const void* p) { return XV_SI(loadu)(static_cast<const Vec*>(p)); }
HWY_INLINE void Store(void* p, Vec v) { XV_SI(storeu)(static_cast<Vec*>(p), v); }
// `p` is a multiple of the vector's size.
HWY_INLINE void Stream(void* p, Vec v) { XV_SI(stream)(static_cast<Vec*>(p), v); }
// Store, or Stream past the cache.
template <bool kStream>
HWY_INLINE void Put(void* p, Vec v) {
  if constexpr (kStream) {
    Stream(p, v);
  } else {
    Store(p, v);
  }
}
// One kernel out of its variants with Store and with Stream, chosen by a last argument.
template <auto kCached, auto kStreamed>
struct Either;
template <class... Args, void (*kCached)(Args...), void (*kStreamed)(Args...)>
struct Either<kCached, kStreamed> {
  static void Run(Args... args, Stores stores) {
    (stores == Stores::kStreamed ? kStreamed : kCached)(args...);
  }
};

// Asks for memory ahead of a loop that reads `kBytes` bytes at `p` in each step, row after row. Any
// address is harmless.
template <int kBytes = kVecBytes>
HWY_INLINE void PrefetchAhead(const void* p) {
  constexpr int kAhead = 3072;
  for (int i = 0; i < kBytes; i += 64) {
    _mm_prefetch(static_cast<const char*>(p) + kAhead + i, _MM_HINT_T0);
  }
}
// 16 bytes into each lane.
HWY_INLINE Vec LoadTable(const void* p) {
  const __m128i table = _mm_loadu_si128(static_cast<const __m128i*>(p));
#if XV_VEC_BYTES == 64
  return _mm512_broadcast_i32x4(table);
#elif XV_VEC_BYTES == 32
  return _mm256_broadcastsi128_si256(table);
#else
  return table;
#endif
}
HWY_INLINE Vec Zero() { return XV_SI(setzero)(); }
HWY_INLINE Vec Set8(int v) { return XV_MM(set1_epi8)(static_cast<char>(v)); }
HWY_INLINE Vec Set16(int v) { return XV_MM(set1_epi16)(static_cast<short>(v)); }
HWY_INLINE Vec Set32(int v) { return XV_MM(set1_epi32)(v); }

HWY_INLINE Vec And(Vec a, Vec b) { return XV_SI(and)(a, b); }
HWY_INLINE Vec AndNot(Vec mask, Vec b) { return XV_SI(andnot)(mask, b); }
HWY_INLINE Vec Or(Vec a, Vec b) { return XV_SI(or)(a, b); }
HWY_INLINE Vec Xor(Vec a, Vec b) { return XV_SI(xor)(a, b); }

HWY_INLINE Vec Average8(Vec a, Vec b) { return XV_MM(avg_epu8)(a, b); }
HWY_INLINE Vec Add16(Vec a, Vec b) { return XV_MM(add_epi16)(a, b); }
HWY_INLINE Vec Sub16(Vec a, Vec b) { return XV_MM(sub_epi16)(a, b); }
HWY_INLINE Vec AddSat16(Vec a, Vec b) { return XV_MM(adds_epi16)(a, b); }
HWY_INLINE Vec SubSat16(Vec a, Vec b) { return XV_MM(subs_epi16)(a, b); }
HWY_INLINE Vec Mul16(Vec a, Vec b) { return XV_MM(mullo_epi16)(a, b); }
HWY_INLINE Vec MulHighU16(Vec a, Vec b) { return XV_MM(mulhi_epu16)(a, b); }
// (a * b + 2^14) >> 15 of signed words.
HWY_INLINE Vec MulRound15(Vec a, Vec b) { return XV_MM(mulhrs_epi16)(a, b); }
// Sums of the products of neighbouring signed words, as 32 bits.
HWY_INLINE Vec MulPairs(Vec a, Vec b) { return XV_MM(madd_epi16)(a, b); }
// Those sums, added to `sums`.
HWY_INLINE Vec AddMulPairs(Vec sums, Vec a, Vec b) {
#if HWY_TARGET == HWY_AVX3_DL
  return _mm512_dpwssd_epi32(sums, a, b);
#else
  return XV_MM(add_epi32)(sums, MulPairs(a, b));
#endif
}
// Sums of the products of neighbouring bytes, unsigned by signed, saturated to 16 bits.
HWY_INLINE Vec MulPairs8(Vec a, Vec b) { return XV_MM(maddubs_epi16)(a, b); }
HWY_INLINE Vec Add32(Vec a, Vec b) { return XV_MM(add_epi32)(a, b); }
HWY_INLINE Vec Min16(Vec a, Vec b) { return XV_MM(min_epi16)(a, b); }

template <int kBits>
HWY_INLINE Vec ShiftRightU16(Vec v) {
  return XV_MM(srli_epi16)(v, kBits);
}
template <int kBits>
HWY_INLINE Vec ShiftRight16(Vec v) {
  return XV_MM(srai_epi16)(v, kBits);
}
template <int kBits>
HWY_INLINE Vec ShiftLeft16(Vec v) {
  return XV_MM(slli_epi16)(v, kBits);
}
template <int kBits>
HWY_INLINE Vec ShiftRight32(Vec v) {
  return XV_MM(srai_epi32)(v, kBits);
}
template <int kBits>
HWY_INLINE Vec ShiftRightU32(Vec v) {
  return XV_MM(srli_epi32)(v, kBits);
}
template <int kBits>
HWY_INLINE Vec ShiftLeft32(Vec v) {
  return XV_MM(slli_epi32)(v, kBits);
}

HWY_INLINE Vec PackU8(Vec a, Vec b) { return XV_MM(packus_epi16)(a, b); }
HWY_INLINE Vec PackS8(Vec a, Vec b) { return XV_MM(packs_epi16)(a, b); }
HWY_INLINE Vec PackS16(Vec a, Vec b) { return XV_MM(packs_epi32)(a, b); }
HWY_INLINE Vec LowBytes(Vec a, Vec b) { return XV_MM(unpacklo_epi8)(a, b); }
HWY_INLINE Vec HighBytes(Vec a, Vec b) { return XV_MM(unpackhi_epi8)(a, b); }
HWY_INLINE Vec LowWords(Vec a, Vec b) { return XV_MM(unpacklo_epi16)(a, b); }
HWY_INLINE Vec HighWords(Vec a, Vec b) { return XV_MM(unpackhi_epi16)(a, b); }
HWY_INLINE Vec Shuffle(Vec v, Vec table) { return XV_MM(shuffle_epi8)(v, table); }
// The even (0x88) or odd (0xDD) 32-bit elements of a, then of b.
template <int kSelect>
HWY_INLINE Vec Select32(Vec a, Vec b) {
#if XV_VEC_BYTES == 64
  return _mm512_castps_si512(
      _mm512_shuffle_ps(_mm512_castsi512_ps(a), _mm512_castsi512_ps(b), kSelect));
#elif XV_VEC_BYTES == 32
  return _mm256_castps_si256(
      _mm256_shuffle_ps(_mm256_castsi256_ps(a), _mm256_castsi256_ps(b), kSelect));
#else
  return _mm_castps_si128(_mm_shuffle_ps(_mm_castsi128_ps(a), _mm_castsi128_ps(b), kSelect));
#endif
}

// After packing a and b: the halves of lanes a.0, b.0, a.1, b.1 ... come into the order of memory.
HWY_INLINE Vec LaneOrder(Vec v) {
#if XV_VEC_BYTES == 64
  return _mm512_permutexvar_epi64(_mm512_setr_epi64(0, 2, 4, 6, 1, 3, 5, 7), v);
#elif XV_VEC_BYTES == 32
  return _mm256_permute4x64_epi64(v, 0xD8);
#else
  return v;
#endif
}
// After packing 32 to 8 bits: the quarters of lanes a.0 ... d.0, a.1 ... d.1 and so on come into
// the order of memory.
HWY_INLINE Vec QuadOrder(Vec v) {
#if XV_VEC_BYTES == 64
  return _mm512_permutexvar_epi32(
      _mm512_setr_epi32(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15), v);
#elif XV_VEC_BYTES == 32
  return _mm256_permutevar8x32_epi32(v, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
#else
  return v;
#endif
}
// After packing the results of Select32 from 32 to 8 bits, four vectors of two halves each: the
// eighths a.0, b.0 ... h.0, a.1 ... come into the order of memory.
HWY_INLINE Vec EighthOrder(Vec v) {
#if XV_VEC_BYTES == 64
  alignas(64) static constexpr std::uint16_t kOrder[32] = {
      0, 8,  16, 24, 1, 9,  17, 25, 2, 10, 18, 26, 3, 11, 19, 27,
      4, 12, 20, 28, 5, 13, 21, 29, 6, 14, 22, 30, 7, 15, 23, 31};
  return _mm512_permutexvar_epi16(Load(kOrder), v);
#elif XV_VEC_BYTES == 32
  alignas(16) static constexpr std::uint8_t kOrder[16] = {0, 1, 8,  9,  2, 3, 10, 11,
                                                          4, 5, 12, 13, 6, 7, 14, 15};
  return Shuffle(LaneOrder(v), LoadTable(kOrder));
#else
  return v;
#endif
}
// After interleaving the lower and upper halves of lanes: `low` and `high` come into the order of
// memory.
HWY_INLINE void LanesInOrder(Vec& low, Vec& high) {
#if XV_VEC_BYTES == 64
  const Vec first =
      _mm512_permutex2var_epi64(low, _mm512_setr_epi64(0, 1, 8, 9, 2, 3, 10, 11), high);
  high = _mm512_permutex2var_epi64(low, _mm512_setr_epi64(4, 5, 12, 13, 6, 7, 14, 15), high);
  low = first;
#elif XV_VEC_BYTES == 32
  const Vec first = _mm256_permute2x128_si256(low, high, 0x20);
  high = _mm256_permute2x128_si256(low, high, 0x31);
  low = first;
#else
  static_cast<void>(low);
  static_cast<void>(high);
#endif
}

HWY_INLINE __m128i Load128(const void* p) {
  return _mm_loadu_si128(static_cast<const __m128i*>(p));
}
HWY_INLINE void Store128(void* p, __m128i v) { _mm_storeu_si128(static_cast<__m128i*>(p), v); }

inline constexpr int kVecLanes = kVecBytes / 16;

// Lane i of a vector from the 16 bytes at `at(i)`.
template <class At>
HWY_INLINE Vec GatherLanes(const At& at) {
#if XV_VEC_BYTES == 64
  const __m256i low =
      _mm256_inserti128_si256(_mm256_castsi128_si256(Load128(at(0))), Load128(at(1)), 1);
  const __m256i high =
      _mm256_inserti128_si256(_mm256_castsi128_si256(Load128(at(2))), Load128(at(3)), 1);
  return _mm512_inserti64x4(_mm512_castsi256_si512(low), high, 1);
#elif XV_VEC_BYTES == 32
  return _mm256_inserti128_si256(_mm256_castsi128_si256(Load128(at(0))), Load128(at(1)), 1);
#else
  return Load128(at(0));
#endif
}
// The weights of a pair of taps for kVecLanes targets, one pair to each lane.
HWY_INLINE Vec LaneWeights(const std::int16_t* weights) {
#if XV_VEC_BYTES == 64
  const __m512i spread = _mm512_setr_epi32(0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2, 2, 3, 3, 3, 3);
  return _mm512_permutexvar_epi32(spread, _mm512_castsi128_si512(Load128(weights)));
#elif XV_VEC_BYTES == 32
  const __m128i both = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(weights));
  return _mm256_permutevar8x32_epi32(_mm256_castsi128_si256(both),
                                     _mm256_setr_epi32(0, 0, 0, 0, 1, 1, 1, 1));
#else
  return Set32(static_cast<std::uint16_t>(weights[0]) | static_cast<int>(weights[1]) * 65536);
#endif
}

// Hands the lanes of a vector to `put(i, lane)`, in order.
template <class Do>
HWY_INLINE void EachLane(Vec v, const Do& put) {
#if XV_VEC_BYTES == 64
  put(0, _mm512_castsi512_si128(v));
  put(1, _mm512_extracti64x2_epi64(v, 1));
  put(2, _mm512_extracti64x2_epi64(v, 2));
  put(3, _mm512_extracti64x2_epi64(v, 3));
#elif XV_VEC_BYTES == 32
  put(0, _mm256_castsi256_si128(v));
  put(1, _mm256_extracti128_si256(v, 1));
#else
  put(0, v);
#endif
}

#endif  // XV_VECTORS

}  // namespace HWY_NAMESPACE
}  // namespace xv
HWY_AFTER_NAMESPACE();

#endif
