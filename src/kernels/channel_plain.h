#pragma once

#include <cstddef>
#include <cstdint>

// Reference of ChannelKernels; the vector variants use it for the rest of a row.
namespace xv::plain {

void DropAlpha(const std::uint8_t* source4, std::uint8_t* target3, int width);
void AddAlpha(const std::uint8_t* source3, std::uint8_t* target4, int width, int alpha);
void Reorder3(const std::uint8_t* source, std::uint8_t* target, int width,
              const std::uint8_t order[3]);
void SetChannel(std::uint8_t* pixels, int width, int channel, int value);
void CopyToChannel(const std::uint8_t* plane, std::uint8_t* pixels, int width, int channel);
void Premultiply(std::uint8_t* pixels, int width);
void Blend4(std::uint8_t* row, std::size_t bytes, int keep, const std::uint8_t group[4]);
template <int kBytes>
void Reverse(const std::uint8_t* source, std::uint8_t* target, int width);
template <int kBytes>
void Transpose8x8(const std::uint8_t* source, std::ptrdiff_t sourceStep, std::uint8_t* target,
                  std::ptrdiff_t targetStep);
void Copy(const std::uint8_t* source, std::uint8_t* target, std::size_t bytes);
void NoFence();

}  // namespace xv::plain
