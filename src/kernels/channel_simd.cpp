#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/channel_simd.cpp"
#include "hwy/foreach_target.h"
// Behind it: what is included for each target.
#include <algorithm>

#include "hwy/highway.h"
#include "kernels/channel_kernels.h"
#include "kernels/channel_plain.h"
#include "kernels/vec-inl.h"

XV_BEFORE_NAMESPACE();
namespace xv {
namespace HWY_NAMESPACE {
#if XV_VECTORS
namespace {

constexpr int kPixels = kVecBytes / 4;

// Triples of bytes: 4 pixels lie in the lower 12 bytes of 16. Stores of 16 bytes run over what the
// next ones write, loads over what they read, so the last pixels are the reference's.
void DropAlpha(const std::uint8_t* source4, std::uint8_t* target3, int width) {
  const __m128i table = _mm_setr_epi8(0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1);
  int x = 0;
  for (; x + 16 <= width; x += 16) {
    const __m128i a = _mm_shuffle_epi8(Load128(source4 + 4 * x), table);
    const __m128i b = _mm_shuffle_epi8(Load128(source4 + 4 * x + 16), table);
    const __m128i c = _mm_shuffle_epi8(Load128(source4 + 4 * x + 32), table);
    const __m128i d = _mm_shuffle_epi8(Load128(source4 + 4 * x + 48), table);
    Store128(target3 + 3 * x, _mm_or_si128(a, _mm_slli_si128(b, 12)));
    Store128(target3 + 3 * x + 16, _mm_or_si128(_mm_srli_si128(b, 4), _mm_slli_si128(c, 8)));
    Store128(target3 + 3 * x + 32, _mm_or_si128(_mm_srli_si128(c, 8), _mm_slli_si128(d, 4)));
  }
  plain::DropAlpha(source4 + 4 * x, target3 + 3 * x, width - x);
}

void AddAlpha(const std::uint8_t* source3, std::uint8_t* target4, int width, int alpha) {
  const __m128i table = _mm_setr_epi8(0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1);
  const __m128i alphas = _mm_set1_epi32(static_cast<int>(static_cast<unsigned>(alpha) << 24));
  int x = 0;
  for (; x + 16 <= width; x += 16) {
    const __m128i a = Load128(source3 + 3 * x);
    const __m128i b = Load128(source3 + 3 * x + 16);
    const __m128i c = Load128(source3 + 3 * x + 32);
    const __m128i parts[4] = {a, _mm_alignr_epi8(b, a, 12), _mm_alignr_epi8(c, b, 8),
                              _mm_srli_si128(c, 4)};
    for (int i = 0; i < 4; ++i) {
      Store128(target4 + 4 * x + 16 * i, _mm_or_si128(_mm_shuffle_epi8(parts[i], table), alphas));
    }
  }
  plain::AddAlpha(source3 + 3 * x, target4 + 4 * x, width - x, alpha);
}

// 5 pixels of 15 bytes at a time; the 16th byte is put back by the next store.
void Reorder3(const std::uint8_t* source, std::uint8_t* target, int width,
              const std::uint8_t order[3]) {
  alignas(16) std::uint8_t table[16];
  for (int i = 0; i < 15; ++i) table[i] = static_cast<std::uint8_t>(i / 3 * 3 + order[i % 3]);
  table[15] = 15;
  const __m128i shuffle = Load128(table);
  int x = 0;
  for (; x + 6 <= width; x += 5) {
    Store128(target + 3 * x, _mm_shuffle_epi8(Load128(source + 3 * x), shuffle));
  }
  plain::Reorder3(source + 3 * x, target + 3 * x, width - x, order);
}

void SetChannel(std::uint8_t* pixels, int width, int channel, int value) {
  const Vec mask = Set32(static_cast<int>(0xFFu << (8 * channel)));
  const Vec values = And(Set8(value), mask);
  int x = 0;
  for (; x + kPixels <= width; x += kPixels) {
    Store(pixels + 4 * x, Or(AndNot(mask, Load(pixels + 4 * x)), values));
  }
  plain::SetChannel(pixels + 4 * x, width - x, channel, value);
}

void CopyToChannel(const std::uint8_t* plane, std::uint8_t* pixels, int width, int channel) {
  alignas(16) std::uint8_t tables[4][16];
  for (int part = 0; part < 4; ++part) {
    for (int i = 0; i < 16; ++i) {
      tables[part][i] =
          (i & 3) == channel ? static_cast<std::uint8_t>(4 * part + i / 4) : std::uint8_t{0x80};
    }
  }
  const __m128i mask = _mm_set1_epi32(static_cast<int>(0xFFu << (8 * channel)));
  int x = 0;
  for (; x + 16 <= width; x += 16) {
    const __m128i values = Load128(plane + x);
    for (int part = 0; part < 4; ++part) {
      std::uint8_t* at = pixels + 4 * x + 16 * part;
      const __m128i spread = _mm_shuffle_epi8(values, Load128(tables[part]));
      Store128(at, _mm_or_si128(_mm_andnot_si128(mask, Load128(at)), spread));
    }
  }
  plain::CopyToChannel(plane + x, pixels + 4 * x, width - x, channel);
}

// a * b / 255, rounded: (t + (t >> 8)) >> 8 for t = a * b + 128 is t * 257 >> 16.
HWY_INLINE Vec MulOver255(Vec a, Vec b) {
  return MulHighU16(Add16(Mul16(a, b), Set16(128)), Set16(257));
}

void Premultiply(std::uint8_t* pixels, int width) {
  // Alpha itself is multiplied by 255: it stays.
  alignas(16) static constexpr std::uint8_t kAlpha[2][16] = {
      {3, 0x80, 3, 0x80, 3, 0x80, 0x80, 0x80, 7, 0x80, 7, 0x80, 7, 0x80, 0x80, 0x80},
      {11, 0x80, 11, 0x80, 11, 0x80, 0x80, 0x80, 15, 0x80, 15, 0x80, 15, 0x80, 0x80, 0x80}};
  alignas(16) static constexpr std::uint8_t kOpaque[16] = {0, 0, 0, 0, 0, 0, 255, 0,
                                                           0, 0, 0, 0, 0, 0, 255, 0};
  const Vec lowAlpha = LoadTable(kAlpha[0]);
  const Vec highAlpha = LoadTable(kAlpha[1]);
  const Vec opaque = LoadTable(kOpaque);
  int x = 0;
  for (; x + kPixels <= width; x += kPixels) {
    PrefetchAhead(pixels + 4 * x);
    const Vec v = Load(pixels + 4 * x);
    const Vec low = MulOver255(LowBytes(v, Zero()), Or(Shuffle(v, lowAlpha), opaque));
    const Vec high = MulOver255(HighBytes(v, Zero()), Or(Shuffle(v, highAlpha), opaque));
    Store(pixels + 4 * x, PackU8(low, high));
  }
  plain::Premultiply(pixels + 4 * x, width - x);
}

void Blend4(std::uint8_t* row, std::size_t bytes, int keep, const std::uint8_t group[4]) {
  alignas(16) std::uint8_t words[16];
  for (int i = 0; i < 16; ++i) words[i] = (i & 1) != 0 ? std::uint8_t{0} : group[(i / 2) & 3];
  const Vec add = LoadTable(words);
  const Vec factor = Set16(keep);
  std::size_t i = 0;
  for (; i + kVecBytes <= bytes; i += kVecBytes) {
    const Vec v = Load(row + i);
    const Vec low = Add16(ShiftRightU16<7>(Mul16(LowBytes(v, Zero()), factor)), add);
    const Vec high = Add16(ShiftRightU16<7>(Mul16(HighBytes(v, Zero()), factor)), add);
    Store(row + i, PackU8(low, high));
  }
  plain::Blend4(row + i, bytes - i, keep, group);
}

template <int kBytes>
void Reverse(const std::uint8_t* source, std::uint8_t* target, int width) {
  alignas(16) std::uint8_t table[16];
  for (int i = 0; i < 16; ++i) {
    table[i] = static_cast<std::uint8_t>(16 - kBytes - i / kBytes * kBytes + i % kBytes);
  }
  const __m128i shuffle = Load128(table);
  constexpr int kStep = 16 / kBytes;
  int x = 0;
  for (; x + kStep <= width; x += kStep) {
    const std::uint8_t* from = source + kBytes * (width - x - kStep);
    Store128(target + kBytes * x, _mm_shuffle_epi8(Load128(from), shuffle));
  }
  plain::Reverse<kBytes>(source, target + kBytes * x, width - x);
}

HWY_INLINE void Transpose4x4(const std::uint8_t* source, std::ptrdiff_t sourceStep,
                             std::uint8_t* target, std::ptrdiff_t targetStep) {
  const __m128i a = Load128(source);
  const __m128i b = Load128(source + sourceStep);
  const __m128i c = Load128(source + 2 * sourceStep);
  const __m128i d = Load128(source + 3 * sourceStep);
  const __m128i abLow = _mm_unpacklo_epi32(a, b);
  const __m128i cdLow = _mm_unpacklo_epi32(c, d);
  const __m128i abHigh = _mm_unpackhi_epi32(a, b);
  const __m128i cdHigh = _mm_unpackhi_epi32(c, d);
  Store128(target, _mm_unpacklo_epi64(abLow, cdLow));
  Store128(target + targetStep, _mm_unpackhi_epi64(abLow, cdLow));
  Store128(target + 2 * targetStep, _mm_unpacklo_epi64(abHigh, cdHigh));
  Store128(target + 3 * targetStep, _mm_unpackhi_epi64(abHigh, cdHigh));
}

#if XV_VEC_BYTES >= 32
HWY_INLINE void Store256(void* p, __m256i v) { _mm256_storeu_si256(static_cast<__m256i*>(p), v); }
#endif

void Transpose4(const std::uint8_t* source, std::ptrdiff_t sourceStep, std::uint8_t* target,
                std::ptrdiff_t targetStep) {
#if XV_VEC_BYTES >= 32
  // 4x4 blocks as above in each lane, rows 0-3 in the lower and rows 4-7 in the upper one.
  for (int half = 0; half < 2; ++half) {
    __m256i rows[4];
    for (int i = 0; i < 4; ++i) {
      const std::uint8_t* at = source + i * sourceStep + 16 * half;
      rows[i] = _mm256_inserti128_si256(_mm256_castsi128_si256(Load128(at)),
                                        Load128(at + 4 * sourceStep), 1);
    }
    const __m256i abLow = _mm256_unpacklo_epi32(rows[0], rows[1]);
    const __m256i cdLow = _mm256_unpacklo_epi32(rows[2], rows[3]);
    const __m256i abHigh = _mm256_unpackhi_epi32(rows[0], rows[1]);
    const __m256i cdHigh = _mm256_unpackhi_epi32(rows[2], rows[3]);
    std::uint8_t* to = target + 4 * half * targetStep;
    Store256(to, _mm256_unpacklo_epi64(abLow, cdLow));
    Store256(to + targetStep, _mm256_unpackhi_epi64(abLow, cdLow));
    Store256(to + 2 * targetStep, _mm256_unpacklo_epi64(abHigh, cdHigh));
    Store256(to + 3 * targetStep, _mm256_unpackhi_epi64(abHigh, cdHigh));
  }
#else
  for (int y = 0; y < 8; y += 4) {
    for (int x = 0; x < 8; x += 4) {
      Transpose4x4(source + y * sourceStep + 4 * x, sourceStep, target + x * targetStep + 4 * y,
                   targetStep);
    }
  }
#endif
}

void Transpose1(const std::uint8_t* source, std::ptrdiff_t sourceStep, std::uint8_t* target,
                std::ptrdiff_t targetStep) {
  __m128i rows[8];
  for (int i = 0; i < 8; ++i) {
    rows[i] = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(source + i * sourceStep));
  }
  const __m128i a = _mm_unpacklo_epi8(rows[0], rows[1]);
  const __m128i b = _mm_unpacklo_epi8(rows[2], rows[3]);
  const __m128i c = _mm_unpacklo_epi8(rows[4], rows[5]);
  const __m128i d = _mm_unpacklo_epi8(rows[6], rows[7]);
  const __m128i abLow = _mm_unpacklo_epi16(a, b);
  const __m128i abHigh = _mm_unpackhi_epi16(a, b);
  const __m128i cdLow = _mm_unpacklo_epi16(c, d);
  const __m128i cdHigh = _mm_unpackhi_epi16(c, d);
  const __m128i columns[4] = {_mm_unpacklo_epi32(abLow, cdLow), _mm_unpackhi_epi32(abLow, cdLow),
                              _mm_unpacklo_epi32(abHigh, cdHigh),
                              _mm_unpackhi_epi32(abHigh, cdHigh)};
  for (int i = 0; i < 4; ++i) {
    _mm_storel_epi64(reinterpret_cast<__m128i*>(target + 2 * i * targetStep), columns[i]);
    _mm_storel_epi64(reinterpret_cast<__m128i*>(target + (2 * i + 1) * targetStep),
                     _mm_srli_si128(columns[i], 8));
  }
}

void StreamCopy(const std::uint8_t* source, std::uint8_t* target, std::size_t bytes) {
  const auto past = reinterpret_cast<std::uintptr_t>(target) % kVecBytes;
  const std::size_t head = past == 0 ? 0 : std::min<std::size_t>(bytes, kVecBytes - past);
  plain::Copy(source, target, head);
  std::size_t i = head;
  for (; i + 4 * kVecBytes <= bytes; i += 4 * kVecBytes) {
    const Vec a = Load(source + i);
    const Vec b = Load(source + i + kVecBytes);
    const Vec c = Load(source + i + 2 * kVecBytes);
    const Vec d = Load(source + i + 3 * kVecBytes);
    Stream(target + i, a);
    Stream(target + i + kVecBytes, b);
    Stream(target + i + 2 * kVecBytes, c);
    Stream(target + i + 3 * kVecBytes, d);
  }
  for (; i + kVecBytes <= bytes; i += kVecBytes) Stream(target + i, Load(source + i));
  plain::Copy(source + i, target + i, bytes - i);
}

void Fence() { _mm_sfence(); }

}  // namespace

const ChannelKernels kChannelTable = {
    DropAlpha,  AddAlpha,   Reorder3,   SetChannel, CopyToChannel, Premultiply, Blend4,
    Reverse<1>, Reverse<2>, Reverse<4>, Transpose4, Transpose1,    StreamCopy,  Fence};

#endif  // XV_VECTORS
}  // namespace HWY_NAMESPACE
}  // namespace xv
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace xv {
namespace plain {

const ChannelKernels kChannelTable = {
    DropAlpha,  AddAlpha,   Reorder3,   SetChannel,      CopyToChannel,   Premultiply, Blend4,
    Reverse<1>, Reverse<2>, Reverse<4>, Transpose8x8<4>, Transpose8x8<1>, Copy,        NoFence};

}  // namespace plain

const ChannelKernels& ChannelKernelsAt(SimdLevel level) {
  return *XV_AT_LEVEL(level, &, kChannelTable);
}

}  // namespace xv
#endif
