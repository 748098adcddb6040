#include "picture/scale_engine.h"

#include <algorithm>

#include "kernels/packed_kernels.h"
#include "media/pixel_layout.h"
#include "picture/layout_conversion.h"
#include "picture/pixel_ycbcr.h"
#include "picture/planar_view.h"
#include "picture/rgb_rows.h"
#include "picture/scale_vertical.h"
#include "platform/work_items.h"

namespace xv {

struct ScaleEngine::Job {
  int quality;
  double sharpness;
  int fieldFlags;
  Siting siting;
};

namespace {

constexpr int kRowAlignment = 64;
constexpr std::size_t kSlack = 64;

PlaneScaler::Plane PlaneOf(const ImageView& view, std::size_t plane, bool halved) {
  return {view.data[plane], view.step[plane],
          plane == 0 || !halved ? view.width : (view.width + 1) / 2,
          plane == 0 || !halved ? view.height : view.chromaHeight};
}

ImageView Flipped(const ImageView& view) {
  ImageView flipped = view;
  for (std::size_t plane = 0; plane < 3; ++plane) {
    if (view.data[plane] == nullptr) continue;
    const int rows = plane == 0 ? view.height : view.chromaHeight;
    flipped.data[plane] += (rows - 1) * view.step[plane];
    flipped.step[plane] = -view.step[plane];
  }
  return flipped;
}

bool IsRgb8Bit(std::uint32_t tag) { return IsRgb32(tag) || tag == kFccRGB24; }

// The layout to scale in: the target's where that is RGB, else the source's, or the nearest one
// that scales by itself.
std::uint32_t ScalingLayout(std::uint32_t source, std::uint32_t target) {
  if (IsRgb8Bit(target)) return target;
  if (FindPackedOrder(source) || IsPlanar420(source) || IsRgb8Bit(source)) return source;
  if (source == kFccR210) return kFccRGB32;
  return source == kFccNV12 ? kFccI420 : kFccUYVY;
}

}  // namespace

ScaleQuality NormaliseQuality(int quality) {
  if (quality >= kNamedQuality) return {quality, false};
  ScaleQuality folded{quality, quality >= 10};
  if (folded.oneToOne) folded.code -= 10;
  if (folded.code < 1) folded.code = 1;
  if (folded.code == 3) folded.code = 2;
  if (folded.code >= 5 && folded.code <= 7) folded.code = 4;
  if (folded.code >= 9) folded.code = 16;
  return folded;
}

ImageView ScaleEngine::Temporary(std::size_t slot, const ImageView& like, std::uint32_t tag,
                                 int width, int height) {
  ImageView view = like;
  view.tag = tag;
  view.width = width;
  view.height = height;
  const int rowBytes = std::max(NaturalRowBytes(tag, width + 8), PixelRowBytes(tag, width));
  const int step = (rowBytes + kRowAlignment - 1) / kRowAlignment * kRowAlignment;
  const std::int64_t chromaBytes = std::int64_t{step} * ((height + 1) / 2);
  std::vector<std::uint8_t>& memory = temporaries_[slot];
  const std::size_t bytes =
      static_cast<std::size_t>(std::int64_t{step} * height + chromaBytes) + kSlack;
  if (memory.size() < bytes) memory.resize(bytes);
  view.data = {memory.data(), nullptr, nullptr};
  view.step = {step, 0, 0};
  view.chromaHeight = 0;
  if (tag == kFccNV12 || IsPlanar420(tag)) {
    view.chromaHeight = (height + 1) / 2;
    view.data[1] = view.data[0] + std::ptrdiff_t{step} * height;
    view.step[1] = tag == kFccNV12 ? step : step / 2;
  }
  if (IsPlanar420(tag)) {
    view.data[2] = view.data[1] + chromaBytes / 2;
    view.step[2] = step / 2;
  }
  return view;
}

void ScaleEngine::ScalePlane(const PlaneScaler::Plane& source, const PlaneScaler::Plane& target,
                             int sampleBytes, std::size_t plane, const Job& job) {
  const double sharpness = plane == 0 ? job.sharpness : job.sharpness / 2;
  FilterBank& bank = banks_[plane == 0 ? 0 : 1];
  auto* to = const_cast<std::uint8_t*>(target.data);
  const auto vertical = [&](const PlaneScaler::Plane& from, const Across* across) {
    ScaleVertical(bank, from.data, to, from.height, target.height,
                  static_cast<std::size_t>(from.width * sampleBytes), from.step, target.step,
                  sharpness, job.fieldFlags, across);
  };
  if (source.width == target.width) {
    vertical(source, nullptr);
    return;
  }
  const RowFilter& filter =
      rowFilters_[plane == 0 ? 0 : 1].For(source.width, target.width, job.quality);
  // The direction that makes the picture smaller goes first.
  if (target.height <= source.height) {
    const Across across{filter, sampleBytes};
    vertical(source, &across);
    return;
  }
  const std::ptrdiff_t step =
      (static_cast<std::ptrdiff_t>(target.width) * sampleBytes + kRowAlignment) & -kRowAlignment;
  std::vector<std::uint8_t>& memory = temporaries_[3 + plane];
  const std::size_t bytes =
      static_cast<std::size_t>(step) * static_cast<std::size_t>(source.height) + kSlack;
  if (memory.size() < bytes) memory.resize(bytes);
  RunWorkItems(2, [&](int band) {
    const int middle = source.height / 2;
    for (int y = band == 0 ? 0 : middle; y < (band == 0 ? middle : source.height); ++y) {
      ScaleRow(filter, source.data + y * source.step, 0, memory.data() + y * step, sampleBytes);
    }
  });
  vertical({memory.data(), step, target.width, source.height}, nullptr);
}

Status ScaleEngine::ScalePlanar(const ImageView& source, const ImageView& target, const Job& job) {
  for (std::size_t plane = 0; plane < 3; ++plane) {
    ScalePlane(PlaneOf(source, plane, true), PlaneOf(target, plane, true), 1, plane, job);
  }
  return S_OK;
}

Status ScaleEngine::ScalePacked(const ImageView& source, const ImageView& target, const Job& job) {
  if (source.width == target.width) {
    const bool direct =
        FindPackedOrder(source.tag)->lumaFirst == FindPackedOrder(target.tag)->lumaFirst &&
        FindPackedOrder(source.tag)->vFirst == FindPackedOrder(target.tag)->vFirst;
    const ImageView scaled =
        direct ? target : Temporary(0, target, source.tag, target.width, target.height);
    ScaleVertical(banks_[0], source.data[0], scaled.data[0], source.height, target.height,
                  static_cast<std::size_t>((source.width + 1) / 2 * 4), source.step[0],
                  scaled.step[0], job.sharpness, job.fieldFlags);
    if (!direct) ReorderPacked(scaled, target);
    return S_OK;
  }
  // Three planes: 4:2:2 with chroma rows as many as luma rows.
  ImageView planes[2];
  PlanarView split[2];
  const ImageView* sides[2] = {&source, &target};
  for (std::size_t i = 0; i < 2; ++i) {
    const int width = sides[i]->width;
    planes[i] = Temporary(i, *sides[i], kFccRGB8, width, 2 * sides[i]->height);
    const std::ptrdiff_t step = planes[i].step[0];
    std::uint8_t* chroma = planes[i].data[0] + step * sides[i]->height;
    split[i] = {
        PlanarView::Kind::k422, {planes[i].data[0], chroma, chroma + step / 2}, {step, step, step}};
  }
  PackedToPlanar(source, split[0], FieldForm::kFrame, false);
  for (std::size_t plane = 0; plane < 3; ++plane) {
    PlaneScaler::Plane ends[2];
    for (std::size_t i = 0; i < 2; ++i) {
      const int width = sides[i]->width;
      ends[i] = {split[i].data[plane], split[i].step[plane], plane == 0 ? width : (width + 1) / 2,
                 sides[i]->height};
    }
    ScalePlane(ends[0], ends[1], 1, plane, job);
  }
  const PackedOrder order = FindPackedOrder(target.tag).value();
  const std::size_t u = order.vFirst ? 2 : 1;
  for (int y = 0; y < target.height; ++y) {
    const auto row = [&](std::size_t plane) {
      return split[1].data[plane] + y * split[1].step[plane];
    };
    Packed().join[order.lumaFirst ? 1 : 0](row(0), row(u), row(3 - u),
                                           target.data[0] + y * target.step[0], target.width,
                                           Stores::kCached);
  }
  return S_OK;
}

Status ScaleEngine::ResizeRgb(const ImageView& source, const ImageView& target, const Job& job) {
  const int bytes = source.tag == kFccRGB24 ? 3 : 4;
  const PlaneScaler::Plane from{source.data[0], source.step[0], source.width, source.height};
  const PlaneScaler::Plane to{target.data[0], target.step[0], target.width, target.height};
  // Fields need the vertical filter; a plain frame is the library's.
  const bool fields = (job.fieldFlags & kFieldModeMask) != static_cast<int>(FieldMode::kFrame);
  if (!fields && source.width != target.width) {
    return resizer_.Scale(from, to, bytes, job.quality);
  }
  ScalePlane(from, to, bytes, 0, job);
  return S_OK;
}

Status ScaleEngine::Dispatch(const ImageView& source, const ImageView& target, const Job& job) {
  if (job.siting == Siting::kCentred && WidePicture::Related(source.tag, target.tag)) {
    wide_.Scale(
        WidePicture(source), WidePicture(target),
        {FiltersOfQuality(job.quality), static_cast<FieldMode>(job.fieldFlags & kFieldModeMask),
         (job.fieldFlags & kExchangeParity) != 0,
         (job.fieldFlags & kLineDown) != 0 ? 1
         : (job.fieldFlags & kLineUp) != 0 ? -1
                                           : 0});
    return S_OK;
  }
  const bool packed = FindPackedOrder(source.tag).has_value();
  if (packed && FindPackedOrder(target.tag)) return ScalePacked(source, target, job);
  if (IsPlanar420(source.tag) && IsPlanar420(target.tag)) return ScalePlanar(source, target, job);
  if (IsRgb8Bit(source.tag) && source.tag == target.tag) return ResizeRgb(source, target, job);
  if (source.tag == kFccRGB8 && target.tag == kFccRGB8) {
    ScalePlane(PlaneOf(source, 0, false), PlaneOf(target, 0, false), 1, 0, job);
    return S_OK;
  }

  const std::uint32_t scaled = ScalingLayout(source.tag, target.tag);
  ImageView from = source;
  if (source.tag != scaled) {
    from = Temporary(2, source, scaled, source.width, source.height);
    if (ConvertPixels(WholePairs(source), from).Failed()) return E_FAIL;
  }
  if (target.tag == scaled) return Dispatch(from, target, job);
  const ImageView to = Temporary(6, target, scaled, target.width, target.height);
  RETURN_IF_FAILED(Dispatch(from, to, job));
  return ConvertPixels(to, target).Failed() ? E_FAIL : S_OK;
}

Status ScaleEngine::ScaleImage(const ImageView& source, const ImageView& target, bool flip,
                               int quality, double sharpnessOffset, int fieldFlags, Siting siting) {
  if (source.data[0] == nullptr || target.data[0] == nullptr) return E_INVALIDARG;
  if (source.width < 1 || source.height < 1 || target.width < 1 || target.height < 1)
    return S_FALSE;
  const std::lock_guard guard(lock_);
  const bool sameSize = source.width == target.width && source.height == target.height;
  const auto mode = static_cast<FieldMode>(fieldFlags & kFieldModeMask);
  const bool plainFields = (fieldFlags & ~kFieldModeMask) == 0 &&
                           (mode == FieldMode::kFields || mode == FieldMode::kFrame);
  if (sameSize && !flip && plainFields && !source.inner && !target.inner)
    return ConvertFormat(source, target);
  const double factor = static_cast<double>(target.width) / source.width;
  const Job job{quality, SharpnessOfQuality(quality, factor, sharpnessOffset), fieldFlags, siting};
  return Dispatch(flip ? Flipped(source) : source, target, job);
}

}  // namespace xv
