// Integer vectors of the target that is being compiled: 32 bytes from AVX2 on, 16 bytes before.
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

#if HWY_TARGET == HWY_AVX2 || HWY_TARGET == HWY_SSSE3
#include <immintrin.h>
#endif

HWY_BEFORE_NAMESPACE();
namespace xv {
namespace HWY_NAMESPACE {

#undef XV_VECTORS
#undef XV_OP
#if HWY_TARGET == HWY_AVX2
#define XV_VECTORS 1
#define XV_OP(avx2, sse) avx2
using Vec = __m256i;
#elif HWY_TARGET == HWY_SSSE3
#define XV_VECTORS 1
#define XV_OP(avx2, sse) sse
using Vec = __m128i;
#else
#define XV_VECTORS 0
#endif

#if XV_VECTORS

inline constexpr int kVecBytes = static_cast<int>(sizeof(Vec));

HWY_INLINE Vec Load(const void* p) {
  return XV_OP(_mm256_loadu_si256, _mm_loadu_si128)(static_cast<const Vec*>(p));
}
HWY_INLINE void Store(void* p, Vec v) {
  XV_OP(_mm256_storeu_si256, _mm_storeu_si128)(static_cast<Vec*>(p), v);
}
// `p` is a multiple of the vector's size.
HWY_INLINE void Stream(void* p, Vec v) {
  XV_OP(_mm256_stream_si256, _mm_stream_si128)(static_cast<Vec*>(p), v);
}
// Asks for memory ahead of a loop that reads `p` onwards, row after row. Any address is harmless.
HWY_INLINE void PrefetchAhead(const void* p) {
  constexpr int kAhead = 1536;
  _mm_prefetch(static_cast<const char*>(p) + kAhead, _MM_HINT_T0);
}
// 16 bytes into each lane.
HWY_INLINE Vec LoadTable(const void* p) {
  const __m128i table = _mm_loadu_si128(static_cast<const __m128i*>(p));
  return XV_OP(_mm256_broadcastsi128_si256(table), table);
}
HWY_INLINE Vec Zero() { return XV_OP(_mm256_setzero_si256, _mm_setzero_si128)(); }
HWY_INLINE Vec Set8(int v) { return XV_OP(_mm256_set1_epi8, _mm_set1_epi8)(static_cast<char>(v)); }
HWY_INLINE Vec Set16(int v) {
  return XV_OP(_mm256_set1_epi16, _mm_set1_epi16)(static_cast<short>(v));
}
HWY_INLINE Vec Set32(int v) { return XV_OP(_mm256_set1_epi32, _mm_set1_epi32)(v); }

HWY_INLINE Vec And(Vec a, Vec b) { return XV_OP(_mm256_and_si256, _mm_and_si128)(a, b); }
HWY_INLINE Vec AndNot(Vec mask, Vec b) {
  return XV_OP(_mm256_andnot_si256, _mm_andnot_si128)(mask, b);
}
HWY_INLINE Vec Or(Vec a, Vec b) { return XV_OP(_mm256_or_si256, _mm_or_si128)(a, b); }
HWY_INLINE Vec Xor(Vec a, Vec b) { return XV_OP(_mm256_xor_si256, _mm_xor_si128)(a, b); }

HWY_INLINE Vec Average8(Vec a, Vec b) { return XV_OP(_mm256_avg_epu8, _mm_avg_epu8)(a, b); }
HWY_INLINE Vec Add16(Vec a, Vec b) { return XV_OP(_mm256_add_epi16, _mm_add_epi16)(a, b); }
HWY_INLINE Vec Sub16(Vec a, Vec b) { return XV_OP(_mm256_sub_epi16, _mm_sub_epi16)(a, b); }
HWY_INLINE Vec AddSat16(Vec a, Vec b) { return XV_OP(_mm256_adds_epi16, _mm_adds_epi16)(a, b); }
HWY_INLINE Vec SubSat16(Vec a, Vec b) { return XV_OP(_mm256_subs_epi16, _mm_subs_epi16)(a, b); }
HWY_INLINE Vec Mul16(Vec a, Vec b) { return XV_OP(_mm256_mullo_epi16, _mm_mullo_epi16)(a, b); }
HWY_INLINE Vec MulHighU16(Vec a, Vec b) { return XV_OP(_mm256_mulhi_epu16, _mm_mulhi_epu16)(a, b); }
// (a * b + 2^14) >> 15 of signed words.
HWY_INLINE Vec MulRound15(Vec a, Vec b) {
  return XV_OP(_mm256_mulhrs_epi16, _mm_mulhrs_epi16)(a, b);
}
// Sums of the products of neighbouring signed words, as 32 bits.
HWY_INLINE Vec MulPairs(Vec a, Vec b) { return XV_OP(_mm256_madd_epi16, _mm_madd_epi16)(a, b); }
// Sums of the products of neighbouring bytes, unsigned by signed, saturated to 16 bits.
HWY_INLINE Vec MulPairs8(Vec a, Vec b) {
  return XV_OP(_mm256_maddubs_epi16, _mm_maddubs_epi16)(a, b);
}
HWY_INLINE Vec Add32(Vec a, Vec b) { return XV_OP(_mm256_add_epi32, _mm_add_epi32)(a, b); }
HWY_INLINE Vec Min16(Vec a, Vec b) { return XV_OP(_mm256_min_epi16, _mm_min_epi16)(a, b); }

template <int kBits>
HWY_INLINE Vec ShiftRightU16(Vec v) {
  return XV_OP(_mm256_srli_epi16, _mm_srli_epi16)(v, kBits);
}
template <int kBits>
HWY_INLINE Vec ShiftRight16(Vec v) {
  return XV_OP(_mm256_srai_epi16, _mm_srai_epi16)(v, kBits);
}
template <int kBits>
HWY_INLINE Vec ShiftLeft16(Vec v) {
  return XV_OP(_mm256_slli_epi16, _mm_slli_epi16)(v, kBits);
}
template <int kBits>
HWY_INLINE Vec ShiftRight32(Vec v) {
  return XV_OP(_mm256_srai_epi32, _mm_srai_epi32)(v, kBits);
}
template <int kBits>
HWY_INLINE Vec ShiftRightU32(Vec v) {
  return XV_OP(_mm256_srli_epi32, _mm_srli_epi32)(v, kBits);
}
template <int kBits>
HWY_INLINE Vec ShiftLeft32(Vec v) {
  return XV_OP(_mm256_slli_epi32, _mm_slli_epi32)(v, kBits);
}

HWY_INLINE Vec PackU8(Vec a, Vec b) { return XV_OP(_mm256_packus_epi16, _mm_packus_epi16)(a, b); }
HWY_INLINE Vec PackS8(Vec a, Vec b) { return XV_OP(_mm256_packs_epi16, _mm_packs_epi16)(a, b); }
HWY_INLINE Vec PackS16(Vec a, Vec b) { return XV_OP(_mm256_packs_epi32, _mm_packs_epi32)(a, b); }
HWY_INLINE Vec LowBytes(Vec a, Vec b) {
  return XV_OP(_mm256_unpacklo_epi8, _mm_unpacklo_epi8)(a, b);
}
HWY_INLINE Vec HighBytes(Vec a, Vec b) {
  return XV_OP(_mm256_unpackhi_epi8, _mm_unpackhi_epi8)(a, b);
}
HWY_INLINE Vec LowWords(Vec a, Vec b) {
  return XV_OP(_mm256_unpacklo_epi16, _mm_unpacklo_epi16)(a, b);
}
HWY_INLINE Vec HighWords(Vec a, Vec b) {
  return XV_OP(_mm256_unpackhi_epi16, _mm_unpackhi_epi16)(a, b);
}
HWY_INLINE Vec Shuffle(Vec v, Vec table) {
  return XV_OP(_mm256_shuffle_epi8, _mm_shuffle_epi8)(v, table);
}
// The even (0x88) or odd (0xDD) 32-bit elements of a, then of b.
template <int kSelect>
HWY_INLINE Vec Select32(Vec a, Vec b) {
#if HWY_TARGET == HWY_AVX2
  return _mm256_castps_si256(
      _mm256_shuffle_ps(_mm256_castsi256_ps(a), _mm256_castsi256_ps(b), kSelect));
#else
  return _mm_castps_si128(_mm_shuffle_ps(_mm_castsi128_ps(a), _mm_castsi128_ps(b), kSelect));
#endif
}

// After packing a and b: the quarters a.low, b.low, a.high, b.high come into the order of memory.
HWY_INLINE Vec LaneOrder(Vec v) { return XV_OP(_mm256_permute4x64_epi64(v, 0xD8), v); }
// After packing 32 to 8 bits: the eighths a.low ... d.low, a.high ... d.high come into the order of
// memory.
HWY_INLINE Vec QuadOrder(Vec v) {
  return XV_OP(_mm256_permutevar8x32_epi32(v, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7)), v);
}
// After interleaving the lower and upper halves of lanes: `low` and `high` come into the order of
// memory.
HWY_INLINE void LanesInOrder(Vec& low, Vec& high) {
#if HWY_TARGET == HWY_AVX2
  const Vec first = _mm256_permute2x128_si256(low, high, 0x20);
  high = _mm256_permute2x128_si256(low, high, 0x31);
  low = first;
#else
  static_cast<void>(low);
  static_cast<void>(high);
#endif
}

#endif  // XV_VECTORS

}  // namespace HWY_NAMESPACE
}  // namespace xv
HWY_AFTER_NAMESPACE();

#endif
