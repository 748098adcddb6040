#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/scale_row.cpp"
#include "hwy/foreach_target.h"
// Behind it: what is included for each target.
#include <algorithm>

#include "hwy/highway.h"
#include "kernels/scale_row.h"
#include "kernels/vec-inl.h"

#ifndef XV_SCALE_ROW_PLAIN
#define XV_SCALE_ROW_PLAIN
namespace xv::plain {

// Targets [from, targetWidth).
template <int kBytes>
void ScaleRest(const RowFilter& filter, const std::uint8_t* source, int from,
               std::uint8_t* target) {
  for (int x = from; x < filter.targetWidth; ++x) {
    const auto at = static_cast<std::size_t>(x);
    for (int c = 0; c < kBytes; ++c) {
      int sum = 1 << (kRowFilterBits - 1);
      for (int i = 0; i < 2 * filter.pairs; ++i) {
        const int weight =
            filter.weights[static_cast<std::size_t>(i / 2) * filter.step + 2 * at + (i & 1)];
        const int sample = std::min(filter.first[at] + i, filter.sourceWidth - 1);
        sum += weight * source[kBytes * sample + c];
      }
      target[kBytes * x + c] = static_cast<std::uint8_t>(std::clamp(sum >> kRowFilterBits, 0, 255));
    }
  }
}

}  // namespace xv::plain
#endif

XV_BEFORE_NAMESPACE();
namespace xv {
namespace HWY_NAMESPACE {
#if XV_VECTORS
namespace {

constexpr int kSums = kVecBytes / 4;  // sums of 32 bits in a vector

// The targets that can be made in steps of `step` without reading past `readable` samples, when a
// target reads `reach` samples from its first one on.
int SafeTargets(const RowFilter& filter, int step, int reach, int readable) {
  int count = filter.targetWidth / step * step;
  while (count > 0 && filter.first[static_cast<std::size_t>(count) - 1] + reach > readable) {
    count -= step;
  }
  return count;
}

HWY_INLINE Vec Rounding() { return Set32(1 << (kRowFilterBits - 1)); }
HWY_INLINE Vec Shifted(Vec sums) { return ShiftRight32<kRowFilterBits>(sums); }

// Sums of kSums samples.
class Samples {
 public:
  Samples(const RowFilter& filter, const std::uint8_t* source) : filter_(filter), source_(source) {}

#if HWY_TARGET == HWY_AVX3_DL
  static constexpr int kReach = 64;
  static bool Can(const RowFilter& filter) { return !filter.shuffle64.empty(); }
  // All samples of a vector out of one load.
  HWY_INLINE Vec Sums(int x) const {
    const Vec shuffle = Load(&filter_.shuffle64[static_cast<std::size_t>(4 * x)]);
    const std::uint8_t* at = source_ + filter_.first[static_cast<std::size_t>(x)];
    return Sum(x, [&](int j) XV_ATTR {
      return _mm512_maskz_permutexvar_epi8(0x5555555555555555, shuffle, Load(at + 2 * j));
    });
  }
#else
  static constexpr int kReach = 16;
  static bool Can(const RowFilter& filter) { return !filter.shuffle16.empty(); }
  HWY_INLINE Vec Sums(int x) const {
    const Vec shuffle = Load(&filter_.shuffle16[static_cast<std::size_t>(4 * x)]);
    const std::int32_t* first = &filter_.first[static_cast<std::size_t>(x)];
    return Sum(x, [&](int j) XV_ATTR {
      const std::uint8_t* at = source_ + 2 * j;
      return Shuffle(GatherLanes([=](int lane) { return at + first[4 * lane]; }), shuffle);
    });
  }
#endif

 private:
  template <class Words>
  HWY_INLINE Vec Sum(int x, const Words& words) const {
    const std::int16_t* weights = &filter_.weights[static_cast<std::size_t>(2 * x)];
    Vec sums = Rounding();
    for (int j = 0; j < filter_.pairs; ++j, weights += filter_.step) {
      sums = AddMulPairs(sums, words(j), Load(weights));
    }
    return Shifted(sums);
  }

  const RowFilter& filter_;
  const std::uint8_t* source_;
};

void Scale1(const RowFilter& filter, const std::uint8_t* source, int slack, std::uint8_t* target) {
  int x = 0;
  if (Samples::Can(filter)) {
    const int reach = Samples::kReach + 2 * (filter.pairs - 1);
    const int safe = SafeTargets(filter, kSums, reach, filter.sourceWidth + slack);
    const Samples samples(filter, source);
    for (; x + kVecBytes <= safe; x += kVecBytes) {
      const Vec low = PackS16(samples.Sums(x), samples.Sums(x + kSums));
      const Vec high = PackS16(samples.Sums(x + 2 * kSums), samples.Sums(x + 3 * kSums));
      Store(target + x, QuadOrder(PackU8(low, high)));
    }
    for (; x < safe; x += kSums) {
      const Vec words = PackS16(samples.Sums(x), Zero());
      alignas(64) std::uint8_t bytes[kVecBytes];
      Store(bytes, QuadOrder(PackU8(words, Zero())));
      std::copy_n(bytes, kSums, target + x);
    }
  }
  plain::ScaleRest<1>(filter, source, x, target);
}

// Sums of kVecLanes pixels.
HWY_INLINE Vec PixelSums(const RowFilter& filter, const std::uint8_t* source, int x) {
  // Two neighbouring pixels, channel by channel, as words.
  alignas(16) static constexpr std::uint8_t kTable[16] = {0, 0x80, 4, 0x80, 1, 0x80, 5, 0x80,
                                                          2, 0x80, 6, 0x80, 3, 0x80, 7, 0x80};
  const Vec table = LoadTable(kTable);
  const std::int32_t* first = &filter.first[static_cast<std::size_t>(x)];
  const std::int16_t* weights = &filter.weights[static_cast<std::size_t>(2 * x)];
  Vec sums = Rounding();
  for (int j = 0; j < filter.pairs; ++j, weights += filter.step) {
    const std::uint8_t* at = source + 8 * j;
    const Vec pixels = GatherLanes([=](int lane) { return at + 4 * first[lane]; });
    sums = AddMulPairs(sums, Shuffle(pixels, table), LaneWeights(weights));
  }
  return Shifted(sums);
}

void Scale4(const RowFilter& filter, const std::uint8_t* source, int slack, std::uint8_t* target) {
  // A load takes 4 pixels, of which the first two count.
  const int reach = 4 + 2 * (filter.pairs - 1);
  const int safe = SafeTargets(filter, kSums, reach, filter.sourceWidth + slack / 4);
  int x = 0;
  for (; x < safe; x += kSums) {
    const Vec low = PackS16(PixelSums(filter, source, x), PixelSums(filter, source, x + kVecLanes));
    const Vec high = PackS16(PixelSums(filter, source, x + 2 * kVecLanes),
                             PixelSums(filter, source, x + 3 * kVecLanes));
    Store(target + 4 * x, QuadOrder(PackU8(low, high)));
  }
  plain::ScaleRest<4>(filter, source, x, target);
}

}  // namespace

const ScaleRowKernels kScaleRowTable = {Scale1, Scale4};

#endif  // XV_VECTORS
}  // namespace HWY_NAMESPACE
}  // namespace xv
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace xv {
namespace plain {
namespace {

template <int kBytes>
void Scale(const RowFilter& filter, const std::uint8_t* source, int, std::uint8_t* target) {
  ScaleRest<kBytes>(filter, source, 0, target);
}

}  // namespace

const ScaleRowKernels kScaleRowTable = {Scale<1>, Scale<4>};

}  // namespace plain

const ScaleRowKernels& ScaleRowKernelsAt(SimdLevel level) {
  return *XV_AT_LEVEL(level, &, kScaleRowTable);
}

}  // namespace xv
#endif
