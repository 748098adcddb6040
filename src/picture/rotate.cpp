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
        if ((bytes == 1 || bytes == 4) && x + kBlock <= right && y + kBlock <= bottom) {
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

// Of layouts whose pixels lie together and each have all of their channels; else 0.
int PixelBytes(std::uint32_t tag) {
  if (IsRgb32(tag) || tag == kFccR210) return 4;
  return tag == kFccRGB24 ? 3 : tag == kFccRGB8 ? 1 : 0;
}

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

void PictureRotator::OwnPlane::Shape(int columns, int rows, int sampleBytes) {
  width = columns;
  height = rows;
  bytes = sampleBytes;
  const std::size_t size = static_cast<std::size_t>(Step()) * static_cast<std::size_t>(rows) + 64;
  if (memory.size() < size) memory.resize(size);
}

Status PictureRotator::RotateWhole(const ImageView& source, const ImageView& target, bool left) {
  const int bytes = PixelBytes(source.tag);
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

void PictureRotator::Split(const ImageView& source) {
  const int pixel = PixelBytes(source.tag);
  const bool packed = FindPackedOrder(source.tag).has_value();
  const bool deep = source.tag == kFccV210;
  planeCount_ = pixel > 0 ? 1 : 3;
  const int sample = pixel > 0 ? pixel : deep ? 2 : 1;
  planes_[0].Shape(source.width, source.height, sample);
  for (std::size_t i = 1; i < 3; ++i) {
    planes_[i].Shape((source.width + 1) / 2, packed || deep ? source.height : source.chromaHeight,
                     sample);
  }
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
  for (int y = 0; y < source.height && deep; ++y) {
    deep_.Unpack(source.data[0] + y * source.step[0], source.width);
    for (int i = 0; i < 3; ++i) {
      OwnPlane& plane = planes_[static_cast<std::size_t>(i)];
      std::memcpy(plane.Row(y), deep_.Plane(i), static_cast<std::size_t>(plane.Step()));
    }
  }
  if (deep) return;
  const bool both = source.tag == kFccNV12;
  for (std::size_t i = 0; i < (both ? 1 : static_cast<std::size_t>(planeCount_)); ++i) {
    CopyPlane(source.data[i], source.step[i], planes_[i].memory.data(), planes_[i].Step(),
              static_cast<std::size_t>(planes_[i].Step()), planes_[i].height);
  }
  for (int y = 0; y < source.chromaHeight && both; ++y) {
    Packed().deinterleave(source.data[1] + y * source.step[1], planes_[1].Row(y), planes_[2].Row(y),
                          planes_[1].width);
  }
}

void PictureRotator::TurnPlanes(bool left) {
  const auto count = static_cast<std::size_t>(planeCount_);
  for (std::size_t i = 0; i < count; ++i) {
    rotated_[i].Shape(planes_[i].height, planes_[i].width, planes_[i].bytes);
  }
  // The first plane in three parts, the chroma planes in one each.
  constexpr int kParts = 3;
  RunWorkItems(kParts + planeCount_ - 1, [&](int item) {
    const std::size_t i = item < kParts ? 0 : static_cast<std::size_t>(item - kParts + 1);
    const int parts = i == 0 ? kParts : 1;
    const int part = i == 0 ? item : 0;
    OwnPlane& from = planes_[i];
    const int first = from.width * part / parts;
    const int columns = from.width * (part + 1) / parts - first;
    const int row = left ? from.width - first - columns : first;
    RotatePlane(from.memory.data() + std::ptrdiff_t{first} * from.bytes, from.Step(),
                rotated_[i].Row(row), rotated_[i].Step(), columns, from.height, from.bytes, left);
  });
}

WidePicture PictureRotator::Rotated(const ImageView& source, int parity, bool left) {
  ImageView view;
  view.tag = source.tag;
  view.width = rotated_[0].width;
  view.height = rotated_[0].height;
  view.chromaHeight = planeCount_ > 1 ? rotated_[1].height : 0;
  for (std::size_t i = 0; i < static_cast<std::size_t>(planeCount_); ++i) {
    view.data[i] = rotated_[i].memory.data();
    view.step[i] = rotated_[i].Step();
  }
  WidePicture picture =
      planeCount_ == 1
          ? WidePicture(view)
          : WidePicture::OfChroma(view, rotated_[0].bytes > 1 ? 10 : 8, rotated_[1].width);
  // Columns become lines, lines columns, one of them backwards.
  const WidePicture frame(source);
  const WidePicture upright = parity < 0 ? frame : frame.Field(parity);
  for (int group = 0; group < upright.Groups(); ++group) {
    const WidePicture::Group& was = upright.At(group);
    picture.Place(group, left ? was.y : was.y.Reversed(was.height, source.height),
                  left ? was.x.Reversed(was.width, source.width) : was.x);
  }
  picture.SetExtent(source.height, source.width);
  return picture;
}

void PictureRotator::RotatePlanes(const ImageView& source, const ImageView& target, bool left) {
  const RegionPlan plan = PlanRegions(RotatedShape(source, target), target);
  const WidePicture region(RegionView(target, plan.target));
  const bool fields = source.Interlaced() && target.Interlaced();
  for (const int parity : {0, 1}) {
    Split(fields ? FieldRows(source, parity) : source);
    TurnPlanes(left);
    scaler_.Scale(Rotated(source, fields ? parity : -1, left),
                  fields ? region.Field(parity) : region, {});
    if (!fields) return;
  }
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
  const bool known = WidePicture::Knows(source.tag);
  if (!known && source.tag != kFccR210) return E_NOTIMPL;
  RETURN_IF_FAILED(FillBackground(target, kBlack, 1.0));
  const bool fields = source.Interlaced() && target.Interlaced() && source.height > 1;
  if (PixelBytes(source.tag) > 0 && !(fields && known)) return RotateWhole(source, target, left);
  RotatePlanes(source, target, left);
  return S_OK;
}

}  // namespace xv
