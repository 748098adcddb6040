#include "kernels/channel_plain.h"

#include <algorithm>
#include <cstring>

namespace xv::plain {

void DropAlpha(const std::uint8_t* source4, std::uint8_t* target3, int width) {
  for (int x = 0; x < width; ++x) std::memcpy(target3 + 3 * x, source4 + 4 * x, 3);
}

void AddAlpha(const std::uint8_t* source3, std::uint8_t* target4, int width, int alpha) {
  for (int x = 0; x < width; ++x) {
    std::memcpy(target4 + 4 * x, source3 + 3 * x, 3);
    target4[4 * x + 3] = static_cast<std::uint8_t>(alpha);
  }
}

void Reorder3(const std::uint8_t* source, std::uint8_t* target, int width,
              const std::uint8_t order[3]) {
  for (int x = 0; x < width; ++x) {
    std::uint8_t pixel[3];
    std::memcpy(pixel, source + 3 * x, 3);
    for (int i = 0; i < 3; ++i) target[3 * x + i] = pixel[order[i]];
  }
}

void SetChannel(std::uint8_t* pixels, int width, int channel, int value) {
  for (int x = 0; x < width; ++x) pixels[4 * x + channel] = static_cast<std::uint8_t>(value);
}

void CopyToChannel(const std::uint8_t* plane, std::uint8_t* pixels, int width, int channel) {
  for (int x = 0; x < width; ++x) pixels[4 * x + channel] = plane[x];
}

void Premultiply(std::uint8_t* pixels, int width) {
  for (int x = 0; x < width; ++x) {
    std::uint8_t* pixel = pixels + 4 * x;
    for (int i = 0; i < 3; ++i) {
      // Exactly round(product / 255).
      const int product = pixel[i] * pixel[3] + 128;
      pixel[i] = static_cast<std::uint8_t>((product + (product >> 8)) >> 8);
    }
  }
}

void Blend4(std::uint8_t* row, std::size_t bytes, int keep, const std::uint8_t group[4]) {
  for (std::size_t i = 0; i < bytes; ++i) {
    row[i] = static_cast<std::uint8_t>(std::min((row[i] * keep >> 7) + group[i & 3], 255));
  }
}

template <int kBytes>
void Reverse(const std::uint8_t* source, std::uint8_t* target, int width) {
  for (int x = 0; x < width; ++x) {
    std::memcpy(target + kBytes * x, source + kBytes * (width - 1 - x), kBytes);
  }
}
template void Reverse<1>(const std::uint8_t*, std::uint8_t*, int);
template void Reverse<2>(const std::uint8_t*, std::uint8_t*, int);
template void Reverse<3>(const std::uint8_t*, std::uint8_t*, int);
template void Reverse<4>(const std::uint8_t*, std::uint8_t*, int);

template <int kBytes>
void Transpose8x8(const std::uint8_t* source, std::ptrdiff_t sourceStep, std::uint8_t* target,
                  std::ptrdiff_t targetStep) {
  for (int y = 0; y < 8; ++y) {
    for (int x = 0; x < 8; ++x) {
      std::memcpy(target + x * targetStep + y * kBytes, source + y * sourceStep + x * kBytes,
                  kBytes);
    }
  }
}
template void Transpose8x8<1>(const std::uint8_t*, std::ptrdiff_t, std::uint8_t*, std::ptrdiff_t);
template void Transpose8x8<4>(const std::uint8_t*, std::ptrdiff_t, std::uint8_t*, std::ptrdiff_t);

void Copy(const std::uint8_t* source, std::uint8_t* target, std::size_t bytes) {
  std::memcpy(target, source, bytes);
}

void NoFence() {}

}  // namespace xv::plain
