#pragma once

#include <cstdint>
#include <vector>

#include "picture/sample_filter.h"

namespace xv {

// Where the samples of a component stand along one direction: sample i at `origin` + i * `step`
// luma samples.
struct SampleGrid {
  double step = 1;
  double origin = 0;

  bool operator==(const SampleGrid&) const = default;
  // The samples of one field, of two that take turns.
  SampleGrid Field(int parity) const { return {2 * step, origin + parity * step}; }
  // `count` samples seen from the other end of `extent` luma samples.
  SampleGrid Reversed(int count, int extent) const {
    return {step, extent - 1 - origin - (count - 1) * step};
  }
};

// One direction of a scaling.
struct SampleMapping {
  int sourceCount = 0;
  int targetCount = 0;
  SampleGrid source;
  SampleGrid target;
  double ratio = 1;  // source luma samples to a target luma sample
  SampleFilter filter = SampleFilter::kBicubic;
  double shift = 0;  // source luma samples that all windows lie farther on

  bool operator==(const SampleMapping&) const = default;
  // Each target sample is the source sample of its number.
  bool IsIdentity() const;
  // Windows inside of the source, one for each target sample.
  std::vector<SampleWindow> Windows() const;
};

// The vertical filter for the wide kernels, kept as long as nothing changes. One caller at a time.
class ColumnFilter {
 public:
  struct Row {
    int first = 0;
    int taps = 0;
    const std::int16_t* weights = nullptr;  // sum up to 2^15; null where one tap is a copy
  };

  void Build(const SampleMapping& mapping);
  Row At(int target) const;
  int MostTaps() const { return mostTaps_; }

 private:
  struct Entry {
    int first;
    int taps;
    std::size_t weights;
  };

  SampleMapping mapping_;
  std::vector<Entry> rows_;
  std::vector<std::int16_t> weights_;
  int mostTaps_ = 0;
};

}  // namespace xv
