#include "picture/image_view.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "kernels/row_sink.h"
#include "media/pixel_layout.h"
#include "media/validity.h"

namespace xv {
namespace {

std::uint32_t InterlaceOf(const XV_VID_PROPS& vid) {
  const int order = InterlaceOrder(vid);
  return order > 0 ? eXvI_TopFirst : order < 0 ? eXvI_BottomFirst : eXvI_Progressive;
}

void LayPlanes(ImageView& view) {
  if (view.tag == kFccNV12 || IsPlanar420(view.tag)) view.chromaHeight = (view.height + 1) / 2;
  const std::ptrdiff_t step = view.step[0];
  std::uint8_t* behind = view.data[0] + step * view.height;
  if (view.tag == kFccNV12) {
    view.data[1] = behind;
    view.step[1] = step;
  } else if (IsPlanar420(view.tag)) {
    const bool vFirst = view.tag == kFccYV12;
    std::uint8_t* second = behind + step * view.height / 4;
    view.data[1] = vFirst ? second : behind;
    view.data[2] = vFirst ? behind : second;
    view.step[1] = view.step[2] = step / 2;
  }
}

}  // namespace

bool IsPlanar420(std::uint32_t tag) { return tag == kFccI420 || tag == kFccYV12; }
bool IsRgb32(std::uint32_t tag) { return tag == kFccRGB32 || tag == kFccARGB32; }

int LineUnit(std::uint32_t tag, bool interlaced) {
  return (IsPlanar420(tag) || tag == kFccNV12 ? 2 : 1) * (interlaced ? 2 : 1);
}

std::optional<PackedOrder> FindPackedOrder(std::uint32_t tag) {
  switch (tag) {
    case kFccUYVY:
    case kFccHDYC:
      return PackedOrder{false, false};
    case kFccYUY2:
      return PackedOrder{true, false};
    case kFccYVYU:
      return PackedOrder{true, true};
    default:
      return std::nullopt;
  }
}

int PixelRowBytes(std::uint32_t tag, int width) {
  if (tag == kFccV210) return (width + 5) / 6 * 16;
  return IsPlanar(tag) ? width : width * BitsPerPixel(tag) / 8;
}

bool SizeIsPlausible(const XV_VID_PROPS& vid) {
  constexpr int kLongestSide = 1 << 16;
  return vid.nWidth <= kLongestSide && vid.nHeight <= kLongestSide &&
         vid.nHeight >= -kLongestSide && vid.nRowBytes <= 16 * kLongestSide &&
         vid.nRowBytes >= -16 * kLongestSide;
}

ImageView MakeImageView(const XV_VID_PROPS& vid, const std::uint8_t* data) {
  ImageView view;
  view.tag = vid.fccColor;
  view.width = std::max(vid.nWidth, 0);
  view.height = std::abs(vid.nHeight);
  view.data[0] = const_cast<std::uint8_t*>(data);
  const int natural = NaturalRowBytes(vid.fccColor, vid.nWidth);
  view.step[0] = std::max(std::abs(vid.nRowBytes), vid.nRowBytes == 0 ? natural : 0);
  if (IsBottomUp(vid.fccColor, vid.nHeight)) {
    view.data[0] += (view.height - 1) * view.step[0];
    view.step[0] = -view.step[0];
  }
  LayPlanes(view);
  view.interlace = InterlaceOf(vid);
  view.aspectX = vid.nAspectX;
  view.aspectY = vid.nAspectY;
  view.rate = vid.dblRate;
  view.scaleMode = vid.eAspectFit;
  view.format = vid.eVideoFormat;
  if (vid.fccColor == kFccHDYC) view.matrix = Matrix::kBt709;
  return view;
}

std::int64_t PictureSpan(const XV_VID_PROPS& vid) {
  const std::int64_t step = vid.nRowBytes;
  const std::int64_t lines = std::abs(vid.nHeight);
  const std::int64_t chromaLines = (lines + 1) / 2;
  if (vid.fccColor == kFccNV12) return step * lines + step * chromaLines;
  if (IsPlanar420(vid.fccColor)) {
    return std::max(step * lines + step * lines / 4 + step / 2 * chromaLines,
                    FrameBytes(vid.fccColor, vid.nWidth, vid.nHeight, vid.nRowBytes));
  }
  if (IsPlanar(vid.fccColor)) {
    return FrameBytes(vid.fccColor, vid.nWidth, vid.nHeight, vid.nRowBytes);
  }
  return step * (lines - 1) + PixelRowBytes(vid.fccColor, vid.nWidth);
}

ImageView RegionView(const ImageView& view, int left, int top, int width, int height) {
  ImageView region = view;
  region.width = width;
  region.height = height;
  if (view.tag == kFccV210) {
    region.inner = view.inner || left > 0 || width < view.width;
    left += view.skip;
    region.skip = left % 6;
  }
  const int leftBytes = view.tag == kFccV210        ? left / 6 * 16
                        : FindPackedOrder(view.tag) ? left / 2 * 4
                                                    : PixelRowBytes(view.tag, left);
  region.data[0] += top * view.step[0] + leftBytes;
  region.chromaHeight = std::min(view.chromaHeight - top / 2, (height + 1) / 2);
  if (view.data[1] != nullptr) {
    region.data[1] += top / 2 * view.step[1] + (view.tag == kFccNV12 ? left & ~1 : left / 2);
  }
  if (view.data[2] != nullptr) region.data[2] += top / 2 * view.step[2] + left / 2;
  return region;
}

ImageView WholePairs(const ImageView& view) {
  ImageView whole = view;
  if (view.tag == kFccV210) whole.width = (view.width + 1) & ~1;
  return whole;
}

ImageView FieldRows(const ImageView& view, int parity) {
  ImageView field = view;
  for (std::size_t plane = 0; plane < 3; ++plane) {
    if (view.data[plane] == nullptr) continue;
    field.data[plane] += parity * view.step[plane];
    field.step[plane] *= 2;
  }
  field.height = (view.height + 1 - parity) / 2;
  field.chromaHeight = (view.chromaHeight + 1 - parity) / 2;
  field.interlace = eXvI_Progressive;
  return field;
}

void CopyPlane(const std::uint8_t* source, std::ptrdiff_t sourceStep, std::uint8_t* target,
               std::ptrdiff_t targetStep, std::size_t bytes, int rows) {
  const bool stream = RowSink::Streams(static_cast<std::int64_t>(bytes) * rows);
  const auto copy = stream ? Channels().streamCopy : ChannelKernelsAt(SimdLevel::kPlain).streamCopy;
  for (int y = 0; y < rows; ++y) {
    copy(source + y * sourceStep, target + y * targetStep, bytes);
  }
  if (stream) Channels().fence();
}

void CopyPicture(const ImageView& source, const ImageView& target) {
  CopyPlane(source.data[0], source.step[0], target.data[0], target.step[0],
            static_cast<std::size_t>(PixelRowBytes(source.tag, source.width)), source.height);
  for (std::size_t plane = 1; plane < 3; ++plane) {
    if (source.data[plane] == nullptr || target.data[plane] == nullptr) continue;
    const int pairs = (source.width + 1) / 2;
    const int bytes = source.tag == kFccNV12 ? 2 * pairs : pairs;
    CopyPlane(source.data[plane], source.step[plane], target.data[plane], target.step[plane],
              static_cast<std::size_t>(bytes), std::min(source.chromaHeight, target.chromaHeight));
  }
}

}  // namespace xv
