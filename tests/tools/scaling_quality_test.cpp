#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <numbers>

#include "support/media_probe.h"
#include "support/peer_process.h"

extern "C" {
#include <libswscale/swscale.h>
}

// The bundled clip, scaled by a recording, against filters in double precision.
namespace xv::test {
namespace {

using Weight = double (*)(double distance);

double CatmullRom(double x) {
  if (x < 1) return (1.5 * x - 2.5) * x * x + 1;
  return x < 2 ? ((-0.5 * x + 2.5) * x - 4) * x + 2 : 0.0;
}
double Sinc(double x) {
  return x == 0 ? 1.0 : std::sin(std::numbers::pi * x) / (std::numbers::pi * x);
}
double Lanczos(double x) { return x < 3 ? Sinc(x) * Sinc(x / 3) : 0.0; }

// One direction of the scaling: `count` samples `apart` from each other become `wanted`.
std::vector<double> Scaled(const std::vector<double>& source, int wanted, Weight weight,
                           double support) {
  const auto count = static_cast<int>(source.size());
  const double ratio = static_cast<double>(count) / wanted;
  const double stretch = std::max(ratio, 1.0);
  std::vector<double> made;
  for (int t = 0; t < wanted; ++t) {
    const double position = (t + 0.5) * ratio - 0.5;
    double sum = 0, total = 0;
    for (int i = static_cast<int>(std::ceil(position - support * stretch));
         i <= position + support * stretch; ++i) {
      const double w = weight(std::fabs(i - position) / stretch);
      total += w;
      sum += w * source[static_cast<std::size_t>(std::clamp(i, 0, count - 1))];
    }
    made.push_back(sum / total);
  }
  return made;
}

std::vector<double> Reference(const ProbedPlane& from, int width, int height, Weight weight,
                              double support) {
  std::vector<std::vector<double>> columns(static_cast<std::size_t>(width));
  for (int y = 0; y < from.height; ++y) {
    const auto begin = from.samples.begin() + static_cast<std::ptrdiff_t>(y) * from.width;
    const std::vector<double> row = Scaled({begin, begin + from.width}, width, weight, support);
    for (std::size_t x = 0; x < row.size(); ++x) columns[x].push_back(row[x]);
  }
  std::vector<double> made(static_cast<std::size_t>(width * height));
  for (int x = 0; x < width; ++x) {
    const std::vector<double> column =
        Scaled(columns[static_cast<std::size_t>(x)], height, weight, support);
    for (int y = 0; y < height; ++y) {
      made[static_cast<std::size_t>(y * width + x)] =
          std::clamp(column[static_cast<std::size_t>(y)], 0.0, 255.0);
    }
  }
  return made;
}

double Psnr(const std::vector<int>& samples, const std::vector<double>& reference) {
  double squares = 0;
  for (std::size_t i = 0; i < samples.size(); ++i) {
    squares += std::pow(samples[i] - reference[i], 2);
  }
  return 10 * std::log10(255.0 * 255.0 * static_cast<double>(samples.size()) / squares);
}

std::vector<int> ThroughLibrary(const ProbedPlane& from, int width, int height) {
  const std::vector<std::uint8_t> source(from.samples.begin(), from.samples.end());
  std::vector<std::uint8_t> made(static_cast<std::size_t>(width * height) + 64);
  SwsContext* context =
      sws_getContext(from.width, from.height, AV_PIX_FMT_GRAY8, width, height, AV_PIX_FMT_GRAY8,
                     SWS_BICUBIC | SWS_ACCURATE_RND, nullptr, nullptr, nullptr);
  const std::uint8_t* in[4] = {source.data()};
  std::uint8_t* out[4] = {made.data()};
  const int inStep[4] = {from.width};
  const int outStep[4] = {width};
  sws_scale(context, in, inStep, 0, from.height, out, outStep);
  sws_freeContext(context);
  return {made.begin(), made.end() - 64};
}

TEST(Xvrecord, ScalesAsWellAsTheLibrarysBicubic) {
  constexpr int kWidth = 720, kHeight = 576;
  TemporaryFolder folder;
  const auto run = RunProgram({XVRECORD, "--quiet", "-a",
                               "video::codec=ffv1 video::size=720x576 audio::enabled=false", BUNNY,
                               folder / "out.avi"});
  ASSERT_EQ(run.status, 0) << run.err;
  const ProbedPlane source = Probe(BUNNY).Pictures().first.at(0);
  const ProbedPlane scaled = Probe(folder / "out.avi").Pictures().first.at(0);
  ASSERT_EQ(scaled.width, kWidth);
  const std::vector<int> library = ThroughLibrary(source, kWidth, kHeight);
  for (const auto& [weight, support] : {std::pair<Weight, double>{Lanczos, 3}, {CatmullRom, 2}}) {
    const std::vector<double> reference = Reference(source, kWidth, kHeight, weight, support);
    const double ours = Psnr(scaled.samples, reference);
    EXPECT_GT(ours, Psnr(library, reference) - 0.01) << support;
    RecordProperty("support_" + std::to_string(static_cast<int>(support)), std::to_string(ours));
  }
}

}  // namespace
}  // namespace xv::test
