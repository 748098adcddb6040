#pragma once

#include "kernels/scale_row.h"

namespace xv {

// The filter of the horizontal direction. Target sample t stands at (t + 0.5) * ratio - 0.5 +
// `shift` source samples. `quality` 1 takes the nearest sample, 2 is linear, 8 averages the area,
// 16 is Lanczos with 3 lobes, all others cubic (Catmull-Rom); filters widen with the ratio where
// the picture gets narrower. Weights sum up to 2^14 exactly; what lies outside the row counts as
// its first or last sample.
RowFilter MakeRowFilter(int sourceWidth, int targetWidth, int quality, double shift);

// A row filter that is kept as long as nothing changes. One caller at a time.
class KeptRowFilter {
 public:
  const RowFilter& For(int sourceWidth, int targetWidth, int quality, double shift);

 private:
  RowFilter filter_;
  int quality_ = 0;
  double shift_ = 0;
};

// One row of samples or pixels of 1, 3 or 4 bytes. `slack` bytes behind the source may be read.
void ScaleRow(const RowFilter& filter, const std::uint8_t* source, int slack, std::uint8_t* target,
              int sampleBytes);

}  // namespace xv
