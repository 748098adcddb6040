#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "kernels/filter_row.cpp"
#include "hwy/foreach_target.h"
// Behind it: what is included for each target.
#include <cstring>

#include "hwy/highway.h"
#include "kernels/filter_row.h"
#include "kernels/vec-inl.h"

#ifndef XV_FILTER_ROW_PLAIN
#define XV_FILTER_ROW_PLAIN
namespace xv::plain {

// Bytes [from, bytes) of the row.
inline void FilterRest(const std::uint8_t* const* rows, const std::uint8_t* weights, int taps,
                       int rounding, std::uint8_t* target, std::size_t from, std::size_t bytes) {
  for (std::size_t x = from; x < bytes; ++x) {
    int sum = rounding;
    for (int i = 0; i < taps; ++i) sum += weights[i] * rows[i][x];
    target[x] = static_cast<std::uint8_t>(sum >> 8);
  }
}

}  // namespace xv::plain
#endif

XV_BEFORE_NAMESPACE();
namespace xv {
namespace HWY_NAMESPACE {
#if XV_VECTORS
namespace {

// Taps go in pairs: weights are the unsigned bytes of the multiplication, samples less 128 the
// signed ones, so that no sum leaves 16 bits. What 128 times the weights takes away comes back in
// the offset.
template <int kPairs>
void FilterPairs(const std::uint8_t* const* rows, const std::uint8_t* weights, int rounding,
                 std::uint8_t* target, std::size_t bytes) {
  constexpr int kTaps = 2 * kPairs;
  Vec factors[kPairs];
  int total = 0;
  for (int i = 0; i < kPairs; ++i) {
    factors[i] = Set16(weights[2 * i] | weights[2 * i + 1] << 8);
    total += weights[2 * i] + weights[2 * i + 1];
  }
  const Vec offset = Set16(128 * total + rounding);
  const Vec sign = Set8(0x80);
  std::size_t x = 0;
  for (; x + kVecBytes <= bytes; x += kVecBytes) {
    Vec low = offset;
    Vec high = offset;
    for (int i = 0; i < kPairs; ++i) {
      const Vec a = Xor(Load(rows[2 * i] + x), sign);
      const Vec b = Xor(Load(rows[2 * i + 1] + x), sign);
      low = Add16(low, MulPairs8(factors[i], LowBytes(a, b)));
      high = Add16(high, MulPairs8(factors[i], HighBytes(a, b)));
    }
    Store(target + x, PackU8(ShiftRightU16<8>(low), ShiftRightU16<8>(high)));
  }
  plain::FilterRest(rows, weights, kTaps, rounding, target, x, bytes);
}

void Filter(const std::uint8_t* const* rows, const std::uint8_t* weights, int taps, int rounding,
            std::uint8_t* target, std::size_t bytes) {
  if (taps == 1) {
    std::memcpy(target, rows[0], bytes);
    return;
  }
  // An odd tap is paired with a copy of no weight.
  const std::uint8_t* paired[kMaxFilterTaps];
  std::uint8_t pairedWeights[kMaxFilterTaps];
  for (int i = 0; i < taps; ++i) {
    paired[i] = rows[i];
    pairedWeights[i] = weights[i];
  }
  if ((taps & 1) != 0) {
    paired[taps] = rows[0];
    pairedWeights[taps] = 0;
  }
  using Run =
      void (*)(const std::uint8_t* const*, const std::uint8_t*, int, std::uint8_t*, std::size_t);
  constexpr Run kRuns[] = {FilterPairs<1>, FilterPairs<2>, FilterPairs<3>,
                           FilterPairs<4>, FilterPairs<5>, FilterPairs<6>};
  kRuns[(taps - 1) / 2](paired, pairedWeights, rounding, target, bytes);
}

}  // namespace

const FilterRowKernel kFilterRow = Filter;

#endif  // XV_VECTORS
}  // namespace HWY_NAMESPACE
}  // namespace xv
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace xv {
namespace plain {
namespace {

void Filter(const std::uint8_t* const* rows, const std::uint8_t* weights, int taps, int rounding,
            std::uint8_t* target, std::size_t bytes) {
  if (taps == 1) {
    std::memcpy(target, rows[0], bytes);
  } else {
    FilterRest(rows, weights, taps, rounding, target, 0, bytes);
  }
}

}  // namespace

const FilterRowKernel kFilterRow = Filter;

}  // namespace plain

FilterRowKernel FilterRowAt(SimdLevel level) { return XV_AT_LEVEL(level, , kFilterRow); }

}  // namespace xv
#endif
