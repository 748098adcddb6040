#include "picture/filter_bank.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "picture/rounding.h"

namespace xv {
struct FilterBank::Plan {
  int sourceHeight;
  int targetHeight;
  bool separate;  // by parity
  int step;       // target rows from one bank row to the next
  bool doubled;   // distances count twice: one field makes a frame
  int length;
  double ratio;
  double sharpness;
  double sigma;

  Plan(int source, int target, FieldMode mode, double sharp)
      : sourceHeight(source),
        targetHeight(target),
        separate(mode != FieldMode::kFrame),
        step(mode == FieldMode::kFields ? 2 : 1),
        doubled(mode == FieldMode::kTopToFrame || mode == FieldMode::kBottomToFrame),
        ratio(static_cast<double>(source) / target),
        sharpness(sharp) {
    if (source == target) {
      sharpness *= 0.75;
    } else if (doubled) {
      sharpness *= 1.5;
    }
    length = Length();
    sigma = ratio > 1 ? ratio * sharpness / 1.2 : ratio * sharpness * 1.5;
    if (mode != FieldMode::kFields) sigma /= 2;
  }

  int Length() const {
    // A row of the source for each row of the target: nothing to filter.
    const int a = separate ? 2 : 1;
    if (sourceHeight * step == targetHeight * a) return 1;
    if (sharpness < 0) return 1;
    if (sharpness == 0) return 2;
    const int base = sourceHeight > targetHeight
                         ? std::max(5, static_cast<int>(sourceHeight * 1.5 / targetHeight + 1))
                         : 4;
    return std::clamp(RoundHalfAway(base * sharpness), 3, kMaxFilterTaps);
  }

  bool Takes(int row, int parity) const {
    if (parity == 1) return row >= 1 && row < sourceHeight && (row & 1) == 1;
    return row >= 0 && row <= ((sourceHeight - 1) & ~1) && (!separate || (row & 1) == 0);
  }

  double WeightAt(double distance) const {
    if (sharpness > 0) {
      const double d = doubled ? 2 * distance : distance;
      return std::exp(-d * d / (2 * sigma * sigma)) / (std::sqrt(2 * std::numbers::pi) * sigma);
    }
    return std::max((separate ? 2.0 : 1.0) - std::fabs(distance), 0.0);
  }

  // Source rows outward from the position, the side of the exact position first.
  int Collect(double position, int parity, std::int32_t* rows) const {
    const int nearest = RoundHalfAway(position);
    const int side = position >= nearest ? 1 : -1;
    const int limit = (separate ? 4 : 2) * length;
    int taken = 0;
    for (int i = 0; i < limit && taken < length; ++i) {
      const int outward = (i + 1) / 2 * ((i & 1) != 0 ? side : -side);
      if (Takes(nearest + outward, parity)) rows[taken++] = nearest + outward;
    }
    return taken;
  }

  // Whole weights that sum up to 255 exactly.
  static void Quantise(const std::int32_t* rows, const double* weights, int taps, Row& row) {
    constexpr int kSum = 255;
    double total = 0;
    for (int i = 0; i < taps; ++i) total += weights[i];
    int shared = 0;
    int share[kMaxFilterTaps] = {};
    for (int i = 0; i < taps; ++i) {
      const int wanted = total > 0 ? RoundHalfAway(kSum * weights[i] / total) : (i == 0 ? kSum : 0);
      share[i] = std::min(wanted, kSum - shared);
      shared += share[i];
      row.source[static_cast<std::size_t>(i)] = rows[i];
      ++row.taps;
      if (shared == kSum && i + 1 < taps) {
        // Nothing is left for the next tap: it repeats this row and ends the list.
        row.source[static_cast<std::size_t>(i + 1)] = rows[i];
        break;
      }
    }
    share[0] += kSum - shared;
    for (int i = 0; i < row.taps; ++i) {
      row.weight[static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(share[i]);
    }
  }

  Row Make(int bankRow, int parity) const {
    const int targetRow = parity == 0 ? bankRow * step : step * (bankRow + 1) - 1;
    const double position = targetRow * ratio;
    Row row;
    std::int32_t rows[kMaxFilterTaps] = {};
    const int taps = Collect(position, parity, rows);
    if (taps == 0) {
      row.taps = 1;
      row.weight[0] = 255;
      row.source[0] = std::clamp(RoundHalfAway(position), 0, sourceHeight - 1);
      return row;
    }
    double weights[kMaxFilterTaps] = {};
    for (int i = 0; i < taps; ++i) weights[i] = WeightAt(rows[i] - position);
    Quantise(rows, weights, taps, row);
    return row;
  }
};

void FilterBank::Build(int sourceHeight, int targetHeight, FieldMode mode, double sharpness) {
  if (built_ && sourceHeight == sourceHeight_ && targetHeight == targetHeight_ && mode == mode_ &&
      sharpness == sharpness_) {
    return;
  }
  sourceHeight_ = sourceHeight;
  targetHeight_ = targetHeight;
  mode_ = mode;
  sharpness_ = sharpness;
  built_ = true;
  const Plan plan(sourceHeight, targetHeight, mode, sharpness);
  const int rows = targetHeight / plan.step + 1;
  for (int parity = 0; parity < 2; ++parity) {
    std::vector<Row>& bank = banks_[static_cast<std::size_t>(parity)];
    bank.clear();
    const bool used = parity == 0 ? mode != FieldMode::kBottomToFrame
                                  : mode == FieldMode::kFields || mode == FieldMode::kBottomToFrame;
    for (int t = 0; used && t < rows; ++t) bank.push_back(plan.Make(t, parity));
  }
}

const FilterBank::Row& FilterBank::At(int t, int fieldFlags) const {
  if (mode_ == FieldMode::kFields) {
    const int parity = (t + ((fieldFlags & kExchangeParity) != 0 ? 1 : 0)) & 1;
    return banks_[static_cast<std::size_t>(parity)][static_cast<std::size_t>(t / 2)];
  }
  const std::size_t bank = mode_ == FieldMode::kBottomToFrame ? 1 : 0;
  return banks_[bank][static_cast<std::size_t>(t)];
}

double SharpnessOfQuality(int quality, double horizontalFactor, double offset) {
  if (quality == 8 && horizontalFactor > 1.0) quality = 5;
  double sharpness = 1.0;
  if (quality == 1) sharpness = -1.0;
  if (quality == 2) sharpness = 0.5;
  if (quality == 4) sharpness = 0.75;
  if (quality >= 5 && quality <= 7) sharpness = (quality - 5) * 0.05 + 0.8;
  if (offset == 0) return sharpness;
  if (sharpness < 0) sharpness = 0.5;
  if (sharpness == 0) sharpness = 0.8;
  return offset > 0 ? sharpness / (offset / 25 + 1) : sharpness * (1 - offset / 25);
}

}  // namespace xv
