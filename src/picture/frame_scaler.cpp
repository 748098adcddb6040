#include "picture/frame_scaler.h"

#include <algorithm>

#include "media/pixel_layout.h"
#include "media/video_format.h"
#include "picture/background_fill.h"
#include "picture/layout_conversion.h"

namespace xv {
namespace {

constexpr int kStrips = 6;

bool IsDeep(std::uint32_t tag) { return tag == kFccV210 || tag == kFccR210; }

// Field orders that differ leave a row without a counterpart.
int EdgeFlags(const ImageView& source, const ImageView& target) {
  if (!source.Interlaced() || !target.Interlaced()) return 0;
  const int difference = source.Order() - target.Order();
  return difference > 0 ? kCopyLastRow : difference < 0 ? kCopyFirstRow : 0;
}

FieldSlot SlotOf(const ImageView& source, const ImageView& target) {
  if (!source.Interlaced()) return FieldSlot::kPlain;
  if (target.Interlaced()) return FieldSlot::kInterlaced;
  return source.Order() > 0 ? FieldSlot::kTopToFrame : FieldSlot::kBottomToFrame;
}

FieldSlot SlotOfField(const ImageView& source, int field) {
  if (!source.Interlaced()) return FieldSlot::kPlain;
  return (source.Order() > 0) == (field == 0) ? FieldSlot::kTopToFrame : FieldSlot::kBottomToFrame;
}

void ClearMargins(const ImageView& target, const RegionPlan& plan) {
  const PixelRect& rect = plan.target;
  const auto fill = [&](int left, int top, int width, int height) {
    if (width < 1 || height < 1) return;
    static_cast<void>(FillBackground(RegionView(target, left, top, width, height), kBlack, 1.0));
  };
  if (IsDeep(target.tag)) {
    // Groups of pixels cannot be cut: all of it.
    if (plan.target.Width() != target.width || plan.target.Height() != target.height) {
      fill(0, 0, target.width, target.height);
    }
    return;
  }
  fill(0, 0, target.width, rect.top);
  fill(0, rect.bottom, target.width, target.height - rect.bottom);
  fill(0, rect.top, rect.left, rect.Height());
  fill(rect.right, rect.top, target.width - rect.right, rect.Height());
}

bool HasLayout(const ImageView& view) { return (view.format & kStereoSplitMask) != 0; }

// Regions of layouts whose pixels come in groups begin at a group.
void AlignToGroups(const ImageView& view, PixelRect& rect) {
  if (view.tag != kFccV210) return;
  rect.left -= rect.left % 6;
  rect.right = std::min(view.width, rect.right + (6 - rect.right % 6) % 6);
}

}  // namespace

FieldMode ModeOfSlot(FieldSlot slot) {
  switch (slot) {
    case FieldSlot::kInterlaced:
      return FieldMode::kFields;
    case FieldSlot::kTopToFrame:
      return FieldMode::kTopToFrame;
    case FieldSlot::kBottomToFrame:
      return FieldMode::kBottomToFrame;
    default:
      return FieldMode::kFrame;
  }
}

ImageView MakeFieldView(const ImageView& view, int index) {
  int parity = index == 1 ? 1 : 0;
  if (view.interlace == eXvI_BottomFirst) parity ^= 1;
  ImageView field = FieldRows(view, parity);
  field.height = view.height / 2;
  field.format = 0;
  return field;
}

ImageView StereoHalf(const ImageView& view, int index) {
  if (!HasLayout(view)) return view;
  ImageView half = view;
  const bool beside = (view.format & eXvVF_HorizontalSplit) != 0;
  half = beside ? RegionView(view, index > 0 ? (view.width / 2) & ~1 : 0, 0, view.width / 2,
                             view.height)
                : RegionView(view, 0, index > 0 ? view.height / 2 : 0, view.width, view.height / 2);
  half.format = 0;
  return half;
}

Status FrameScaler::ScaleFrame(const ImageView& source, const ScaleTargets& targets, int quality,
                               int viewIndex) {
  const auto exists = [](const ImageView& view) { return view.data[0] != nullptr; };
  if (!exists(source)) return S_FALSE;
  const ImageView& shape = exists(targets.full)       ? targets.full
                           : exists(targets.field[0]) ? targets.field[0]
                                                      : targets.field[1];
  if (!exists(shape)) return S_FALSE;
  if (HasLayout(shape) && viewIndex == -1) {
    const Status first = ScaleFrame(source, targets, quality, 0);
    return first.Failed() ? first : ScaleFrame(source, targets, quality, 1);
  }
  const int index = std::max(viewIndex, 0);
  ScaleTargets halves;
  halves.full = StereoHalf(targets.full, index);
  for (std::size_t i = 0; i < 2; ++i) halves.field[i] = StereoHalf(targets.field[i], index);
  return ScaleNormalised(StereoHalf(source, index), halves, quality);
}

Status FrameScaler::ScaleNormalised(const ImageView& given, const ScaleTargets& targets,
                                    int quality) {
  ImageView source = given;
  ScaleTargets normal = targets;
  for (ImageView* target : {&normal.full, &normal.field[0], &normal.field[1]}) {
    if (target->data[0] == nullptr) continue;
    source = given;
    NormaliseViews(source, *target);
  }
  const ScaleQuality folded = NormaliseQuality(quality);

  // The three outputs; a later one with the mode of an earlier one is a copy of it.
  struct Output {
    const ImageView* target;
    FieldSlot slot;
  };
  const Output outputs[3] = {{&normal.full, SlotOf(source, normal.full)},
                             {&normal.field[0], SlotOfField(source, 0)},
                             {&normal.field[1], SlotOfField(source, 1)}};
  for (int i = 0; i < 3; ++i) {
    const ImageView& target = *outputs[i].target;
    if (target.data[0] == nullptr) continue;
    const Output* earlier = nullptr;
    for (int k = 0; k < i; ++k) {
      const Output& other = outputs[k];
      if (other.target->data[0] != nullptr && other.slot == outputs[i].slot) earlier = &other;
    }
    if (earlier != nullptr) {
      CopyPicture(*earlier->target, target);
      continue;
    }
    RegionPlan plan = PlanRegions(source, target);
    if (siting_ == Siting::kClassic) {
      AlignToGroups(source, plan.source);
      AlignToGroups(target, plan.target);
    }
    ClearMargins(target, plan);
    RETURN_IF_FAILED(ScalePass(source, target, outputs[i].slot, plan, folded.code));
  }
  return S_OK;
}

Status FrameScaler::ScalePass(const ImageView& source, const ImageView& target, FieldSlot slot,
                              const RegionPlan& plan, int quality) {
  const ImageView from = RegionView(source, plan.source);
  const ImageView to = RegionView(target, plan.target);
  if (from.width < 1 || from.height < 1 || to.width < 1 || to.height < 1) return S_FALSE;
  const bool oneField = slot == FieldSlot::kTopToFrame || slot == FieldSlot::kBottomToFrame;
  const bool sameSize = from.width == to.width && from.height == to.height;
  const bool centred = siting_ == Siting::kCentred;
  const int order = slot == FieldSlot::kInterlaced ? target.Order() - source.Order() : 0;
  if (sameSize && !oneField && !(centred && (order != 0 || from.inner || to.inner))) {
    const bool mixedDeep = (from.tag == kFccV210) != (to.tag == kFccV210);
    const bool fields = slot == FieldSlot::kInterlaced;
    const Status converted = ConvertRegion(from, to, fields || mixedDeep ? kStrips : 1);
    if (converted.Ok()) return converted;
  }
  int flags = static_cast<int>(ModeOfSlot(slot));
  if (!centred) flags |= EdgeFlags(source, target);
  if (centred && order != 0) {
    // Fields of another order go to the other lines: where they belong among these, or, without
    // scaling, a line off, so that they stay as sharp as they are.
    flags |= kExchangeParity;
    if (sameSize) flags |= order > 0 ? kLineDown : kLineUp;
  }
  return engines_[static_cast<std::size_t>(slot)].ScaleImage(from, to, false, quality, 0, flags,
                                                             siting_);
}

}  // namespace xv
