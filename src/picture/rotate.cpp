#include "picture/rotate.h"

#include <algorithm>
#include <cstring>

#include "kernels/channel_kernels.h"
#include "kernels/packed_kernels.h"
#include "kernels/row_sink.h"
#include "picture/background_fill.h"
#include "picture/geometry.h"
#include "picture/pixel_ycbcr.h"
#include "picture/planar_view.h"
#include "platform/work_items.h"

namespace xv {
namespace {

constexpr int kBlock = 8;
constexpr int kTile = 64;  // samples; a tile's rows stay within reach of the translation buffer
constexpr int kPanelBytes = 128;  // of a source row: two cache lines
constexpr int kRowsAhead = 16;    // source rows that are asked for before they are read
constexpr int kPanelSlot = 7;     // of RowScratch

struct PlaneRotation {
  const std::uint8_t* source;
  std::ptrdiff_t sourceStep;
  std::uint8_t* target;
  std::ptrdiff_t targetStep;
  int bytes;

  void Sample(int x, int y) const {
    std::memcpy(target + x * targetStep + y * bytes, source + y * sourceStep + x * bytes,
                static_cast<std::size_t>(bytes));
  }
  // Transposes columns [left, right) of rows [top, bottom).
  void Tile(int left, int top, int right, int bottom) const {
    const auto block = bytes == 1 ? Channels().transpose1 : Channels().transpose4;
    for (int y = top; y < bottom; y += kBlock) {
      for (int x = left; x < right; x += kBlock) {
        if (bytes != 3 && x + kBlock <= right && y + kBlock <= bottom) {
          block(source + y * sourceStep + x * bytes, sourceStep,
                target + x * targetStep + y * bytes, targetStep);
          continue;
        }
        for (int i = x; i < std::min(x + kBlock, right); ++i) {
          for (int k = y; k < std::min(y + kBlock, bottom); ++k) Sample(i, k);
        }
      }
    }
  }

  void Direct(int width, int height) const {
    for (int x = 0; x < width; x += kTile) {
      for (int y = 0; y < height; y += kTile) {
        Tile(x, y, std::min(x + kTile, width), std::min(y + kTile, height));
      }
    }
  }

  // Whole target rows are made in a panel of scratch memory, which stays in the second-level cache,
  // and written past the cache from there.
  void Stream(int width, int height) const {
    const int panel = std::max(kBlock, kPanelBytes / bytes / kBlock * kBlock);
    const auto rowBytes = static_cast<std::size_t>(height) * static_cast<std::size_t>(bytes);
    const std::ptrdiff_t step = static_cast<std::ptrdiff_t>(rowBytes + 127) / 64 * 64;
    for (int x = 0; x < width; x += panel) {
      const int columns = std::min(panel, width - x);
      std::uint8_t* rows = RowScratch(
          kPanelSlot, static_cast<std::size_t>(step) * static_cast<std::size_t>(columns));
      const PlaneRotation part{source + x * bytes, sourceStep, rows, step, bytes};
      for (int y = 0; y < height; y += kBlock) {
        for (int i = y + kRowsAhead; i < std::min(y + kRowsAhead + kBlock, height); ++i) {
          const std::uint8_t* ahead = part.source + i * sourceStep;
          __builtin_prefetch(ahead);
          __builtin_prefetch(ahead + kPanelBytes - 1);
        }
        part.Tile(0, y, columns, std::min(y + kBlock, height));
      }
      for (int i = 0; i < columns; ++i) {
        Channels().streamCopy(rows + i * step, target + (x + i) * targetStep, rowBytes);
      }
    }
    Channels().fence();
  }
};

// The source's shape as it will be, for planning.
ImageView RotatedShape(const ImageView& source, const ImageView& target) {
  ImageView shape = source;
  shape.width = source.height;
  shape.height = source.width;
  std::swap(shape.aspectX, shape.aspectY);
  shape.scaleMode = target.scaleMode == eXvAF_Default ? eXvAF_LetterBox : target.scaleMode;
  return shape;
}

}  // namespace

void PictureRotator::OwnPlane::Shape(int w, int h) {
  width = w;
  height = h;
  const std::size_t bytes = static_cast<std::size_t>(w) * static_cast<std::size_t>(h) + 64;
  if (memory.size() < bytes) memory.resize(bytes);
}

Status PictureRotator::RotateRgb(const ImageView& source, const ImageView& target, bool left) {
  const int bytes = source.tag == kFccRGB24 ? 3 : source.tag == kFccRGB8 ? 1 : 4;
  ImageView rotated = RotatedShape(source, target);
  const RegionPlan plan = PlanRegions(rotated, target);
  const ImageView region = RegionView(target, plan.target);
  const bool direct = region.width == rotated.width && region.height == rotated.height;
  ImageView to = region;
  if (!direct) {
    to = rotated;
    to.step[0] = static_cast<std::ptrdiff_t>(rotated.width) * bytes;
    rotatedRgb_.resize(static_cast<std::size_t>(to.step[0]) * static_cast<std::size_t>(to.height) +
                       64);
    to.data[0] = rotatedRgb_.data();
  }
  // Two halves side by side: rows of the target.
  const int half = source.width / 2;
  RunWorkItems(2, [&](int part) {
    const int from = part == 0 ? 0 : half;
    const int count = part == 0 ? half : source.width - half;
    const int row = left ? source.width - from - count : from;
    RotatePlane(source.data[0] + from * bytes, source.step[0], to.data[0] + row * to.step[0],
                to.step[0], count, source.height, bytes, left);
  });
  if (direct) return S_OK;
  return engine_.ScaleImage(RegionView(to, plan.source), region, false, 4, 0,
                            static_cast<int>(FieldMode::kFrame));
}

// Three planes of 4:2:2, packed or of the 4:2:0 picture as it is.
void PictureRotator::Split(const ImageView& source) {
  const int pairs = (source.width + 1) / 2;
  const bool packed = FindPackedOrder(source.tag).has_value();
  const int chromaRows = packed ? source.height : source.chromaHeight;
  planes_[0].Shape(source.width, source.height);
  planes_[1].Shape(pairs, chromaRows);
  planes_[2].Shape(pairs, chromaRows);
  if (packed) {
    PlanarView view;
    view.kind = PlanarView::Kind::k422;
    for (std::size_t i = 0; i < 3; ++i) {
      view.data[i] = planes_[i].memory.data();
      view.step[i] = planes_[i].width;
    }
    PackedToPlanar(source, view, FieldForm::kFrame, false);
    return;
  }
  for (std::size_t i = 0; i < 3; ++i) {
    CopyPlane(source.data[i], source.step[i], planes_[i].memory.data(), planes_[i].width,
              static_cast<std::size_t>(planes_[i].width), planes_[i].height);
  }
}

Status PictureRotator::Join(const ImageView& region) {
  const auto order = FindPackedOrder(region.tag);
  for (std::size_t i = 0; i < 3; ++i) {
    const int rows = i == 0 || order ? region.height : region.chromaHeight;
    scaled_[i].Shape(i == 0 ? region.width : (region.width + 1) / 2, rows);
    RETURN_IF_FAILED(scalers_[i].Scale(rotated_[i].View(), scaled_[i].View(), 1, 2));
  }
  for (std::size_t i = 0; i < 3 && !order; ++i) {
    CopyPlane(scaled_[i].memory.data(), scaled_[i].width, region.data[i], region.step[i],
              static_cast<std::size_t>(scaled_[i].width), scaled_[i].height);
  }
  for (int y = 0; y < region.height && order; ++y) {
    const auto row = [&](std::size_t i) {
      return scaled_[i].memory.data() + static_cast<std::ptrdiff_t>(y) * scaled_[i].width;
    };
    const std::size_t u = order->vFirst ? 2 : 1;
    Packed().join[order->lumaFirst ? 1 : 0](row(0), row(u), row(3 - u),
                                            region.data[0] + y * region.step[0], region.width,
                                            Stores::kCached);
  }
  return S_OK;
}

Status PictureRotator::RotateSubsampled(const ImageView& source, const ImageView& target,
                                        bool left) {
  Split(source);
  for (std::size_t i = 0; i < 3; ++i) rotated_[i].Shape(planes_[i].height, planes_[i].width);
  // The luma plane in three parts, the chroma planes in one each.
  constexpr int kLumaParts = 3;
  RunWorkItems(kLumaParts + 2, [&](int item) {
    const std::size_t i = item < kLumaParts ? 0 : static_cast<std::size_t>(item - kLumaParts + 1);
    const int parts = i == 0 ? kLumaParts : 1;
    const int part = i == 0 ? item : 0;
    const OwnPlane& from = planes_[i];
    const int first = from.width * part / parts;
    const int count = from.width * (part + 1) / parts - first;
    const int row = left ? from.width - first - count : first;
    RotatePlane(from.memory.data() + first, from.width,
                rotated_[i].memory.data() + static_cast<std::ptrdiff_t>(row) * rotated_[i].width,
                rotated_[i].width, count, from.height, 1, left);
  });
  return Join(RegionView(target, PlanRegions(RotatedShape(source, target), target).target));
}

void RotatePlane(const std::uint8_t* source, std::ptrdiff_t sourceStep, std::uint8_t* target,
                 std::ptrdiff_t targetStep, int width, int height, int sampleBytes, bool left) {
  PlaneRotation rotation{source, sourceStep, target, targetStep, sampleBytes};
  // A transposed picture with its rows, or those of the source, upside down.
  if (left) {
    rotation.target = target + (width - 1) * targetStep;
    rotation.targetStep = -targetStep;
  } else {
    rotation.source = source + (height - 1) * sourceStep;
    rotation.sourceStep = -sourceStep;
  }
  const std::int64_t rowBytes = std::int64_t{height} * sampleBytes;
  if (RowSink::Streams(rowBytes * width)) {
    rotation.Stream(width, height);
  } else {
    rotation.Direct(width, height);
  }
}

Status PictureRotator::Rotate(const ImageView& source, const ImageView& target, bool left) {
  if (source.data[0] == nullptr || target.data[0] == nullptr || source.tag != target.tag) {
    return E_INVALIDARG;
  }
  const bool rgb = IsRgb32(source.tag) || source.tag == kFccRGB24 || source.tag == kFccRGB8;
  if (!rgb && !FindPackedOrder(source.tag) && !IsPlanar420(source.tag)) return E_NOTIMPL;
  RETURN_IF_FAILED(FillBackground(target, kBlack, 1.0));
  return rgb ? RotateRgb(source, target, left) : RotateSubsampled(source, target, left);
}

}  // namespace xv
