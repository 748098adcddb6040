#pragma once

#include <vector>

#include "kernels/scale_row.h"
#include "picture/sample_filter.h"

namespace xv {

// The filter of a row out of windows that lie inside of it, one for each target sample. Weights sum
// up to 2^14 exactly.
RowFilter RowFilterOf(const std::vector<SampleWindow>& windows, int sourceWidth);

// The horizontal filter of classic siting. Target sample t stands at (t + 0.5) * ratio - 0.5 source
// samples. `quality` 1 takes the nearest sample, 2 is linear, 8 averages the area, 16 is Lanczos
// with 3 lobes, 4 cubic (Catmull-Rom).
RowFilter MakeRowFilter(int sourceWidth, int targetWidth, int quality);

// A row filter that is kept as long as nothing changes. One caller at a time.
class KeptRowFilter {
 public:
  const RowFilter& For(int sourceWidth, int targetWidth, int quality);

 private:
  RowFilter filter_;
  int quality_ = 0;
};

// One row of samples or pixels of 1, 3 or 4 bytes. `slack` bytes behind the source may be read.
void ScaleRow(const RowFilter& filter, const std::uint8_t* source, int slack, std::uint8_t* target,
              int sampleBytes);

}  // namespace xv
