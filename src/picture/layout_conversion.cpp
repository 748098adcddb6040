#include "picture/layout_conversion.h"

#include <vector>

#include "kernels/packed_kernels.h"
#include "kernels/row_sink.h"
#include "picture/picture_primitives.h"
#include "picture/rgb_rows.h"

namespace xv {
namespace {

constexpr int kOpaque = 255;

ImageView OneRow(const ImageView& view, int y) {
  ImageView row = view;
  row.data[0] += y * view.step[0];
  row.height = 1;
  return row;
}

using Step = int (*)(const ImageView&, const ImageView&);

// Two conversions, row by row, with rows of `tag` in between.
int Through(std::uint32_t tag, const ImageView& source, const ImageView& target, Step first,
            Step second) {
  ImageView between;
  between.tag = tag;
  between.width = source.width;
  between.height = 1;
  between.data[0] = RowScratch(7, static_cast<std::size_t>(source.width + 8) * 4);
  for (int y = 0; y < source.height; ++y) {
    if (const int result = first(WholePairs(OneRow(source, y)), between); result != 0)
      return result;
    if (const int result = second(between, OneRow(target, y)); result != 0) return result;
  }
  return 0;
}

int FromRgb(const ImageView& source, const ImageView& target) {
  if (IsRgb32(target.tag) || target.tag == kFccRGB24) {
    // Any 4-byte source is copied as it is; from the others the target is opaque.
    ImageView same = source;
    if (IsRgb32(source.tag) && IsRgb32(target.tag)) same.tag = target.tag;
    return RgbToRgb(same, target, kOpaque, false);
  }
  if (FindPackedOrder(target.tag)) {
    return RgbToPacked(source, target, target.tag == kFccHDYC ? kRgbToHdyc : kRgbToBt601);
  }
  if (IsPlanar420(target.tag) || target.tag == kFccNV12) {
    return RgbToPlanar(source, PlanesOf(target), kRgbToBt601);
  }
  if (source.tag == kFccR210 && target.tag == kFccR210) {
    CopyPicture(source, target);
    return 0;
  }
  return kUnsupportedPair;
}

int FromPacked(const ImageView& source, const ImageView& target) {
  if (FindPackedOrder(target.tag)) {
    if (FindPackedOrder(source.tag)->lumaFirst == FindPackedOrder(target.tag)->lumaFirst &&
        FindPackedOrder(source.tag)->vFirst == FindPackedOrder(target.tag)->vFirst) {
      CopyPicture(source, target);
      return 0;
    }
    return ReorderPacked(source, target);
  }
  if (IsRgb32(target.tag) || target.tag == kFccRGB24) {
    return source.tag == kFccHDYC ? HdycToRgb(source, target, kOpaque)
                                  : PackedToRgb(source, target, kOpaque);
  }
  if (IsPlanar420(target.tag) || target.tag == kFccNV12) {
    return PackedToPlanar(source, PlanesOf(target), FieldForm::kFrame, false);
  }
  if (target.tag != kFccV210) return kUnsupportedPair;
  if (source.tag == kFccYVYU) {
    return Through(kFccYUY2, source, target, ReorderPacked, Pack422ToV210);
  }
  return Pack422ToV210(source, target);
}

int FromV210(const ImageView& source, const ImageView& target) {
  if (target.tag == kFccV210) {
    CopyPicture(source, target);
    return 0;
  }
  if (target.tag == kFccUYVY || target.tag == kFccHDYC) return UnpackV210(source, target);
  if (IsPlanar420(target.tag) || target.tag == kFccNV12) return kUnsupportedPair;
  return Through(kFccUYVY, source, target, UnpackV210, ConvertPixels);
}

int FromPlanar420(const ImageView& source, const ImageView& target) {
  if (IsPlanar420(target.tag)) {
    CopyPicture(source, target);
    return 0;
  }
  if (target.tag == kFccNV12) return Planar420ToNv12(source, PlanesOf(target));
  if (FindPackedOrder(target.tag)) return Planar420ToPacked(source, target);
  if (IsRgb32(target.tag) || target.tag == kFccRGB24) {
    return Planar420ToRgb(source, target, kOpaque);
  }
  return kUnsupportedPair;
}

int FromNv12(const ImageView& source, const ImageView& target) {
  if (target.tag == kFccNV12) {
    CopyPicture(source, target);
    return 0;
  }
  if (IsPlanar420(target.tag)) return Nv12ToPlanar420(source, target);
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

int Unsupported(const ImageView&, const ImageView&) { return kUnsupportedPair; }

// Row of a layout in the table, -1 for none.
int TableRow(std::uint32_t tag) {
  switch (tag) {
    case kFccRGB32:
    case kFccARGB32:
    case kFccR210:
      return 0;
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

}  // namespace

int ConvertPixels(const ImageView& source, const ImageView& target) {
  if (source.width < 1 || source.height < 1) return 0;
  if (IsRgbSource(source.tag)) return FromRgb(source, target);
  if (FindPackedOrder(source.tag)) return FromPacked(source, target);
  if (source.tag == kFccV210) return FromV210(source, target);
  if (IsPlanar420(source.tag)) return FromPlanar420(source, target);
  if (source.tag == kFccNV12) return FromNv12(source, target);
  if (source.tag == kFccRGB8 && target.tag == kFccRGB8) {
    CopyPicture(source, target);
    return 0;
  }
  return kUnsupportedPair;
}

const DirectConverter* ConvertPair(std::uint32_t source, std::uint32_t target) {
  const int from = TableRow(source);
  const int to = TableRow(target);
  return from < 0 || to < 0 ? nullptr : &kDirectConverters[from][to];
}

}  // namespace xv
