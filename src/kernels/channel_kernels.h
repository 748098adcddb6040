#pragma once

#include <cstddef>
#include <cstdint>

#include "kernels/simd_level.h"

namespace xv {

// Rows of 3- and 4-channel pixels, copies, mirrors and rotations. The same rules as in
// packed_kernels.h.
struct ChannelKernels {
  void (*dropAlpha)(const std::uint8_t* source4, std::uint8_t* target3, int width);
  void (*addAlpha)(const std::uint8_t* source3, std::uint8_t* target4, int width, int alpha);
  // Target channel i is source channel order[i]. In place is allowed.
  void (*reorder3)(const std::uint8_t* source, std::uint8_t* target, int width,
                   const std::uint8_t order[3]);
  // Sets channel 0-3 of each pixel to a value, or to the bytes of a plane.
  void (*setChannel)(std::uint8_t* pixels, int width, int channel, int value);
  void (*copyToChannel)(const std::uint8_t* plane, std::uint8_t* pixels, int width, int channel);
  // Channels 0-2 become channel * alpha / 255, rounded; alpha is channel 3.
  void (*premultiply)(std::uint8_t* pixels, int width);
  // Blends towards a repeating group of 4 bytes: (x * keep >> 7) + group[i & 3], saturated.
  void (*blend4)(std::uint8_t* row, std::size_t bytes, int keep, const std::uint8_t group[4]);
  // The row backwards, by pixels of 1, 2 or 4 bytes. Not in place.
  void (*reverse1)(const std::uint8_t* source, std::uint8_t* target, int width);
  void (*reverse2)(const std::uint8_t* source, std::uint8_t* target, int width);
  void (*reverse4)(const std::uint8_t* source, std::uint8_t* target, int width);
  // Transposes a block of 8x8 pixels of 4 or of 1 byte: target row i is source column i.
  void (*transpose4)(const std::uint8_t* source, std::ptrdiff_t sourceStep, std::uint8_t* target,
                     std::ptrdiff_t targetStep);
  void (*transpose1)(const std::uint8_t* source, std::ptrdiff_t sourceStep, std::uint8_t* target,
                     std::ptrdiff_t targetStep);
  // Copies past the cache: for targets that nobody reads soon. Fence before handing them on.
  void (*streamCopy)(const std::uint8_t* source, std::uint8_t* target, std::size_t bytes);
  void (*fence)();
};

const ChannelKernels& ChannelKernelsAt(SimdLevel level);
inline const ChannelKernels& Channels() { return ChannelKernelsAt(ActiveSimdLevel()); }

}  // namespace xv
