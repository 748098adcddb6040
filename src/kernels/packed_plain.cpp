#include "kernels/packed_plain.h"

#include <algorithm>
#include <cstring>

namespace xv::plain {

void Swizzle4(const std::uint8_t* source, std::uint8_t* target, std::size_t groups,
              const std::uint8_t order[4], Stores) {
  for (std::size_t i = 0; i < groups; ++i) {
    std::uint8_t group[4];
    std::memcpy(group, source + 4 * i, 4);
    for (std::size_t k = 0; k < 4; ++k) target[4 * i + k] = group[order[k]];
  }
}

void Interleave(const std::uint8_t* u, const std::uint8_t* v, std::uint8_t* uv, int count) {
  for (int i = 0; i < count; ++i) {
    uv[2 * i] = u[i];
    uv[2 * i + 1] = v[i];
  }
}

void Deinterleave(const std::uint8_t* uv, std::uint8_t* u, std::uint8_t* v, int count) {
  for (int i = 0; i < count; ++i) {
    u[i] = uv[2 * i];
    v[i] = uv[2 * i + 1];
  }
}

std::uint8_t ExpandSample(std::uint8_t value, const RangeStep& step) {
  const int centred = value - 128;
  const int gain = (centred * 256 * step.factor + (1 << 14)) >> 15;
  const int sum = (centred * 128 + gain + step.offset) >> 7;
  return static_cast<std::uint8_t>(std::clamp(sum, -128, 127) + 128);
}

void ExpandLuma(std::uint8_t* row, int count) {
  for (int i = 0; i < count; ++i) row[i] = ExpandSample(row[i], kLumaRange);
}

void ExpandChroma(std::uint8_t* row, int count) {
  for (int i = 0; i < count; ++i) row[i] = ExpandSample(row[i], kChromaRange);
}

}  // namespace xv::plain
