#pragma once

#include <array>
#include <vector>

#include "kernels/scale_row.h"
#include "picture/filter_bank.h"
#include "picture/wide_picture.h"

namespace xv {

// What is asked of a WideScaler. `mode` and `exchange` as kFieldModeMask and kExchangeParity of
// filter_bank.h; in the field modes both pictures are whole frames.
struct WideJob {
  QualityFilters filters{SampleFilter::kBicubic, SampleFilter::kBicubic};
  FieldMode mode = FieldMode::kFrame;
  bool exchange = false;
  int lines = 0;  // that the content moves down
};

// Scales pictures with every sample where it belongs: luma, chroma of any sampling and both fields
// stand on one grid of lines and columns, whose pictures cover each other edge to edge. Between
// source and target samples have 16 bits. What needs no filter keeps its codes. Filters and
// temporaries stay from one picture to the next. One caller at a time.
class WideScaler {
 public:
  // Related layouts. Nothing is made of a picture without samples.
  void Scale(const WidePicture& source, const WidePicture& target, const WideJob& job);

 private:
  // The filters of a group of components.
  struct Plan {
    SampleMapping mapping;
    RowFilter row;
    bool across = false;       // widths differ
    bool acrossFirst = false;  // the direction that makes the picture smaller comes first
    std::array<ColumnFilter, 2> columns;  // of frames the first, of fields one for each
    std::size_t stride = 0;               // from segment to segment of a wide row
  };
  // What one thread keeps for a group: source rows that are ready for the vertical filter.
  struct Ring {
    AlignedVector<std::int16_t> memory;
    std::vector<int> rows;
    std::vector<const std::int16_t*> taps;
  };
  struct Lane {
    std::array<Ring, 2> rings;
    WideScratch source, target;
    AlignedVector<std::int16_t> made[2];
  };

  void PlanGroup(int group, const WidePicture& source, const WidePicture& target,
                 const WideJob& job);
  void ShapeRing(int group, const WidePicture& source, Lane& lane) const;
  void RunLane(int number);
  const std::int16_t* Prepared(int group, int row, Lane& lane) const;
  void Across(int group, const std::int16_t* from, std::int16_t* to) const;
  void MakeRow(int group, int row, Lane& lane) const;

  const WidePicture* source_ = nullptr;
  const WidePicture* target_ = nullptr;
  WideJob job_;
  std::array<Plan, 2> plans_;
  std::array<Lane, 2> lanes_;
};

}  // namespace xv
