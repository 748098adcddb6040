#include "picture/row_filter.h"

#include <algorithm>

#include "kernels/channel_kernels.h"
#include "kernels/row_sink.h"

namespace xv {
namespace {

constexpr int kUnit = 1 << kRowFilterBits;

std::size_t Index(int value) { return static_cast<std::size_t>(value); }

// Byte tables for groups of `group` targets; empty when a group does not fit `window` bytes.
// `spread` leaves the bytes in between to zeros.
AlignedVector<std::uint8_t> ShuffleOf(const RowFilter& filter, int group, int window, bool spread) {
  AlignedVector<std::uint8_t> table;
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

// The same for words, which are fewer to a vector.
void AddWordTables(RowFilter& filter) {
  int far16 = 0, far64 = 0;
  for (int x = 0; x < static_cast<int>(filter.first.size()); ++x) {
    const int offset16 = filter.first[Index(x)] - filter.first[Index(x - x % 4)];
    const int offset64 = filter.first[Index(x)] - filter.first[Index(x - x % 16)];
    far16 = std::max(far16, offset16);
    far64 = std::max(far64, offset64);
    for (const int byte : {0, 1, 2, 3}) {
      filter.words16.push_back(static_cast<std::uint8_t>(2 * offset16 + byte));
    }
    for (const int word : {0, 1}) {
      filter.words64.push_back(static_cast<std::uint16_t>(offset64 + word));
    }
  }
  if (far16 + 1 >= 8) filter.words16.clear();
  if (far64 + 1 >= 64) filter.words64.clear();
  filter.near64 = far64 + 1 < 32;
}

}  // namespace

RowFilter RowFilterOf(const std::vector<SampleWindow>& windows, int sourceWidth) {
  RowFilter filter;
  filter.sourceWidth = sourceWidth;
  filter.targetWidth = static_cast<int>(windows.size());
  std::size_t taps = 1;
  for (const SampleWindow& window : windows) taps = std::max(taps, window.weights.size());
  filter.pairs = static_cast<int>(taps + 1) / 2;
  const int padded =
      (filter.targetWidth + kRowFilterPadding - 1) / kRowFilterPadding * kRowFilterPadding;
  filter.step = 2 * Index(padded);
  filter.weights.resize(filter.step * Index(filter.pairs));
  filter.first.resize(Index(padded));
  for (int t = 0; t < filter.targetWidth; ++t) {
    const SampleWindow& window = windows[Index(t)];
    // All taps lie inside the row where it has as many samples.
    const int first = std::max(0, std::min(window.first, sourceWidth - 2 * filter.pairs));
    const std::vector<int> whole = WholeWeights(window.weights, kUnit);
    for (std::size_t i = 0; i < whole.size(); ++i) {
      const std::size_t tap = i + Index(window.first - first);
      filter.weights[tap / 2 * filter.step + 2 * Index(t) + tap % 2] =
          static_cast<std::int16_t>(whole[i]);
    }
    filter.first[Index(t)] = first;
  }
  std::fill(filter.first.begin() + filter.targetWidth, filter.first.end(),
            filter.first[Index(filter.targetWidth - 1)]);
  filter.shuffle16 = ShuffleOf(filter, 4, 16, true);
  filter.shuffle64 = ShuffleOf(filter, 16, 64, false);
  AddWordTables(filter);
  return filter;
}

RowFilter MakeRowFilter(int sourceWidth, int targetWidth, int quality) {
  const SampleFilter shape =
      quality == 4 ? SampleFilter::kCatmullRom : FiltersOfQuality(quality).luma;
  const double ratio = static_cast<double>(sourceWidth) / targetWidth;
  std::vector<SampleWindow> windows;
  for (int t = 0; t < targetWidth; ++t) {
    windows.push_back(InsideOf(WindowAt((t + 0.5) * ratio - 0.5, ratio, shape), sourceWidth));
  }
  return RowFilterOf(windows, sourceWidth);
}

const RowFilter& KeptRowFilter::For(int sourceWidth, int targetWidth, int quality) {
  if (filter_.sourceWidth != sourceWidth || filter_.targetWidth != targetWidth ||
      quality_ != quality) {
    filter_ = MakeRowFilter(sourceWidth, targetWidth, quality);
    quality_ = quality;
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
