#include "picture/sample_filter.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <numbers>

#include "picture/rounding.h"

namespace xv {
namespace {

double Sinc(double x) {
  return x == 0 ? 1.0 : std::sin(std::numbers::pi * x) / (std::numbers::pi * x);
}

double Box(double) { return 1; }
double Linear(double x) { return std::max(0.0, 1 - x); }
double Gauss(double x) { return std::exp2(-3 * x * x); }
double WholeSinc(double x) { return x < 10 ? Sinc(x) : 0.0; }
double Lanczos(double x) { return x < 3 ? Sinc(x) * Sinc(x / 3) : 0.0; }

// The cubic through its samples with slope `a` at a distance of 1.
double Cubic(double x, double a) {
  if (x < 1) return ((a + 2) * x - (a + 3)) * x * x + 1;
  return x < 2 ? (((x - 5) * x + 8) * x - 4) * a : 0.0;
}
double CatmullRom(double x) { return Cubic(x, -0.5); }
// Nearer to Lanczos, for pictures that get smaller; where they get larger, its lines would stand a
// twentieth off at some places.
double Sharper(double x) { return Cubic(x, -0.6); }

double Spline(double x) {
  if (x < 1) return ((13.0 / 11 * x - 453.0 / 209) * x - 3.0 / 209) * x + 1;
  if (x < 2) {
    x -= 1;
    return ((-6.0 / 11 * x + 270.0 / 209) * x - 156.0 / 209) * x;
  }
  if (x >= 3) return 0;
  x -= 2;
  return ((1.0 / 11 * x - 45.0 / 209) * x + 26.0 / 209) * x;
}

struct Shape {
  double support;  // half the width at a ratio of 1
  double (*weight)(double distance);
};

Shape ShapeOf(SampleFilter filter, double ratio) {
  switch (filter) {
    case SampleFilter::kPoint:
      return {0.5, Box};
    case SampleFilter::kFastBilinear:
    case SampleFilter::kBilinear:
      return {1, Linear};
    case SampleFilter::kCatmullRom:
      return {2, CatmullRom};
    case SampleFilter::kGauss:
      return {2, Gauss};
    case SampleFilter::kSinc:
      return {10, WholeSinc};
    case SampleFilter::kLanczos:
      return {3, Lanczos};
    case SampleFilter::kSpline:
      return {3, Spline};
    default:
      return {2, ratio > 1 ? Sharper : CatmullRom};
  }
}

// What a sample of width 1 at `index` covers of [low, high).
double Covered(int index, double low, double high) {
  return std::max(0.0, std::min(high, index + 0.5) - std::max(low, index - 0.5));
}

SampleWindow AreaAt(double position, double ratio) {
  const double reach = ratio / 2 + 0.5;
  SampleWindow window{static_cast<int>(std::ceil(position - reach)), {}};
  for (int i = window.first; i <= static_cast<int>(std::floor(position + reach)); ++i) {
    window.weights.push_back(Covered(i, position - ratio / 2, position + ratio / 2));
  }
  return window;
}

}  // namespace

QualityFilters FiltersOfQuality(int code) {
  using F = SampleFilter;
  constexpr QualityFilters kNamed[] = {
      {F::kBicubic, F::kBicubic},   {F::kFastBilinear, F::kFastBilinear},
      {F::kBilinear, F::kBilinear}, {F::kBicubic, F::kBicubic},
      {F::kArea, F::kArea},         {F::kBicubic, F::kBilinear},
      {F::kGauss, F::kGauss},       {F::kSinc, F::kSinc},
      {F::kLanczos, F::kLanczos},   {F::kSpline, F::kSpline},
      {F::kPoint, F::kPoint},
  };
  static_assert(std::size(kNamed) == std::size(kQualityWords));
  const int named = code - kNamedQuality;
  if (named >= 0) {
    return named < static_cast<int>(std::size(kNamed)) ? kNamed[named] : kNamed[0];
  }
  const F filter = code == 1    ? F::kPoint
                   : code == 2  ? F::kBilinear
                   : code == 8  ? F::kArea
                   : code == 16 ? F::kLanczos
                                : F::kBicubic;
  return {filter, filter};
}

SampleWindow WindowAt(double position, double ratio, SampleFilter filter) {
  if (filter == SampleFilter::kPoint) return {static_cast<int>(std::ceil(position - 0.5)), {1.0}};
  if (filter == SampleFilter::kArea && ratio > 1) return AreaAt(position, ratio);
  const Shape shape = ShapeOf(filter, ratio);
  const double stretch = filter == SampleFilter::kFastBilinear ? 1.0 : std::max(ratio, 1.0);
  const double reach = shape.support * stretch;
  SampleWindow window{static_cast<int>(std::ceil(position - reach)), {}};
  for (int i = window.first; i <= static_cast<int>(std::floor(position + reach)); ++i) {
    window.weights.push_back(shape.weight(std::fabs(i - position) / stretch));
  }
  return window;
}

SampleWindow InsideOf(const SampleWindow& window, int count) {
  SampleWindow inside{std::clamp(window.first, 0, count - 1), {}};
  for (std::size_t i = 0; i < window.weights.size(); ++i) {
    const int index = std::clamp(window.first + static_cast<int>(i), 0, count - 1);
    const auto at = static_cast<std::size_t>(index - inside.first);
    if (inside.weights.size() <= at) inside.weights.resize(at + 1);
    inside.weights[at] += window.weights[i];
  }
  return inside;
}

std::vector<int> WholeWeights(const std::vector<double>& weights, int unit) {
  double total = 0;
  for (const double weight : weights) total += weight;
  std::vector<int> whole;
  int left = unit;
  for (const double weight : weights) {
    whole.push_back(RoundHalfAway(weight / total * unit));
    left -= whole.back();
  }
  const auto largest = std::max_element(whole.begin(), whole.end());
  *largest += left;
  if (const int over = *largest - INT16_MAX; over > 0 && whole.size() > 1) {
    *largest -= over;
    *(largest == whole.begin() ? largest + 1 : largest - 1) += over;
  }
  return whole;
}

}  // namespace xv
