#include "picture/background_fill.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#include "kernels/channel_kernels.h"

namespace xv {
namespace {

constexpr int kFullOpacity = 128;

// Bytes that repeat along a row, and how many of them.
struct Pattern {
  std::array<std::uint8_t, 48> bytes{};  // 48 holds a whole number of all of them
};

template <std::size_t N>
Pattern Repeat(const std::array<std::uint8_t, N>& group) {
  static_assert(48 % N == 0);
  Pattern pattern;
  for (std::size_t i = 0; i < 48; ++i) pattern.bytes[i] = group[i % N];
  return pattern;
}

std::array<std::uint8_t, 4> Word(std::uint32_t word) {
  std::array<std::uint8_t, 4> bytes;
  std::memcpy(bytes.data(), &word, 4);
  return bytes;
}

Pattern V210Pattern(const YuvColour& c) {
  const std::uint32_t y = c.y * 4U, u = c.u * 4U, v = c.v * 4U;
  const std::uint32_t words[4] = {u | y << 10 | v << 20, y | u << 10 | y << 20,
                                  v | y << 10 | u << 20, y | v << 10 | y << 20};
  std::array<std::uint8_t, 16> group;
  std::memcpy(group.data(), words, 16);
  return Repeat(group);
}

Pattern PatternOf(std::uint32_t tag, std::uint32_t colour) {
  const auto b = static_cast<std::uint8_t>(colour);
  const auto g = static_cast<std::uint8_t>(colour >> 8);
  const auto r = static_cast<std::uint8_t>(colour >> 16);
  const YuvColour c = YuvFromRgb(colour);
  switch (tag) {
    case kFccRGB32:
    case kFccARGB32:
      return Repeat(Word(colour));
    case kFccR210:
      return Repeat(Word(static_cast<std::uint32_t>(r) << 24 | static_cast<std::uint32_t>(g) << 14 |
                         static_cast<std::uint32_t>(b) << 4));
    case kFccRGB24:
      return Repeat(std::array<std::uint8_t, 3>{b, g, r});
    case kFccV210:
      return V210Pattern(c);
    case kFccUYVY:
    case kFccHDYC:
      return Repeat(std::array<std::uint8_t, 4>{c.u, c.y, c.v, c.y});
    case kFccYUY2:
      return Repeat(std::array<std::uint8_t, 4>{c.y, c.u, c.y, c.v});
    case kFccYVYU:
      return Repeat(std::array<std::uint8_t, 4>{c.y, c.v, c.y, c.u});
    case kFccRGB8:
      return Repeat(std::array<std::uint8_t, 1>{b});
    default:
      return Repeat(std::array<std::uint8_t, 1>{c.y});
  }
}

void FillBytes(const Pattern& pattern, std::uint8_t* row, std::size_t bytes) {
  for (std::size_t at = 0; at < bytes; at += pattern.bytes.size()) {
    std::memcpy(row + at, pattern.bytes.data(), std::min(bytes - at, pattern.bytes.size()));
  }
}

// The row's bytes times (128 - opacity), plus the pattern times opacity, over 128.
void BlendBytes(const Pattern& pattern, int opacity, std::uint8_t* row, std::size_t bytes) {
  Pattern scaled = pattern;
  for (std::uint8_t& byte : scaled.bytes) byte = static_cast<std::uint8_t>(byte * opacity >> 7);
  const bool fours =
      std::equal(pattern.bytes.begin(), pattern.bytes.end() - 4, pattern.bytes.begin() + 4);
  if (fours) {
    Channels().blend4(row, bytes, kFullOpacity - opacity, scaled.bytes.data());
    return;
  }
  for (std::size_t i = 0; i < bytes; ++i) {
    row[i] = static_cast<std::uint8_t>(
        std::min((row[i] * (kFullOpacity - opacity) >> 7) + scaled.bytes[i % 48], 255));
  }
}

void Lay(const Pattern& pattern, int opacity, std::uint8_t* data, std::ptrdiff_t step,
         std::size_t bytes, int rows) {
  for (int y = 0; y < rows; ++y) {
    if (opacity >= kFullOpacity) {
      FillBytes(pattern, data + y * step, bytes);
    } else {
      BlendBytes(pattern, opacity, data + y * step, bytes);
    }
  }
}

}  // namespace

YuvColour YuvFromRgb(std::uint32_t colour) {
  const double r = colour >> 16 & 0xFF;
  const double g = colour >> 8 & 0xFF;
  const double b = colour & 0xFF;
  const auto fit = [](double value, double top) {
    return static_cast<std::uint8_t>(std::clamp(std::round(value), 16.0, top));
  };
  return {fit(0.257 * r + 0.504 * g + 0.098 * b + 16, 235),
          fit(-0.148 * r - 0.291 * g + 0.439 * b + 128, 240),
          fit(0.439 * r - 0.368 * g - 0.071 * b + 128, 240)};
}

Status FillBackground(const ImageView& view, std::uint32_t colour, double opacity) {
  const int o = std::min(static_cast<int>(opacity * kFullOpacity), kFullOpacity);
  if (o < 1 || view.data[0] == nullptr) return S_FALSE;
  const bool deep = view.tag == kFccV210 || view.tag == kFccR210;
  if (deep && o < kFullOpacity) return S_FALSE;
  const int rowBytes = PixelRowBytes(view.tag, view.width);
  Lay(PatternOf(view.tag, colour), o, view.data[0], view.step[0],
      static_cast<std::size_t>(rowBytes), view.height);
  const YuvColour c = YuvFromRgb(colour);
  const auto pairs = static_cast<std::size_t>((view.width + 1) / 2);
  const int rows = view.chromaHeight;
  if (view.tag == kFccNV12) {
    Lay(Repeat(std::array<std::uint8_t, 2>{c.u, c.v}), o, view.data[1], view.step[1], 2 * pairs,
        rows);
  } else if (IsPlanar420(view.tag)) {
    Lay(Repeat(std::array<std::uint8_t, 1>{c.u}), o, view.data[1], view.step[1], pairs, rows);
    Lay(Repeat(std::array<std::uint8_t, 1>{c.v}), o, view.data[2], view.step[2], pairs, rows);
  }
  return S_OK;
}

}  // namespace xv
