#include "picture/rematrix.h"

#include <algorithm>
#include <cstdint>

#include "kernels/row_sink.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace xv {
namespace {

// The parts that change are below a third, so that with samples of 8 bits all fits in 16 and the
// loops become whole vectors.
constexpr int kFraction = 9;
constexpr std::int16_t kHalf = 1 << (kFraction - 1);

// What the chroma of one matrix adds to luma and to chroma in another. In 1/512.
struct Change {
  std::int16_t lumaU, lumaV;
  std::int16_t uu, uv;
  std::int16_t vu, vv;
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
    return static_cast<std::int16_t>(detail::Round(value * (1 << kFraction)));
  };
  return {fixed(lumaU),      fixed(lumaV),      fixed((blueU - lumaU) / u - 1),
          fixed(-lumaV / u), fixed(-lumaU / v), fixed((redV - lumaV) / v - 1)};
}

std::uint8_t Sample(std::int16_t value) {
  return static_cast<std::uint8_t>(std::min<std::int16_t>(std::max<std::int16_t>(value, 0), 255));
}

std::int16_t Part(std::int16_t byU, std::int16_t u, std::int16_t byV, std::int16_t v) {
  const auto ofU = static_cast<std::int16_t>(byU * u);
  const auto ofV = static_cast<std::int16_t>(byV * v);
  return static_cast<std::int16_t>(static_cast<std::int16_t>(ofU + ofV + kHalf) >> kFraction);
}

// One row of chroma, and what it adds to the luma samples beside it.
void ChangeChroma(const Change& change, std::uint8_t* uRow, std::uint8_t* vRow, int samples,
                  std::int16_t* added) {
  for (int x = 0; x < samples; ++x) {
    const auto u = static_cast<std::int16_t>(uRow[x] - 128);
    const auto v = static_cast<std::int16_t>(vRow[x] - 128);
    added[x] = Part(change.lumaU, u, change.lumaV, v);
    uRow[x] = Sample(static_cast<std::int16_t>(uRow[x] + Part(change.uu, u, change.uv, v)));
    vRow[x] = Sample(static_cast<std::int16_t>(vRow[x] + Part(change.vu, u, change.vv, v)));
  }
}

// Each value once for every luma sample that it belongs to.
void Widen(const std::int16_t* added, int width, int shiftX, std::int16_t* wide) {
  for (int x = 0; x < width; ++x) wide[x] = added[x >> shiftX];
}

void ChangeLuma(std::uint8_t* row, int width, const std::int16_t* wide) {
  for (int x = 0; x < width; ++x) row[x] = Sample(static_cast<std::int16_t>(row[x] + wide[x]));
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
  const auto values = [](int slot, int count) {
    const std::size_t bytes = static_cast<std::size_t>(count) * sizeof(std::int16_t);
    return reinterpret_cast<std::int16_t*>(RowScratch(slot, bytes));
  };
  std::int16_t* added = values(4, samples);
  std::int16_t* wide = values(5, picture.width);
  for (int y = 0; y < AV_CEIL_RSHIFT(picture.height, shiftY); ++y) {
    ChangeChroma(change, row(1, y), row(2, y), samples, added);
    Widen(added, picture.width, shiftX, wide);
    for (int line = 0; line < 1 << shiftY; ++line) {
      const int at = LumaLine(y, line, shiftY, picture.interlaced_frame != 0);
      if (at < picture.height) ChangeLuma(row(0, at), picture.width, wide);
    }
  }
}

}  // namespace xv
