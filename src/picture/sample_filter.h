#pragma once

#include <vector>

namespace xv {

// How samples in between are made of their neighbours. All but kPoint and kFastBilinear widen with
// the ratio where a picture gets smaller.
enum class SampleFilter {
  kPoint,         // the nearest sample
  kFastBilinear,  // two neighbours, whatever the ratio
  kBilinear,
  kCatmullRom,  // cubic with a slope of -0.5: the horizontal filter of classic siting
  kBicubic,     // the same, with a slope of -0.6 where a picture gets smaller
  kArea,        // the mean of what a sample covers; bicubic where the picture gets larger
  kGauss,       // 2^(-3 x^2)
  kSinc,        // 10 samples to each side
  kLanczos,     // 3 samples to each side
  kSpline,      // a cubic spline through 6 samples
};

// The filters of a scaling quality.
struct QualityFilters {
  SampleFilter luma;  // and RGB
  SampleFilter chroma;
};
// Codes of ScaleEngine::ScaleImage; from kNamedQuality on the words of the attribute, in the order
// of kQualityWords. What has no meaning of its own is bicubic.
QualityFilters FiltersOfQuality(int code);
inline constexpr int kNamedQuality = 100;
inline constexpr const char* kQualityWords[] = {
    "auto",  "fast_bilinear", "bilinear", "bicubic", "area",  "bicublin",
    "gauss", "sinc",          "lanczos",  "spline",  "point",
};

// The weights of one target sample over samples from `first` on, which may lie outside the row.
struct SampleWindow {
  int first = 0;
  std::vector<double> weights;
};
// `position` in source samples, `ratio` source samples to a target sample.
SampleWindow WindowAt(double position, double ratio, SampleFilter filter);
// What lies outside of `count` samples counts at the edge.
SampleWindow InsideOf(const SampleWindow& window, int count);

// Whole weights with the sum of `unit`; what rounding leaves goes to the largest. Of several, none
// leaves 16 bits.
std::vector<int> WholeWeights(const std::vector<double>& weights, int unit);

}  // namespace xv
