#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "kernels/filter_row.h"

namespace xv {

// How the rows of a picture stand against one another, the low two bits of the field flags.
enum class FieldMode {
  kFields = 0,         // both sides interlaced: target rows of a parity come from source rows of it
  kTopToFrame = 1,     // every target row from the even source rows
  kBottomToFrame = 2,  // every target row from the odd source rows
  kFrame = 3,          // no parity
};
inline constexpr int kFieldModeMask = 3;
// With kFields: target row t takes the parity of t + 1.
inline constexpr int kExchangeParity = 0x10;
// The first target row is a copy of the second, the last one of the last but one.
inline constexpr int kCopyFirstRow = 0x20;
inline constexpr int kCopyLastRow = 0x40;

// Of centred siting with kFields: the content moves down or up by a line.
inline constexpr int kLineDown = 0x80;
inline constexpr int kLineUp = 0x100;

// The vertical filter of classic siting: for each target row and parity the source rows that make
// it, with 8-bit weights that sum up to 255. Target row t stands at t * ratio source rows. One
// owner at a time.
class FilterBank {
 public:
  struct Row {
    int taps = 0;
    std::array<std::int32_t, kMaxFilterTaps> source{};
    std::array<std::uint8_t, kMaxFilterTaps> weight{};
  };

  // `sharpness` is the width of the filter in source rows at a ratio of 1: 0 gives 2 taps,
  // a negative one the nearest row. Does nothing when nothing has changed since the last call.
  void Build(int sourceHeight, int targetHeight, FieldMode mode, double sharpness);

  // The taps of target row `t`.
  const Row& At(int t, int fieldFlags) const;

 private:
  struct Plan;

  int sourceHeight_ = 0;
  int targetHeight_ = 0;
  FieldMode mode_ = FieldMode::kFrame;
  double sharpness_ = 0;
  bool built_ = false;
  std::array<std::vector<Row>, 2> banks_;
};

// The sharpness that a scaling quality stands for: 1 nearest (-1), 2 0.5, 4 0.75, 5 to 7 0.8 to
// 0.9, else 1; 8 counts as 5 where the picture gets wider. A positive `offset` softens
// the filter by 1 / (offset / 25 + 1), a negative one widens it by 1 - offset / 25.
double SharpnessOfQuality(int quality, double horizontalFactor, double offset);

}  // namespace xv
