#include "kernels/deep_plain.h"

#include <algorithm>
#include <cstring>

namespace xv::plain {
namespace {

constexpr int kGroupPixels = 6;
constexpr int kGroupBytes = 16;

// The 12 samples of a group, 10 bits each, in the order Cb Y Cr Y.
void ReadGroup(const std::uint8_t* source, int samples[12]) {
  for (int i = 0; i < 4; ++i) {
    std::uint32_t word;
    std::memcpy(&word, source + 4 * i, 4);
    for (int k = 0; k < 3; ++k) samples[3 * i + k] = static_cast<int>(word >> (10 * k) & 0x3FF);
  }
}

}  // namespace

template <bool kLumaFirst>
void PackV210(const std::uint8_t* source, std::uint8_t* target, int width, Stores) {
  const int pairs = (width + 1) / 2;
  for (int group = 0; group * kGroupPixels < width; ++group) {
    for (int i = 0; i < 4; ++i) {
      std::uint32_t word = 0;
      for (int k = 0; k < 3; ++k) {
        const int sample = 12 * group + 3 * i + k;
        const int pair = std::min(sample / 4, pairs - 1);
        const int at = kLumaFirst ? (sample & 3) ^ 1 : sample & 3;
        word |= static_cast<std::uint32_t>(source[4 * pair + at]) << (10 * k + 2);
      }
      std::memcpy(target + kGroupBytes * group + 4 * i, &word, 4);
    }
  }
}
template void PackV210<false>(const std::uint8_t*, std::uint8_t*, int, Stores);
template void PackV210<true>(const std::uint8_t*, std::uint8_t*, int, Stores);

void UnpackV210(const std::uint8_t* source, std::uint8_t* target, int width, Stores) {
  int samples[12];
  for (int x = 0; x < (width & ~1); x += kGroupPixels) {
    ReadGroup(source + x / kGroupPixels * kGroupBytes, samples);
    const int count = 2 * std::min(kGroupPixels, (width & ~1) - x);
    for (int i = 0; i < count; ++i) {
      target[2 * x + i] = static_cast<std::uint8_t>(std::min((samples[i] + 2) >> 2, 255));
    }
  }
}

void PlanesFromV210(const std::uint8_t* source, std::uint16_t* y, std::uint16_t* u,
                    std::uint16_t* v, int width) {
  int samples[12];
  for (int x = 0; x < width; ++x) {
    const int at = x % kGroupPixels;
    if (at == 0) ReadGroup(source + x / kGroupPixels * kGroupBytes, samples);
    y[x] = static_cast<std::uint16_t>(samples[2 * at + 1]);
    if ((x & 1) != 0) continue;
    u[x / 2] = static_cast<std::uint16_t>(samples[2 * at]);
    v[x / 2] = static_cast<std::uint16_t>(samples[2 * at + 2]);
  }
}

void V210FromPlanes(const std::uint16_t* y, const std::uint16_t* u, const std::uint16_t* v,
                    std::uint8_t* target, int width) {
  for (int x = 0; x < width; x += kGroupPixels) {
    int samples[12] = {};
    for (int i = 0; i < std::min(kGroupPixels, width - x); ++i) {
      samples[2 * i + 1] = y[x + i];
      if ((i & 1) != 0) continue;
      samples[2 * i] = u[(x + i) / 2];
      samples[2 * i + 2] = v[(x + i) / 2];
    }
    for (int i = 0; i < 4; ++i) {
      std::uint32_t word = 0;
      for (int k = 0; k < 3; ++k) {
        word |= static_cast<std::uint32_t>(samples[3 * i + k] & 0x3FF) << (10 * k);
      }
      std::memcpy(target + x / kGroupPixels * kGroupBytes + 4 * i, &word, 4);
    }
  }
}

}  // namespace xv::plain
