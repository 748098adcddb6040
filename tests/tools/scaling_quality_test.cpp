#include <gtest/gtest.h>

#include <cmath>
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

struct Filter {
  Weight weight;
  double support;
};

// The samples of one direction that a scaled one is made of, with their weights.
std::vector<std::pair<int, double>> Taps(const Filter& filter, int count, int wanted, int at) {
  const double ratio = static_cast<double>(count) / wanted, stretch = std::max(ratio, 1.0);
  const double position = (at + 0.5) * ratio - 0.5, reach = filter.support * stretch;
  std::vector<std::pair<int, double>> taps;
  double total = 0;
  for (int i = static_cast<int>(std::ceil(position - reach)); i <= position + reach; ++i) {
    const double weight = filter.weight(std::fabs(i - position) / stretch);
    total += weight;
    taps.emplace_back(std::clamp(i, 0, count - 1), weight);
  }
  for (auto& [i, weight] : taps) weight /= total;
  return taps;
}

// Of a scaled picture against the formula, at every 31st sample.
double Psnr(const ProbedPlane& from, const std::vector<int>& samples, int width, int height,
            const Filter& filter) {
  double squares = 0, count = 0;
  for (int i = 0; i < width * height; i += 31, ++count) {
    double exact = 0;
    const auto across = Taps(filter, from.width, width, i % width);
    for (const auto& [y, down] : Taps(filter, from.height, height, i / width)) {
      for (const auto& [x, weight] : across) exact += down * weight * from.At(x, y);
    }
    squares += std::pow(samples[static_cast<std::size_t>(i)] - std::clamp(exact, 0.0, 255.0), 2);
  }
  return 10 * std::log10(255.0 * 255.0 * count / squares);
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
  for (const Filter& filter : {Filter{Lanczos, 3}, Filter{CatmullRom, 2}}) {
    EXPECT_GT(Psnr(source, scaled.samples, kWidth, kHeight, filter),
              Psnr(source, library, kWidth, kHeight, filter) - 0.05)
        << filter.support;
  }
}

}  // namespace
}  // namespace xv::test
