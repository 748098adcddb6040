#pragma once

#include <cstdint>

namespace xv {

// RGB to YCbCr in fixed point: component = (sum of factor times colour + offset) >> 15, chroma over
// n = 2^s pixels with a shift of 15 + s. Factors are in 1/32768, in the order B, G, R.
struct RgbToYuv {
  std::int16_t y[3];
  std::int16_t u[3];
  std::int16_t v[3];
  std::int32_t yOffset;     // with what rounding needs
  std::int32_t chromaHalf;  // 16384 rounds to nearest, 0 rounds down

  // The offset of the sum over 2^s pixels.
  constexpr std::int32_t ChromaOffset(int s) const { return (128 << (15 + s)) + (chromaHalf << s); }
};

// YCbCr to RGB in 16 bits with 7 fractional bits around the middle of the range, saturating. Chroma
// factors are in 1/16384; the blue one is what goes beyond 2.
struct YuvToRgb {
  std::uint16_t yFactor;  // luma times 257 times this, >> 16
  std::int16_t yOffset;
  std::int16_t redV;
  std::int16_t greenU;
  std::int16_t greenV;
  std::int16_t blueU;
};

namespace detail {

constexpr double Round(double value) {
  return static_cast<double>(static_cast<std::int64_t>(value < 0 ? value - 0.5 : value + 0.5));
}
constexpr std::int16_t Word(double value) { return static_cast<std::int16_t>(Round(value)); }

}  // namespace detail

// The matrix of luma weights `kr`, `kb` (ITU-R BT.601: 0.299, 0.114; BT.709: 0.2126, 0.0722). Video
// range is 16-235 and 16-240; `full` is 0-255. Green takes what the rounding of the others leaves,
// so that grey stays grey.
constexpr RgbToYuv MakeRgbToYuv(double kr, double kb, bool full) {
  const double yScale = 32768.0 * (full ? 1.0 : 219.0 / 255.0);
  const double cScale = 32768.0 * (full ? 1.0 : 224.0 / 255.0) / 2;
  RgbToYuv m{};
  m.y[0] = detail::Word(yScale * kb);
  m.y[2] = detail::Word(yScale * kr);
  m.y[1] = static_cast<std::int16_t>(detail::Round(yScale) - m.y[0] - m.y[2]);
  m.u[0] = detail::Word(cScale);
  m.u[2] = detail::Word(-cScale * kr / (1 - kb));
  m.u[1] = static_cast<std::int16_t>(-m.u[0] - m.u[2]);
  m.v[2] = detail::Word(cScale);
  m.v[0] = detail::Word(-cScale * kb / (1 - kr));
  m.v[1] = static_cast<std::int16_t>(-m.v[0] - m.v[2]);
  m.yOffset = ((full ? 0 : 16) << 15) + (1 << 14);
  m.chromaHalf = 1 << 14;
  return m;
}

constexpr YuvToRgb MakeYuvToRgb(double kr, double kb, bool full) {
  const double yGain = full ? 1.0 : 255.0 / 219.0;
  const double cGain = (full ? 1.0 : 255.0 / 224.0) * 2;
  const double kg = 1 - kr - kb;
  YuvToRgb m{};
  m.yFactor = static_cast<std::uint16_t>(detail::Round(yGain * 128 * 65536 / 257));
  // Down by the black level and the middle; up by half a unit for the cut product and by half of
  // the last shift.
  m.yOffset = detail::Word(-(full ? 0 : 16) * yGain * 128 - 128 * 128 + 0.5 + 64);
  m.redV = detail::Word(cGain * (1 - kr) * 16384);
  m.greenU = detail::Word(cGain * kb * (1 - kb) / kg * 16384);
  m.greenV = detail::Word(cGain * kr * (1 - kr) / kg * 16384);
  m.blueU = detail::Word((cGain * (1 - kb) - 2) * 16384);
  return m;
}

// Which luma weights a picture's YCbCr has.
enum class Matrix { kBt601, kBt709, kBt2020 };

struct LumaWeights {
  double red;
  double blue;
};
inline constexpr LumaWeights kLumaWeights[] = {{0.299, 0.114}, {0.2126, 0.0722}, {0.2627, 0.0593}};

constexpr RgbToYuv MatrixFromRgb(Matrix matrix, bool full) {
  const LumaWeights& weights = kLumaWeights[static_cast<int>(matrix)];
  return MakeRgbToYuv(weights.red, weights.blue, full);
}
constexpr YuvToRgb MatrixToRgb(Matrix matrix) {
  const LumaWeights& weights = kLumaWeights[static_cast<int>(matrix)];
  return MakeYuvToRgb(weights.red, weights.blue, false);
}

inline constexpr RgbToYuv kRgbToBt601 = MakeRgbToYuv(0.299, 0.114, false);
inline constexpr RgbToYuv kRgbToBt601Full = MakeRgbToYuv(0.299, 0.114, true);
inline constexpr YuvToRgb kBt601ToRgb = MakeYuvToRgb(0.299, 0.114, false);

// The integer BT.709 matrix of HDYC: ((47 R + 157 G + 16 B) >> 8) + 16, chroma of a pair
// (sum >> 9) + 128, nothing rounded. All factors are 128 times those of the formula.
inline constexpr RgbToYuv kRgbToHdyc = {
    {16 * 128, 157 * 128, 47 * 128},
    {112 * 128, -87 * 128, -26 * 128},
    {-10 * 128, -102 * 128, 112 * 128},
    16 << 15,
    0,
};

}  // namespace xv
