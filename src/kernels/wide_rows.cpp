#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/wide_rows.cpp"
#include "hwy/foreach_target.h"
// Behind it: what is included for each target.
#include <algorithm>
#include <cstring>

#include "hwy/highway.h"
#include "kernels/vec-inl.h"
#include "kernels/wide_rows.h"

#ifndef XV_WIDE_ROWS_PLAIN
#define XV_WIDE_ROWS_PLAIN
namespace xv::plain {

inline std::int16_t Saturated(int value) {
  return static_cast<std::int16_t>(std::clamp(value, INT16_MIN, INT16_MAX));
}

inline void Widen8(const std::uint8_t* source, std::int16_t* target, int from, int count) {
  for (int x = from; x < count; ++x) {
    target[x] = static_cast<std::int16_t>((source[x] - 128) * 128);
  }
}

inline void Widen10(const std::uint16_t* source, std::int16_t* target, int from, int count) {
  for (int x = from; x < count; ++x) {
    target[x] = static_cast<std::int16_t>(((source[x] & 0x3FF) - 512) * 32);
  }
}

inline void Narrow8(const std::int16_t* source, std::uint8_t* target, int from, int count) {
  for (int x = from; x < count; ++x) {
    const int code = (Saturated(source[x] + 64) >> 7) + 128;
    target[x] = static_cast<std::uint8_t>(std::clamp(code, 0, 255));
  }
}

inline void Narrow10(const std::int16_t* source, std::uint16_t* target, int from, int count) {
  for (int x = from; x < count; ++x) {
    const int code = (Saturated(source[x] + 16) >> 5) + 512;
    target[x] = static_cast<std::uint16_t>(std::clamp(code, 0, 1023));
  }
}

}  // namespace xv::plain
#endif

XV_BEFORE_NAMESPACE();
namespace xv {
namespace HWY_NAMESPACE {
#if XV_VECTORS
namespace {

constexpr int kWords = kVecBytes / 2;
constexpr int kSums = kVecBytes / 4;

// kWords bytes as words.
HWY_INLINE Vec WordsAt(const std::uint8_t* p) {
#if XV_VEC_BYTES == 64
  return _mm512_cvtepu8_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)));
#elif XV_VEC_BYTES == 32
  return _mm256_cvtepu8_epi16(Load128(p));
#else
  return _mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)), Zero());
#endif
}
HWY_INLINE Vec Max16(Vec a, Vec b) { return XV_MM(max_epi16)(a, b); }

void Widen8(const std::uint8_t* source, std::int16_t* target, int count) {
  const Vec middle = Set16(128 * 128);
  int x = 0;
  for (; x + kVecBytes <= count; x += kVecBytes) {
    PrefetchAhead(source + x);
    Store(target + x, Sub16(ShiftLeft16<7>(WordsAt(source + x)), middle));
    Store(target + x + kWords, Sub16(ShiftLeft16<7>(WordsAt(source + x + kWords)), middle));
  }
  plain::Widen8(source, target, x, count);
}

void Widen10(const std::uint16_t* source, std::int16_t* target, int count) {
  const Vec mask = Set16(0x3FF);
  const Vec middle = Set16(512);
  int x = 0;
  for (; x + kWords <= count; x += kWords) {
    Store(target + x, ShiftLeft16<5>(Sub16(And(Load(source + x), mask), middle)));
  }
  plain::Widen10(source, target, x, count);
}

void Narrow8(const std::int16_t* source, std::uint8_t* target, int count) {
  const Vec half = Set16(64);
  const Vec sign = Set8(0x80);
  int x = 0;
  for (; x + kVecBytes <= count; x += kVecBytes) {
    const Vec low = ShiftRight16<7>(AddSat16(Load(source + x), half));
    const Vec high = ShiftRight16<7>(AddSat16(Load(source + x + kWords), half));
    Store(target + x, Xor(LaneOrder(PackS8(low, high)), sign));
  }
  plain::Narrow8(source, target, x, count);
}

void Narrow10(const std::int16_t* source, std::uint16_t* target, int count) {
  const Vec half = Set16(16);
  const Vec middle = Set16(512);
  const Vec top = Set16(1023);
  int x = 0;
  for (; x + kWords <= count; x += kWords) {
    const Vec code = Add16(ShiftRight16<5>(AddSat16(Load(source + x), half)), middle);
    Store(target + x, Min16(Max16(code, Zero()), top));
  }
  plain::Narrow10(source, target, x, count);
}

// `kTaps` of them, weights in registers, or 0 for any number.
template <int kTaps>
void DownBy(const std::int16_t* const* rows, const std::int16_t* weights, int taps,
            std::int16_t* target, int count) {
  constexpr int kVecs = 4;  // of sums at a time
  constexpr int kStep = kVecs * kWords;
  Vec kept[kTaps + 1];
  for (int i = 0; i < kTaps; ++i) kept[i] = Set16(weights[i]);
  const int most = kTaps > 0 ? kTaps : taps;
  for (int x = 0; x < count; x += kStep) {
    Vec sums[kVecs] = {Zero(), Zero(), Zero(), Zero()};
    for (int i = 0; i < most; ++i) {
      const Vec weight = kTaps > 0 ? kept[i] : Set16(weights[i]);
      const std::int16_t* row = rows[i] + x;
      for (int k = 0; k < kVecs; ++k) {
        sums[k] = AddSat16(sums[k], MulRound15(Load(row + k * kWords), weight));
      }
    }
    for (int k = 0; k < kVecs; ++k) Store(target + x + k * kWords, sums[k]);
  }
}

void Down(const std::int16_t* const* rows, const std::int16_t* weights, int taps,
          std::int16_t* target, int count) {
  constexpr decltype(&Down) kRuns[] = {DownBy<0>, DownBy<0>, DownBy<2>, DownBy<3>, DownBy<4>,
                                       DownBy<5>, DownBy<6>, DownBy<7>, DownBy<8>};
  kRuns[taps <= 8 ? taps : 0](rows, weights, taps, target, count);
}

// Two neighbouring samples for each of kSums targets.
#if XV_VEC_BYTES == 64
template <bool kNear>
struct TableOf {
  static bool Can(const RowFilter& filter) {
    return !filter.words64.empty() && filter.near64 == kNear;
  }
  // Out of the 64 samples from the first one of the targets on.
  explicit TableOf(const RowFilter& filter, int x)
      : table(Load(&filter.words64[static_cast<std::size_t>(2 * x)])),
        first(filter.first[static_cast<std::size_t>(x)]) {}
  HWY_INLINE Vec Pairs(const std::int16_t* source) const {
    const std::int16_t* at = source + first;
    if constexpr (kNear) return _mm512_permutexvar_epi16(table, Load(at));
    return _mm512_permutex2var_epi16(Load(at), table, Load(at + kWords));
  }
  Vec table;
  int first;
};
#else
template <bool>
struct TableOf {
  static bool Can(const RowFilter& filter) { return !filter.words16.empty(); }
  // Out of 8 samples from the first one of each lane's targets on.
  explicit TableOf(const RowFilter& filter, int x)
      : table(Load(&filter.words16[static_cast<std::size_t>(4 * x)])),
        first(&filter.first[static_cast<std::size_t>(x)]) {}
  HWY_INLINE Vec Pairs(const std::int16_t* source) const {
    return Shuffle(GatherLanes([=, this](int lane) { return source + first[4 * lane]; }), table);
  }
  Vec table;
  const std::int32_t* first;
};
#endif

// One target after the other, where they lie too far apart for a table.
struct EachOf {
  explicit EachOf(const RowFilter& filter, int x)
      : first(&filter.first[static_cast<std::size_t>(x)]) {}
  HWY_INLINE Vec Pairs(const std::int16_t* source) const {
    alignas(64) std::uint8_t lanes[kVecBytes];
    const auto pair = [&](int i) XV_ATTR {
      std::int32_t both;
      std::memcpy(&both, source + first[i], 4);
      return _mm_cvtsi32_si128(both);
    };
    for (int lane = 0; lane < kVecLanes; ++lane) {
      const __m128i low = _mm_unpacklo_epi32(pair(4 * lane), pair(4 * lane + 1));
      const __m128i high = _mm_unpacklo_epi32(pair(4 * lane + 2), pair(4 * lane + 3));
      Store128(lanes + 16 * lane, _mm_unpacklo_epi64(low, high));
    }
    return Load(lanes);
  }
  const std::int32_t* first;
};

// `kPairs` of taps, or 0 for any number.
template <class Source, int kPairs>
void AcrossBy(const RowFilter& filter, const std::int16_t* source, std::int16_t* target) {
  const int pairs = kPairs > 0 ? kPairs : filter.pairs;
  const std::size_t step = filter.step;
  for (int x = 0; x < filter.targetWidth; x += kWords) {
    const Source low(filter, x);
    const Source high(filter, x + kSums);
    const std::int16_t* weights = &filter.weights[static_cast<std::size_t>(2 * x)];
    Vec lows = Set32(1 << (kRowFilterBits - 1));
    Vec highs = lows;
    for (int j = 0; j < pairs; ++j, weights += step) {
      lows = AddMulPairs(lows, low.Pairs(source + 2 * j), Load(weights));
      highs = AddMulPairs(highs, high.Pairs(source + 2 * j), Load(weights + kWords));
    }
    const Vec words =
        PackS16(ShiftRight32<kRowFilterBits>(lows), ShiftRight32<kRowFilterBits>(highs));
    Store(target + x, LaneOrder(words));
  }
}

template <class Source>
void AcrossOf(const RowFilter& filter, const std::int16_t* source, std::int16_t* target) {
  constexpr decltype(&AcrossBy<Source, 0>) kRuns[] = {
      AcrossBy<Source, 0>, AcrossBy<Source, 1>, AcrossBy<Source, 2>, AcrossBy<Source, 3>,
      AcrossBy<Source, 4>, AcrossBy<Source, 5>, AcrossBy<Source, 6>};
  kRuns[filter.pairs <= 6 ? filter.pairs : 0](filter, source, target);
}

void Across(const RowFilter& filter, const std::int16_t* source, std::int16_t* target) {
  if (TableOf<true>::Can(filter)) {
    AcrossOf<TableOf<true>>(filter, source, target);
  } else if (TableOf<false>::Can(filter)) {
    AcrossOf<TableOf<false>>(filter, source, target);
  } else {
    AcrossBy<EachOf, 0>(filter, source, target);
  }
}

// Sums of kVecLanes pixels.
HWY_INLINE Vec PixelSums(const RowFilter& filter, const std::int16_t* source, int x) {
  // Two neighbouring pixels, channel by channel.
  alignas(16) static constexpr std::uint8_t kTable[16] = {0, 1, 8,  9,  2, 3, 10, 11,
                                                          4, 5, 12, 13, 6, 7, 14, 15};
  const Vec table = LoadTable(kTable);
  const std::int32_t* first = &filter.first[static_cast<std::size_t>(x)];
  const std::int16_t* weights = &filter.weights[static_cast<std::size_t>(2 * x)];
  Vec sums = Set32(1 << (kRowFilterBits - 1));
  for (int j = 0; j < filter.pairs; ++j, weights += filter.step) {
    const std::int16_t* at = source + 8 * j;
    const Vec pixels = GatherLanes([=](int lane) { return at + 4 * first[lane]; });
    sums = AddMulPairs(sums, Shuffle(pixels, table), LaneWeights(weights));
  }
  return ShiftRight32<kRowFilterBits>(sums);
}

void Across4(const RowFilter& filter, const std::int16_t* source, std::int16_t* target) {
  for (int x = 0; x < filter.targetWidth; x += 2 * kVecLanes) {
    const Vec low = PixelSums(filter, source, x);
    const Vec high = PixelSums(filter, source, x + kVecLanes);
    Store(target + 4 * x, LaneOrder(PackS16(low, high)));
  }
}

}  // namespace

const WideKernels kWideTable = {Widen8, Widen10, Narrow8, Narrow10, Down, Across, Across4};

#endif  // XV_VECTORS
}  // namespace HWY_NAMESPACE
}  // namespace xv
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace xv {
namespace plain {
namespace {

template <auto kPart, class From, class To>
void Whole(const From* source, To* target, int count) {
  kPart(source, target, 0, count);
}

void Down(const std::int16_t* const* rows, const std::int16_t* weights, int taps,
          std::int16_t* target, int count) {
  for (int x = 0; x < count; ++x) {
    int sum = 0;
    for (int i = 0; i < taps; ++i) {
      const int product = weights[i] * rows[i][x] + (1 << (kColumnFilterBits - 1));
      sum = Saturated(sum + (product >> kColumnFilterBits));
    }
    target[x] = static_cast<std::int16_t>(sum);
  }
}

template <int kChannels>
void Across(const RowFilter& filter, const std::int16_t* source, std::int16_t* target) {
  for (int x = 0; x < kChannels * filter.targetWidth; ++x) {
    const auto at = static_cast<std::size_t>(x / kChannels);
    int sum = 1 << (kRowFilterBits - 1);
    for (int i = 0; i < 2 * filter.pairs; ++i) {
      const std::size_t pair = static_cast<std::size_t>(i / 2) * filter.step;
      sum += filter.weights[pair + 2 * at + static_cast<std::size_t>(i & 1)] *
             source[kChannels * (filter.first[at] + i) + x % kChannels];
    }
    target[x] = Saturated(sum >> kRowFilterBits);
  }
}

}  // namespace

const WideKernels kWideTable = {Whole<Widen8, std::uint8_t, std::int16_t>,
                                Whole<Widen10, std::uint16_t, std::int16_t>,
                                Whole<Narrow8, std::int16_t, std::uint8_t>,
                                Whole<Narrow10, std::int16_t, std::uint16_t>,
                                Down,
                                Across<1>,
                                Across<4>};

}  // namespace plain

const WideKernels& WideKernelsAt(SimdLevel level) { return *XV_AT_LEVEL(level, &, kWideTable); }

}  // namespace xv
#endif
