#include "picture/layout_conversion.h"

#include <algorithm>
#include <atomic>
#include <vector>

#include "kernels/channel_kernels.h"
#include "kernels/packed_kernels.h"
#include "kernels/row_sink.h"
#include "media/pixel_layout.h"
#include "picture/pixel_rgb.h"
#include "picture/pixel_ycbcr.h"
#include "picture/rgb_rows.h"
#include "picture/v210_pictures.h"
#include "platform/work_items.h"

namespace xv {
namespace {

constexpr int kOpaque = 255;

ImageView OneRow(const ImageView& view, int y) {
  ImageView row = view;
  row.data[0] += y * view.step[0];
  row.height = 1;
  return row;
}

// Two conversions, row by row, with rows of `tag` in between. `second` gives a Status.
template <class First, class Second>
Status Through(std::uint32_t tag, const ImageView& source, const ImageView& target, First&& first,
               Second&& second) {
  ImageView between;
  between.tag = tag;
  between.width = source.width;
  between.height = 1;
  between.matrix = source.matrix;
  between.data[0] = RowScratch(7, static_cast<std::size_t>(source.width + 8) * 4);
  for (int y = 0; y < source.height; ++y) {
    first(WholePairs(OneRow(source, y)), between);
    RETURN_IF_FAILED(second(between, OneRow(target, y)));
  }
  return S_OK;
}

// A conversion that always succeeds.
template <class Convert, class... Arguments>
Status Done(Convert&& convert, Arguments&&... arguments) {
  convert(arguments...);
  return S_OK;
}

Status FromRgb(const ImageView& source, const ImageView& target) {
  if (IsRgb32(target.tag) || target.tag == kFccRGB24) {
    // Any 4-byte source is copied as it is; from the others the target is opaque.
    ImageView same = source;
    if (IsRgb32(source.tag) && IsRgb32(target.tag)) same.tag = target.tag;
    return Done(RgbToRgb, same, target, kOpaque, false);
  }
  if (FindPackedOrder(target.tag)) {
    const bool hdyc = target.tag == kFccHDYC;
    return Done(RgbToPacked, source, target,
                hdyc ? kRgbToHdyc : MatrixFromRgb(source.matrix, false));
  }
  if (IsPlanar420(target.tag) || target.tag == kFccNV12) {
    return Done(RgbToPlanar, source, PlanesOf(target), FieldForm::kFrame,
                MatrixFromRgb(source.matrix, false));
  }
  if (source.tag == kFccR210 && target.tag == kFccR210) {
    return Done(CopyPicture, source, target);
  }
  return E_NOTIMPL;
}

Status FromPacked(const ImageView& source, const ImageView& target) {
  if (FindPackedOrder(target.tag)) {
    if (FindPackedOrder(source.tag)->lumaFirst == FindPackedOrder(target.tag)->lumaFirst &&
        FindPackedOrder(source.tag)->vFirst == FindPackedOrder(target.tag)->vFirst) {
      return Done(CopyPicture, source, target);
    }
    return Done(ReorderPacked, source, target);
  }
  if (IsRgb32(target.tag) || target.tag == kFccRGB24) {
    const bool hdyc = source.tag == kFccHDYC && source.matrix == Matrix::kBt709;
    return Done(hdyc ? HdycToRgb : PackedToRgb, source, target, kOpaque);
  }
  if (IsPlanar420(target.tag) || target.tag == kFccNV12) {
    return Done(PackedToPlanar, source, PlanesOf(target), FieldForm::kFrame, false);
  }
  if (target.tag != kFccV210) return E_NOTIMPL;
  if (source.tag == kFccYVYU) {
    return Through(kFccYUY2, source, target, ReorderPacked,
                   [](const auto& from, const auto& to) { return Done(Pack422ToV210, from, to); });
  }
  return Done(Pack422ToV210, source, target);
}

Status FromV210(const ImageView& source, const ImageView& target) {
  if (target.tag == kFccV210) {
    return Done(CopyPicture, source, target);
  }
  if (target.tag == kFccUYVY || target.tag == kFccHDYC) return Done(UnpackV210, source, target);
  if (IsPlanar420(target.tag) || target.tag == kFccNV12) return E_NOTIMPL;
  return Through(kFccUYVY, source, target, UnpackV210, ConvertPixels);
}

Status FromPlanar420(const ImageView& source, const ImageView& target) {
  if (IsPlanar420(target.tag)) {
    return Done(CopyPicture, source, target);
  }
  if (target.tag == kFccNV12) return Done(Planar420ToNv12, source, PlanesOf(target));
  if (FindPackedOrder(target.tag)) return Done(Planar420ToPacked, source, target);
  if (IsRgb32(target.tag) || target.tag == kFccRGB24) {
    return Done(Planar420ToRgb, source, target, kOpaque);
  }
  return E_NOTIMPL;
}

Status FromNv12(const ImageView& source, const ImageView& target) {
  if (target.tag == kFccNV12) {
    return Done(CopyPicture, source, target);
  }
  if (IsPlanar420(target.tag)) return Done(Nv12ToPlanar420, source, target);
  // The chroma plane alone needs another form.
  static thread_local std::vector<std::uint8_t> chroma;
  const int pairs = (source.width + 1) / 2;
  const int rows = source.chromaHeight;
  const auto planeBytes = static_cast<std::ptrdiff_t>(pairs) * rows;
  chroma.resize(static_cast<std::size_t>(2 * planeBytes));
  ImageView planar = source;
  planar.tag = kFccI420;
  planar.data = {source.data[0], chroma.data(), chroma.data() + planeBytes};
  planar.step = {source.step[0], pairs, pairs};
  for (int y = 0; y < rows; ++y) {
    Packed().deinterleave(source.data[1] + y * source.step[1], planar.data[1] + y * pairs,
                          planar.data[2] + y * pairs, pairs);
  }
  return FromPlanar420(planar, target);
}

Status Unsupported(const ImageView&, const ImageView&) { return E_NOTIMPL; }

// Row of a layout in the table, -1 for none.
int TableRow(std::uint32_t tag) {
  switch (tag) {
    case kFccRGB32:
    case kFccARGB32:
    case kFccR210:
      return S_OK;
    case kFccRGB24:
      return 1;
    case kFccUYVY:
      return 2;
    case kFccHDYC:
      return 3;
    case kFccYUY2:
      return 4;
    case kFccV210:
      return 5;
    default:
      return -1;
  }
}

constexpr DirectConverter kPlain = {ConvertPixels, 1};
constexpr DirectConverter kAlpha = {ConvertPixels, -1};
constexpr DirectConverter kNone = {Unsupported, 1};

constexpr DirectConverter kDirectConverters[6][6] = {
    // RGB32, RGB24, UYVY, HDYC, YUY2, v210
    {kPlain, kPlain, kPlain, kPlain, kPlain, kNone},   // RGB32
    {kPlain, kPlain, kPlain, kPlain, kPlain, kNone},   // RGB24
    {kAlpha, kPlain, kPlain, kPlain, kPlain, kPlain},  // UYVY
    {kPlain, kPlain, kPlain, kPlain, kPlain, kPlain},  // HDYC
    {kAlpha, kPlain, kPlain, kPlain, kPlain, kPlain},  // YUY2
    {kAlpha, kPlain, kPlain, kPlain, kPlain, kPlain},  // v210
};

PixelRect Whole(const ImageView& view) { return {0, 0, view.width, view.height}; }

}  // namespace

Status ConvertPixels(const ImageView& source, const ImageView& target) {
  if (source.width < 1 || source.height < 1) return S_OK;
  if (IsRgbSource(source.tag)) return FromRgb(source, target);
  if (FindPackedOrder(source.tag)) return FromPacked(source, target);
  if (source.tag == kFccV210) return FromV210(source, target);
  if (IsPlanar420(source.tag)) return FromPlanar420(source, target);
  if (source.tag == kFccNV12) return FromNv12(source, target);
  if (source.tag == kFccRGB8 && target.tag == kFccRGB8) {
    return Done(CopyPicture, source, target);
  }
  return E_NOTIMPL;
}

const DirectConverter* ConvertPair(std::uint32_t source, std::uint32_t target) {
  const int from = TableRow(source);
  const int to = TableRow(target);
  return from < 0 || to < 0 ? nullptr : &kDirectConverters[from][to];
}

Status ConvertFormat(const ImageView& source, const ImageView& target, const PixelRect* sourceRect,
                     const PixelRect* targetRect) {
  if (source.data[0] == nullptr || target.data[0] == nullptr) return E_INVALIDARG;
  PixelRect from = sourceRect != nullptr ? *sourceRect : Whole(source);
  PixelRect to = targetRect != nullptr ? *targetRect : Whole(target);
  RETURN_IF_FAILED(FitRectangles(source, target, &from, &to, false));
  const ImageView region = RegionView(target, to);
  if (ConvertPixels(RegionView(source, from), region).Failed()) return E_FAIL;
  if (source.tag == kFccRGB32 && target.tag == kFccARGB32) {
    for (int y = 0; y < region.height; ++y) {
      Channels().setChannel(region.data[0] + y * region.step[0], region.width, 3, 255);
    }
  }
  return S_OK;
}

Status ConvertRegion(const ImageView& source, const ImageView& target, int strips) {
  // Bands begin on even rows, so that subsampled planes split with them.
  const int bands = std::clamp(strips, 1, std::max(source.height / 2, 1));
  std::atomic<bool> failed{false};
  RunWorkItems(bands, [&](int band) {
    const int top = static_cast<int>(std::int64_t{source.height} * band / bands) & ~1;
    const int bottom =
        band + 1 == bands ? source.height
                          : static_cast<int>(std::int64_t{source.height} * (band + 1) / bands) & ~1;
    const Status result = ConvertPixels(RegionView(source, 0, top, source.width, bottom - top),
                                        RegionView(target, 0, top, source.width, bottom - top));
    if (result.Failed()) failed = true;
  });
  return failed ? E_FAIL : S_OK;
}

}  // namespace xv
