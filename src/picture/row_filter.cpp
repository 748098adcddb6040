#include "picture/row_filter.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "kernels/channel_kernels.h"
#include "kernels/row_sink.h"

namespace xv {
namespace {

constexpr int kUnit = 1 << kRowFilterBits;

double Sinc(double x) {
  return x == 0 ? 1.0 : std::sin(std::numbers::pi * x) / (std::numbers::pi * x);
}

double Linear(double x) { return std::max(0.0, 1 - x); }
double Cubic(double x) {
  if (x < 1) return (1.5 * x - 2.5) * x * x + 1;
  return x < 2 ? ((-0.5 * x + 2.5) * x - 4) * x + 2 : 0.0;
}
double Lanczos(double x) { return x < 3 ? Sinc(x) * Sinc(x / 3) : 0.0; }

struct Shape {
  double support;  // half the width at a ratio of 1
  double (*weight)(double distance);
};

Shape ShapeOf(int quality) {
  if (quality == 2) return {1, Linear};
  return quality == 16 ? Shape{3, Lanczos} : Shape{2, Cubic};
}

// The weights of one target sample over samples from `first` on.
struct Window {
  int first = 0;
  std::vector<double> weights;
};

// What a sample of width 1 at `index` covers of [low, high).
double Covered(int index, double low, double high) {
  return std::max(0.0, std::min(high, index + 0.5) - std::max(low, index - 0.5));
}

Window WindowAt(double position, double ratio, int quality) {
  if (quality == 1) return {static_cast<int>(std::ceil(position - 0.5)), {1.0}};
  const bool area = quality == 8 && ratio > 1;
  const Shape shape = ShapeOf(quality);
  const double stretch = std::max(ratio, 1.0);
  const double reach = area ? ratio / 2 + 0.5 : shape.support * stretch;
  const int first = static_cast<int>(std::ceil(position - reach));
  const int last = static_cast<int>(std::floor(position + reach));
  Window window{first, {}};
  for (int i = first; i <= last; ++i) {
    window.weights.push_back(area ? Covered(i, position - ratio / 2, position + ratio / 2)
                                  : shape.weight(std::fabs(i - position) / stretch));
  }
  return window;
}

// Brings a window inside the row: what lies outside counts at the edge.
Window Inside(const Window& window, int width) {
  Window inside{std::clamp(window.first, 0, width - 1), {}};
  for (std::size_t i = 0; i < window.weights.size(); ++i) {
    const int index = std::clamp(window.first + static_cast<int>(i), 0, width - 1);
    const auto at = static_cast<std::size_t>(index - inside.first);
    if (inside.weights.size() <= at) inside.weights.resize(at + 1);
    inside.weights[at] += window.weights[i];
  }
  return inside;
}

// Whole weights with the sum of kUnit; what rounding leaves goes to the largest.
std::vector<int> Quantised(const std::vector<double>& weights) {
  double total = 0;
  for (const double weight : weights) total += weight;
  std::vector<int> whole;
  int left = kUnit;
  for (const double weight : weights) {
    whole.push_back(static_cast<int>(std::lround(weight / total * kUnit)));
    left -= whole.back();
  }
  *std::max_element(whole.begin(), whole.end()) += left;
  return whole;
}

std::size_t Index(int value) { return static_cast<std::size_t>(value); }

// Byte tables for groups of `group` targets; empty when a group does not fit `window` bytes.
// `spread` leaves the bytes in between to zeros.
std::vector<std::uint8_t> ShuffleOf(const RowFilter& filter, int group, int window, bool spread) {
  std::vector<std::uint8_t> table;
  table.reserve(filter.first.size() * 4);
  for (int x = 0; x < static_cast<int>(filter.first.size()); ++x) {
    const int offset = filter.first[Index(x)] - filter.first[Index(x - x % group)];
    if (offset + 1 >= window) return {};
    const auto low = static_cast<std::uint8_t>(offset);
    const auto high = static_cast<std::uint8_t>(offset + 1);
    const std::uint8_t none = spread ? 0x80 : 0;
    table.insert(table.end(), {low, none, high, none});
  }
  return table;
}

}  // namespace

RowFilter MakeRowFilter(int sourceWidth, int targetWidth, int quality, double shift) {
  RowFilter filter;
  filter.sourceWidth = sourceWidth;
  filter.targetWidth = targetWidth;
  const double ratio = static_cast<double>(sourceWidth) / targetWidth;
  std::vector<Window> windows;
  std::size_t taps = 1;
  for (int t = 0; t < targetWidth; ++t) {
    const double position = (t + 0.5) * ratio - 0.5 + shift;
    windows.push_back(Inside(WindowAt(position, ratio, quality), sourceWidth));
    taps = std::max(taps, windows.back().weights.size());
  }
  filter.pairs = static_cast<int>(taps + 1) / 2;
  const int padded = (targetWidth + kRowFilterPadding - 1) / kRowFilterPadding * kRowFilterPadding;
  filter.step = 2 * Index(padded);
  filter.weights.resize(filter.step * Index(filter.pairs));
  filter.first.resize(Index(padded));
  for (int t = 0; t < targetWidth; ++t) {
    const Window& window = windows[Index(t)];
    // All taps lie inside the row where it has as many samples.
    const int first = std::max(0, std::min(window.first, sourceWidth - 2 * filter.pairs));
    const std::vector<int> whole = Quantised(window.weights);
    for (std::size_t i = 0; i < whole.size(); ++i) {
      const std::size_t tap = i + Index(window.first - first);
      filter.weights[tap / 2 * filter.step + 2 * Index(t) + tap % 2] =
          static_cast<std::int16_t>(whole[i]);
    }
    filter.first[Index(t)] = first;
  }
  std::fill(filter.first.begin() + targetWidth, filter.first.end(),
            filter.first[Index(targetWidth - 1)]);
  filter.shuffle16 = ShuffleOf(filter, 4, 16, true);
  filter.shuffle64 = ShuffleOf(filter, 16, 64, false);
  return filter;
}

const RowFilter& KeptRowFilter::For(int sourceWidth, int targetWidth, int quality, double shift) {
  if (filter_.sourceWidth != sourceWidth || filter_.targetWidth != targetWidth ||
      quality_ != quality || shift_ != shift) {
    filter_ = MakeRowFilter(sourceWidth, targetWidth, quality, shift);
    quality_ = quality;
    shift_ = shift;
  }
  return filter_;
}

void ScaleRow(const RowFilter& filter, const std::uint8_t* source, int slack, std::uint8_t* target,
              int sampleBytes) {
  if (sampleBytes == 1) {
    ScaleRows().scale1(filter, source, slack, target);
    return;
  }
  if (sampleBytes == 4) {
    ScaleRows().scale4(filter, source, slack, target);
    return;
  }
  // Three bytes go as four.
  const auto sourceBytes = Index(4 * filter.sourceWidth);
  std::uint8_t* from = RowScratch(4, sourceBytes + kRowFilterSlack);
  std::uint8_t* to = RowScratch(5, Index(4 * filter.targetWidth));
  Channels().addAlpha(source, from, filter.sourceWidth, 255);
  ScaleRows().scale4(filter, from, kRowFilterSlack, to);
  Channels().dropAlpha(to, target, filter.targetWidth);
}

}  // namespace xv
