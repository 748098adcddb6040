#include "picture/geometry.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <utility>

#include "media/pixel_layout.h"
#include "media/video_format.h"
#include "picture/background_fill.h"
#include "picture/rounding.h"

namespace xv {
namespace {

constexpr double kDefaultAspect = 1.7777777777777777;
constexpr int kLargeSourceWidth = 1100;
constexpr int kLargeTargetWidth = 1280;
constexpr int kCropSurplusRows = 60;

PixelRect Whole(const ImageView& view) { return {0, 0, view.width, view.height}; }

int EvenUp(int value) { return (value + 1) & ~1; }

// Margins are even, and whole chroma lines of both fields.
int LinesUp(int value, const ImageView& view) {
  const int unit = std::max(2, LineUnit(view.tag, view.Interlaced()));
  return (value + unit - 1) / unit * unit;
}

bool OneToOneByDefault(const ImageView& source, const ImageView& target) {
  return source.width >= kLargeSourceWidth && target.width >= kLargeTargetWidth &&
         std::abs(source.width - target.width) * 10 <= target.width &&
         std::fabs(PixelAspect(source) - PixelAspect(target)) < 0.01;
}

void FitAspect(const ImageView& source, const ImageView& target, bool letterBox, RegionPlan& plan) {
  const double f = DisplayAspect(target) * target.height / (DisplayAspect(source) * source.height);
  const double g = static_cast<double>(target.height) / source.height;
  const double r = letterBox ? g / f : f / g;
  PixelRect& rect = letterBox ? plan.target : plan.source;
  if (r < 1) {
    const int left = EvenUp(RoundHalfAway(rect.Width() * (1 - r) / 2));
    rect.left += left;
    rect.right -= left;
  } else {
    const int top =
        LinesUp(RoundHalfAway(rect.Height() * (1 - 1 / r) / 2), letterBox ? target : source);
    rect.top += top;
    rect.bottom -= top;
  }
}

// The middle `wanted` of `size`.
void TakeMiddle(int size, int wanted, int* low, int* high) {
  *low = ((size - wanted) / 2 + 1) & ~1;
  *high = size - *low;
}

void PlanOneToOne(const ImageView& source, const ImageView& target, RegionPlan& plan) {
  const int factor = source.height * 2 == target.height ? 2 : 1;
  const int width = std::min(source.width, target.width);
  const int height = std::min(source.height * factor, target.height);
  TakeMiddle(source.width, width, &plan.source.left, &plan.source.right);
  TakeMiddle(source.height, height / factor, &plan.source.top, &plan.source.bottom);
  TakeMiddle(target.width, width, &plan.target.left, &plan.target.right);
  TakeMiddle(target.height, height, &plan.target.top, &plan.target.bottom);
}

bool Is525Line(const ImageView& view) {
  const int row = view.format & 0xFF;
  return row == eXvVF_NTSC || row == eXvVF_NTSC_2398p || row == eXvVF_NTSC_16x9;
}

int EffectiveHeight(const ImageView& view) {
  if (!Is525Line(view)) return view.height;
  return std::min(view.height, FindVideoFormat(view.format & 0xFF)->height);
}

void SkipRows(ImageView& view, int height, bool fill) {
  const int surplus = view.height - height;
  if (surplus <= 0) return;
  const int unit = LineUnit(view.tag, view.Interlaced());
  const int top = surplus / unit * unit;
  if (fill) {
    for (const auto& [first, lines] : {std::pair{0, top}, {top + height, surplus - top}}) {
      if (lines < 1) continue;
      FillBackground(RegionView(view, 0, first, view.width, lines), kBlack, 1.0).code();
    }
  }
  view = RegionView(view, 0, top, view.width, height);
}

}  // namespace

double DisplayAspect(const ImageView& view) {
  if (view.aspectX > 0 && view.aspectY > 0) return double{1} * view.aspectX / view.aspectY;
  return view.height > 0 ? double{1} * view.width / view.height : kDefaultAspect;
}

double PixelAspect(const ImageView& view) {
  return view.width > 0 ? DisplayAspect(view) * view.height / view.width : 1.0;
}

std::uint32_t ResolveScaleMode(const ImageView& source, const ImageView& target) {
  const std::uint32_t mode =
      source.scaleMode != eXvAF_Default ? source.scaleMode : target.scaleMode;
  if (mode == eXvAF_None) return eXvAF_NoScale;
  if (mode != eXvAF_Default) return mode;
  if (OneToOneByDefault(source, target)) return eXvAF_NoScale;
  const bool narrower = DisplayAspect(source) < DisplayAspect(target);
  return narrower && source.height - target.height <= kCropSurplusRows ? eXvAF_Crop
                                                                       : eXvAF_LetterBox;
}

RegionPlan PlanRegions(const ImageView& source, const ImageView& target) {
  RegionPlan plan{Whole(source), Whole(target)};
  if (source.width < 1 || source.height < 1 || target.width < 1 || target.height < 1) return plan;
  switch (ResolveScaleMode(source, target)) {
    case eXvAF_LetterBox:
    case eXvAF_Crop:
      FitAspect(source, target, ResolveScaleMode(source, target) == eXvAF_LetterBox, plan);
      break;
    case eXvAF_NoScale:
      PlanOneToOne(source, target, plan);
      break;
    default:
      break;  // stretched
  }
  const auto whole = [](const PixelRect& rect, const ImageView& view) {
    return rect.Width() == view.width && rect.Height() == view.height;
  };
  plan.changed = !whole(plan.source, source) || !whole(plan.target, target) ||
                 source.width != target.width || source.height != target.height;
  return plan;
}

void NormaliseViews(ImageView& source, ImageView& target) {
  int sourceHeight = EffectiveHeight(source);
  int targetHeight = EffectiveHeight(target);
  if (Is525Line(source) && Is525Line(target)) {
    sourceHeight = targetHeight = std::min(sourceHeight, targetHeight);
  }
  SkipRows(source, sourceHeight, false);
  SkipRows(target, targetHeight, true);
  if (IsRgb(source.tag) && IsRgb(target.tag)) return;
  if ((target.width & 1) != 0 && target.tag == kFccARGB32) {
    for (int y = 0; y < target.height; ++y) {
      std::uint8_t* pixel = target.data[0] + y * target.step[0] + 4 * (target.width - 1);
      std::fill(pixel, pixel + 4, std::uint8_t{0});
    }
  }
  source.width &= ~1;
  target.width &= ~1;
}

}  // namespace xv
