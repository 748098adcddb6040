#include "picture/column_filter.h"

#include <algorithm>
#include <cmath>

#include "kernels/wide_rows.h"

namespace xv {

bool SampleMapping::IsIdentity() const {
  return sourceCount == targetCount && ratio == 1 && shift == 0 && source == target;
}

std::vector<SampleWindow> SampleMapping::Windows() const {
  std::vector<SampleWindow> windows;
  windows.reserve(static_cast<std::size_t>(targetCount));
  const double apart = ratio * target.step / source.step;
  for (int i = 0; i < targetCount; ++i) {
    const double place = (target.origin + i * target.step + 0.5) * ratio - 0.5 + shift;
    double position = (place - source.origin) / source.step;
    // Sums of fractions miss whole samples by what doubles cannot hold.
    if (std::fabs(position - std::round(position)) < 1e-9) position = std::round(position);
    windows.push_back(InsideOf(WindowAt(position, apart, filter), sourceCount));
  }
  return windows;
}

void ColumnFilter::Build(const SampleMapping& mapping) {
  if (mapping == mapping_) return;
  mapping_ = mapping;
  rows_.clear();
  weights_.clear();
  mostTaps_ = 1;
  for (const SampleWindow& window : mapping.Windows()) {
    std::vector<int> whole = WholeWeights(window.weights, 1 << kColumnFilterBits);
    const auto counts = [](int weight) { return weight != 0; };
    const auto begin = std::find_if(whole.begin(), whole.end(), counts);
    const auto end = std::find_if(whole.rbegin(), whole.rend(), counts).base();
    const int taps = static_cast<int>(end - begin);
    rows_.push_back(
        {window.first + static_cast<int>(begin - whole.begin()), taps, weights_.size()});
    mostTaps_ = std::max(mostTaps_, taps);
    if (taps > 1) weights_.insert(weights_.end(), begin, end);
  }
}

ColumnFilter::Row ColumnFilter::At(int target) const {
  const Entry& entry = rows_[static_cast<std::size_t>(target)];
  return {entry.first, entry.taps, entry.taps > 1 ? &weights_[entry.weights] : nullptr};
}

}  // namespace xv
