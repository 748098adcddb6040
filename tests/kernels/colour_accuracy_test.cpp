#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "kernels/channel_kernels.h"
#include "kernels/colour_kernels.h"
#include "kernels/packed_kernels.h"

// Kernels against the formulas in double precision.
namespace xv {
namespace {

// How far a rounded result may lie from the true value: half a unit, and what fixed point costs.
constexpr double kRgbToYuvTolerance = 0.52;
constexpr double kYuvToRgbTolerance = 0.54;

constexpr double kRed = 0.299, kBlue = 0.114, kGreen = 1 - kRed - kBlue;  // of BT.601

struct Yuv {
  double y, u, v;
};

Yuv FormulaYuv(double r, double g, double b, bool full) {
  const double y = kRed * r + kGreen * g + kBlue * b;
  const double cb = (b - y) / (2 * (1 - kBlue));
  const double cr = (r - y) / (2 * (1 - kRed));
  if (full) return {y, 128 + cb, 128 + cr};
  return {16 + y * 219 / 255, 128 + cb * 224 / 255, 128 + cr * 224 / 255};
}

double Off(int got, double exact) { return std::fabs(got - std::clamp(exact, 0.0, 255.0)); }

// Each green level is a row of all red and blue: together all 2^24 colours.
std::vector<std::uint8_t> ColourPlane(int green) {
  std::vector<std::uint8_t> row(4 * 65536);
  for (int i = 0; i < 65536; ++i) {
    row[static_cast<std::size_t>(4 * i)] = static_cast<std::uint8_t>(i & 255);
    row[static_cast<std::size_t>(4 * i + 1)] = static_cast<std::uint8_t>(green);
    row[static_cast<std::size_t>(4 * i + 2)] = static_cast<std::uint8_t>(i >> 8);
  }
  return row;
}

TEST(ColourAccuracy, LumaOfEveryColourIsRounded) {
  for (const bool full : {false, true}) {
    const RgbToYuv& m = full ? kRgbToBt601Full : kRgbToBt601;
    double worst = 0;
    std::vector<std::uint8_t> y(65536);
    for (int green = 0; green < 256; ++green) {
      const std::vector<std::uint8_t> row = ColourPlane(green);
      Colour().luma(row.data(), y.data(), 65536, m);
      for (int i = 0; i < 65536; ++i) {
        const double exact = FormulaYuv(i >> 8, green, i & 255, full).y;
        worst = std::max(worst, Off(y[static_cast<std::size_t>(i)], exact));
      }
    }
    EXPECT_LE(worst, kRgbToYuvTolerance) << (full ? "full" : "video") << " range";
  }
}

TEST(ColourAccuracy, ChromaOfMixedBlocksIsRounded) {
  constexpr int kWidth = 1 << 16;
  std::mt19937 random(11);
  std::vector<std::uint8_t> a(4 * kWidth), b(4 * kWidth), u(kWidth), v(kWidth), luma(kWidth);
  for (int round = 0; round < 8; ++round) {
    for (auto* row : {&a, &b}) {
      for (std::uint8_t& byte : *row) {
        const unsigned value = random();
        byte = static_cast<std::uint8_t>(round < 4 ? value : (value & 1) * 255);
      }
    }
    for (const bool full : {false, true}) {
      const RgbToYuv& m = full ? kRgbToBt601Full : kRgbToBt601;
      struct Form {
        int columns, rows;
      };
      for (const Form form : {Form{2, 1}, Form{2, 2}, Form{4, 1}}) {
        if (form.rows == 2) {
          Colour().to420(a.data(), b.data(), luma.data(), luma.data(), u.data(), v.data(), kWidth,
                         m, Stores::kCached);
        } else if (form.columns == 2) {
          Colour().chroma422(a.data(), u.data(), v.data(), kWidth, m);
        } else {
          Colour().chroma411(a.data(), u.data(), v.data(), kWidth, m);
        }
        double worst = 0;
        for (int x = 0; x + form.columns <= kWidth; x += form.columns) {
          double mean[3] = {};
          for (int i = 0; i < form.columns * form.rows; ++i) {
            const auto& row = i < form.columns ? a : b;
            for (int c = 0; c < 3; ++c) {
              mean[c] += row[static_cast<std::size_t>(4 * (x + i % form.columns) + c)];
            }
          }
          for (double& value : mean) value /= form.columns * form.rows;
          const Yuv exact = FormulaYuv(mean[2], mean[1], mean[0], full);
          const auto at = static_cast<std::size_t>(x / form.columns);
          worst = std::max({worst, Off(u[at], exact.u), Off(v[at], exact.v)});
        }
        EXPECT_LE(worst, kRgbToYuvTolerance) << form.columns << 'x' << form.rows;
      }
    }
  }
}

TEST(ColourAccuracy, RgbOfEveryYuvTripleIsRounded) {
  std::vector<std::uint8_t> packed(4 * 65536), bgra(8 * 65536);
  double worst[3] = {};
  for (int luma = 0; luma < 256; luma += 2) {
    for (int i = 0; i < 65536; ++i) {
      std::uint8_t* group = &packed[static_cast<std::size_t>(4 * i)];
      group[0] = static_cast<std::uint8_t>(i & 255);
      group[1] = static_cast<std::uint8_t>(luma);
      group[2] = static_cast<std::uint8_t>(i >> 8);
      group[3] = static_cast<std::uint8_t>(luma + 1);
    }
    Colour().fromPacked[0](packed.data(), bgra.data(), 2 * 65536, 255, kBt601ToRgb,
                           Stores::kCached);
    for (int i = 0; i < 2 * 65536; ++i) {
      const double y = (luma + (i & 1) - 16) * 255.0 / 219;
      const double cb = ((i >> 1 & 255) - 128) * 255.0 / 112;
      const double cr = ((i >> 9) - 128) * 255.0 / 112;
      const std::uint8_t* pixel = &bgra[static_cast<std::size_t>(4 * i)];
      const double green = y - (cb * kBlue * (1 - kBlue) + cr * kRed * (1 - kRed)) / kGreen;
      worst[0] = std::max(worst[0], Off(pixel[0], y + cb * (1 - kBlue)));
      worst[1] = std::max(worst[1], Off(pixel[1], green));
      worst[2] = std::max(worst[2], Off(pixel[2], y + cr * (1 - kRed)));
    }
  }
  EXPECT_THAT(worst, testing::Each(testing::Le(kYuvToRgbTolerance)));
}

// The integer matrix is defined bit for bit.
TEST(ColourAccuracy, HdycFollowsItsIntegerArithmetic) {
  std::mt19937 random(5);
  std::vector<std::uint8_t> bgra(4 * 4096), packed(2 * 4096), back(4 * 4096);
  for (int round = 0; round < 50; ++round) {
    for (std::uint8_t& byte : bgra) byte = static_cast<std::uint8_t>(random());
    Colour().toPacked[0](bgra.data(), packed.data(), 4096, kRgbToHdyc, Stores::kCached);
    for (std::size_t x = 0; x < 4096; x += 2) {
      const std::uint8_t* p = &bgra[4 * x];
      const std::uint8_t* got = &packed[2 * x];
      const auto chroma = [&](int r, int g, int b) {
        return ((r * (p[2] + p[6]) + g * (p[1] + p[5]) + b * (p[0] + p[4])) >> 9) + 128;
      };
      ASSERT_EQ(got[0], chroma(-26, -87, 112));
      ASSERT_EQ(got[1], ((47 * p[2] + 157 * p[1] + 16 * p[0]) >> 8) + 16);
      ASSERT_EQ(got[2], chroma(112, -102, -10));
      ASSERT_EQ(got[3], ((47 * p[6] + 157 * p[5] + 16 * p[4]) >> 8) + 16);
    }
    for (std::uint8_t& byte : packed) byte = static_cast<std::uint8_t>(random());
    Colour().fromHdyc(packed.data(), back.data(), 4096, 255, Stores::kCached);
    for (std::size_t x = 0; x < 4096; ++x) {
      const std::uint8_t* group = &packed[x / 2 * 4];
      const int y = 298 * (group[1 + 2 * (x & 1)] - 16);
      const int cb = group[0] - 128;
      const int cr = group[2] - 128;
      ASSERT_EQ(back[4 * x], std::clamp(y + 542 * cb, 0, 65535) >> 8);
      ASSERT_EQ(back[4 * x + 1], std::clamp(y - 55 * cb - 137 * cr, 0, 65535) >> 8);
      ASSERT_EQ(back[4 * x + 2], std::clamp(y + 459 * cr, 0, 65535) >> 8);
    }
  }
}

TEST(ColourAccuracy, RangeExpansionAndPremultiplicationAreRounded) {
  std::uint8_t luma[256], chroma[256];
  for (int i = 0; i < 256; ++i) luma[i] = chroma[i] = static_cast<std::uint8_t>(i);
  Packed().expandLuma(luma, 256);
  Packed().expandChroma(chroma, 256);
  for (int i = 0; i < 256; ++i) {
    EXPECT_LE(Off(luma[i], (i - 16) * 255.0 / 219), 0.52) << i;
    EXPECT_LE(Off(chroma[i], (i - 128) * 255.0 / 224 + 128), 0.52) << i;
  }
  for (int alpha = 0; alpha < 256; ++alpha) {
    for (int value = 0; value < 256; ++value) {
      std::uint8_t pixel[4] = {static_cast<std::uint8_t>(value), 255, 0,
                               static_cast<std::uint8_t>(alpha)};
      Channels().premultiply(pixel, 1);
      ASSERT_EQ(pixel[0], std::lround(value * alpha / 255.0));
      ASSERT_EQ(pixel[1], alpha);
      ASSERT_EQ(pixel[3], alpha);
    }
  }
}

}  // namespace
}  // namespace xv
