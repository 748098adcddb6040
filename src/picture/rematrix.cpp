#include "picture/rematrix.h"

#include <algorithm>
#include <cstdint>
#include <vector>

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace xv {
namespace {

constexpr int kFraction = 12;
constexpr int kHalf = 1 << (kFraction - 1);

// What the chroma of one matrix adds to luma, and is, in another. In 1/4096.
struct Change {
  int lumaU, lumaV;
  int uu, uv;
  int vu, vv;
};

Change ChangeOf(Matrix from, Matrix to) {
  const LumaWeights a = kLumaWeights[static_cast<int>(from)];
  const LumaWeights b = kLumaWeights[static_cast<int>(to)];
  const double green = 1 - a.red - a.blue;
  // Colours less luma, of each chroma sample.
  const double blueU = 2 * (1 - a.blue);
  const double redV = 2 * (1 - a.red);
  const double greenU = -blueU * a.blue / green;
  const double greenV = -redV * a.red / green;
  const double weight = 1 - b.red - b.blue;
  const double lumaU = b.blue * blueU + weight * greenU;
  const double lumaV = b.red * redV + weight * greenV;
  const double u = 2 * (1 - b.blue);
  const double v = 2 * (1 - b.red);
  const auto fixed = [](double value) {
    return static_cast<int>(detail::Round(value * (1 << kFraction)));
  };
  return {fixed(lumaU),      fixed(lumaV),      fixed((blueU - lumaU) / u),
          fixed(-lumaV / u), fixed(-lumaU / v), fixed((redV - lumaV) / v)};
}

std::uint8_t Sample(int value) { return static_cast<std::uint8_t>(std::clamp(value, 0, 255)); }

// One row of chroma, and what it adds to each luma sample beside it.
void ChangeChroma(const Change& change, std::uint8_t* uRow, std::uint8_t* vRow, int samples,
                  std::int16_t* added) {
  for (int x = 0; x < samples; ++x) {
    const int u = uRow[x] - 128;
    const int v = vRow[x] - 128;
    added[x] =
        static_cast<std::int16_t>((change.lumaU * u + change.lumaV * v + kHalf) >> kFraction);
    uRow[x] = Sample(128 + ((change.uu * u + change.uv * v + kHalf) >> kFraction));
    vRow[x] = Sample(128 + ((change.vu * u + change.vv * v + kHalf) >> kFraction));
  }
}

void ChangeLuma(std::uint8_t* row, int width, int shiftX, const std::int16_t* added) {
  for (int x = 0; x < width; ++x) row[x] = Sample(row[x] + added[x >> shiftX]);
}

// The luma line number `line` beside row `y` of chroma.
int LumaLine(int y, int line, int shiftY, bool fields) {
  if (shiftY == 0) return y;
  return fields ? (y / 2) * 4 + y % 2 + 2 * line : 2 * y + line;
}

}  // namespace

void RematrixToBt601(const AVFrame& picture, Matrix from) {
  const AVPixFmtDescriptor* desc = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(picture.format));
  if (desc == nullptr || desc->comp[2].plane != 2 || desc->comp[0].depth != 8) return;
  const Change change = ChangeOf(from, Matrix::kBt601);
  const int shiftX = desc->log2_chroma_w;
  const int shiftY = desc->log2_chroma_h;
  const int samples = AV_CEIL_RSHIFT(picture.width, shiftX);
  const auto row = [&](int plane, int y) {
    return picture.data[plane] + static_cast<std::ptrdiff_t>(y) * picture.linesize[plane];
  };
  std::vector<std::int16_t> added(static_cast<std::size_t>(samples));
  for (int y = 0; y < AV_CEIL_RSHIFT(picture.height, shiftY); ++y) {
    ChangeChroma(change, row(1, y), row(2, y), samples, added.data());
    for (int line = 0; line < 1 << shiftY; ++line) {
      const int at = LumaLine(y, line, shiftY, picture.interlaced_frame != 0);
      if (at < picture.height) ChangeLuma(row(0, at), picture.width, shiftX, added.data());
    }
  }
}

}  // namespace xv
