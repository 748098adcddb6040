#include "picture/wide_scaler.h"

#include <algorithm>

#include "kernels/wide_rows.h"
#include "picture/row_filter.h"
#include "platform/work_items.h"

namespace xv {
namespace {

constexpr int kRowUnit = 128;  // samples; what the kernels make at a time, at most
constexpr int kNoRow = -1;

std::size_t Padded(int samples) {
  return static_cast<std::size_t>((samples + kRowUnit - 1) / kRowUnit * kRowUnit + kWideSlack);
}

int FieldCount(int rows, int parity) { return (rows + 1 - parity) / 2; }

}  // namespace

void WideScaler::PlanGroup(int group, const WidePicture& source, const WidePicture& target,
                           const WideJob& job) {
  Plan& plan = plans_[static_cast<std::size_t>(group)];
  const WidePicture::Group& from = source.At(group);
  const WidePicture::Group& to = target.At(group);
  const SampleFilter filter = group == 0 ? job.filters.luma : job.filters.chroma;
  const SampleMapping across{
      from.width, to.width, from.x, to.x, static_cast<double>(source.Width()) / target.Width(),
      filter};
  plan.across = !across.IsIdentity();
  if (plan.across && !(across == plan.mapping)) {
    plan.row = RowFilterOf(across.Windows(), from.width);
  }
  if (plan.across) plan.mapping = across;
  plan.acrossFirst = to.height > from.height;
  plan.stride = Padded(from.channels * std::max(from.width, to.width));

  const double ratio = static_cast<double>(source.Height()) / target.Height();
  SampleMapping down{
      from.height, to.height, from.y, to.y, ratio, filter, -static_cast<double>(job.lines)};
  if (job.mode == FieldMode::kFrame) {
    plan.columns[0].Build(down);
    return;
  }
  for (const int parity : {0, 1}) {
    const int other = job.mode == FieldMode::kFields
                          ? parity ^ (job.exchange ? 1 : 0)
                          : (job.mode == FieldMode::kBottomToFrame ? 1 : 0);
    down.sourceCount = std::max(FieldCount(from.height, other), 1);
    down.source = from.y.Field(other);
    if (job.mode == FieldMode::kFields) {
      down.targetCount = FieldCount(to.height, parity);
      down.target = to.y.Field(parity);
    }
    plan.columns[static_cast<std::size_t>(parity)].Build(down);
  }
}

void WideScaler::ShapeRing(int group, const WidePicture& source, Lane& lane) const {
  const Plan& plan = plans_[static_cast<std::size_t>(group)];
  Ring& ring = lane.rings[static_cast<std::size_t>(group)];
  const int slots = std::max(plan.columns[0].MostTaps(), plan.columns[1].MostTaps());
  const std::size_t row = plan.stride * static_cast<std::size_t>(source.At(group).segments);
  const std::size_t samples = row * static_cast<std::size_t>(slots);
  if (ring.memory.size() < samples) ring.memory.resize(samples);
  ring.rows.assign(static_cast<std::size_t>(slots), kNoRow);
  ring.taps.resize(static_cast<std::size_t>(slots));
  for (AlignedVector<std::int16_t>& made : lane.made) {
    if (made.size() < row) made.resize(row);
  }
}

void WideScaler::Across(int group, const std::int16_t* from, std::int16_t* to) const {
  const Plan& plan = plans_[static_cast<std::size_t>(group)];
  const WidePicture::Group& shape = source_->At(group);
  const auto across = shape.channels == 4 ? Wide().across4 : Wide().across;
  for (int i = 0; i < shape.segments; ++i) {
    const std::size_t at = plan.stride * static_cast<std::size_t>(i);
    across(plan.row, from + at, to + at);
  }
}

const std::int16_t* WideScaler::Prepared(int group, int row, Lane& lane) const {
  const Plan& plan = plans_[static_cast<std::size_t>(group)];
  Ring& ring = lane.rings[static_cast<std::size_t>(group)];
  const int parities = job_.mode == FieldMode::kFrame ? 1 : 2;
  const std::size_t slot = static_cast<std::size_t>(row / parities) % ring.rows.size();
  std::int16_t* samples =
      ring.memory.data() +
      slot * plan.stride * static_cast<std::size_t>(source_->At(group).segments);
  if (ring.rows[slot] == row) return samples;
  ring.rows[slot] = row;
  if (plan.across && plan.acrossFirst) {
    source_->Read(group, row, lane.made[0].data(), plan.stride, lane.source);
    Across(group, lane.made[0].data(), samples);
  } else {
    source_->Read(group, row, samples, plan.stride, lane.source);
  }
  return samples;
}

void WideScaler::MakeRow(int group, int row, Lane& lane) const {
  const Plan& plan = plans_[static_cast<std::size_t>(group)];
  const WidePicture::Group& from = source_->At(group);
  const bool fields = job_.mode == FieldMode::kFields;
  const int parity = fields ? row & 1 : 0;
  const ColumnFilter::Row filter =
      plan.columns[static_cast<std::size_t>(parity)].At(fields ? row / 2 : row);
  const int step = job_.mode == FieldMode::kFrame ? 1 : 2;
  const int offset =
      fields ? parity ^ (job_.exchange ? 1 : 0) : (job_.mode == FieldMode::kBottomToFrame ? 1 : 0);
  // A picture of one line has one field.
  const auto lineOf = [&](int i) { return std::min(offset + step * i, from.height - 1); };

  Ring& ring = lane.rings[static_cast<std::size_t>(group)];
  const std::int16_t* samples = nullptr;
  for (int i = 0; i < filter.taps; ++i) {
    samples = Prepared(group, lineOf(filter.first + i), lane);
    ring.taps[static_cast<std::size_t>(i)] = samples;
  }
  if (filter.weights != nullptr) {
    const int width = plan.acrossFirst && plan.across ? target_->At(group).width : from.width;
    const int count = static_cast<int>(plan.stride) * (from.segments - 1) + from.channels * width;
    std::int16_t* made = lane.made[0].data();
    Wide().down(ring.taps.data(), filter.weights, filter.taps, made, count);
    samples = made;
  }
  if (plan.across && !plan.acrossFirst) {
    Across(group, samples, lane.made[1].data());
    samples = lane.made[1].data();
  }
  target_->Write(group, row, samples, plan.stride, lane.target);
}

// Both fields side by side, or the upper half and the lower one.
void WideScaler::RunLane(int number) {
  Lane& lane = lanes_[static_cast<std::size_t>(number)];
  const bool fields = job_.mode == FieldMode::kFields;
  const auto run = [&](int group, int rows, bool both) {
    const int first = fields ? number : number == 0 ? 0 : rows / 2;
    const int last = fields || number == 1 ? rows : rows / 2;
    for (int row = first; row < last; row += fields ? 2 : 1) {
      MakeRow(group, row, lane);
      if (both) MakeRow(1, row, lane);
    }
  };
  const bool joint = target_->Joint();
  run(0, target_->At(0).height, joint);
  if (target_->Groups() > 1 && !joint) run(1, target_->At(1).height, false);
}

void WideScaler::Scale(const WidePicture& source, const WidePicture& target, const WideJob& job) {
  for (const WidePicture* picture : {&source, &target}) {
    for (int group = 0; group < picture->Groups(); ++group) {
      if (picture->At(group).width < 1 || picture->At(group).height < 1) return;
    }
  }
  source_ = &source;
  target_ = &target;
  job_ = job;
  for (int group = 0; group < target.Groups(); ++group) {
    PlanGroup(group, source, target, job);
    for (Lane& lane : lanes_) {
      ShapeRing(group, source, lane);
      lane.source.deepRow = kNoRow;
    }
  }
  RunWorkItems(2, [&](int number) { RunLane(number); });
}

}  // namespace xv
