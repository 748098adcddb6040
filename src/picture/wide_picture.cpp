#include "picture/wide_picture.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "kernels/channel_kernels.h"
#include "kernels/packed_kernels.h"
#include "kernels/wide_rows.h"
#include "media/pixel_layout.h"

namespace xv {
namespace {

// Samples of chroma that stand on the first of `1 << shift` luma samples.
SampleGrid CositedGrid(int shift) { return {static_cast<double>(1 << shift), 0}; }
// Those that stand in the middle of them. The lines of interlaced 4:2:0 do so too: those of a field
// lie a quarter of its lines off, and together they are evenly spaced.
SampleGrid MiddleGrid(int shift) {
  return {static_cast<double>(1 << shift), ((1 << shift) - 1) / 2.0};
}

int Shifted(int size, int shift) { return (size + (1 << shift) - 1) >> shift; }

std::uint8_t* Room(std::vector<std::uint8_t>& bytes, int count) {
  if (bytes.size() < static_cast<std::size_t>(count)) bytes.resize(static_cast<std::size_t>(count));
  return bytes.data();
}

bool IsRgb8(std::uint32_t tag) { return IsRgb32(tag) || tag == kFccRGB24; }

// Chroma samples that a row of 4:2:0 has room for. Rows of an odd number of bytes lack the last
// one: it would be the first of the next row, which another thread may be writing.
int ChromaRoom(const ImageView& view) {
  const auto bytes = static_cast<int>(std::abs(view.step[1]));
  return view.tag == kFccNV12 ? bytes / 2 : bytes;
}

}  // namespace

bool WidePicture::Knows(std::uint32_t tag) {
  return FindPackedOrder(tag) || IsPlanar420(tag) || tag == kFccNV12 || tag == kFccV210 ||
         IsRgb8(tag) || tag == kFccRGB8;
}

bool WidePicture::Related(std::uint32_t a, std::uint32_t b) {
  if (!Knows(a) || !Knows(b)) return false;
  if (IsRgb8(a) || IsRgb8(b)) return a == b;
  return (a == kFccRGB8) == (b == kFccRGB8);
}

WidePicture::WidePicture(const ImageView& view) : view_(view) {
  groups_[0] = {1, 1, view.width, view.height, {}, {}};
  SetExtent(view.width, view.height);
  if (IsRgb8(view.tag)) {
    form_ = view.tag == kFccRGB24 ? Form::kRgb24 : Form::kRgb32;
    groups_[0].channels = 4;
    return;
  }
  if (view.tag == kFccRGB8) return;
  const bool halved = IsPlanar420(view.tag) || view.tag == kFccNV12;
  const int rows = halved ? view.chromaHeight : view.height;
  groups_[1] = {2, 1, Shifted(view.width, 1), rows, CositedGrid(1), MiddleGrid(halved ? 1 : 0)};
  if (halved && rows > 1) groups_[1].width = std::min(groups_[1].width, ChromaRoom(view));
  form_ = view.tag == kFccNV12   ? Form::kSemiPlanar
          : view.tag == kFccV210 ? Form::kV210
          : halved               ? Form::kPlanes
                                 : Form::kPacked;
  if (view.tag == kFccV210) bits_ = 10;
}

WidePicture WidePicture::OfPlanes(const ImageView& planes, int bits, int shiftX, int shiftY) {
  WidePicture picture;
  picture.view_ = planes;
  picture.bits_ = bits;
  picture.SetExtent(planes.width, planes.height);
  picture.groups_[0] = {1, 1, planes.width, planes.height, {}, {}};
  picture.groups_[1] = {2,
                        1,
                        Shifted(planes.width, shiftX),
                        planes.chromaHeight,
                        CositedGrid(shiftX),
                        MiddleGrid(shiftY)};
  if (planes.data[2] == nullptr) picture.form_ = Form::kSemiPlanar;
  return picture;
}

WidePicture WidePicture::OfChroma(const ImageView& planes, int bits, int chromaWidth) {
  WidePicture picture = OfPlanes(planes, bits, 0, 0);
  picture.groups_[1].width = chromaWidth;
  return picture;
}

WidePicture WidePicture::Field(int parity) const {
  WidePicture field = *this;
  field.view_ = FieldRows(view_, parity);
  for (Group& group : field.groups_) {
    group.height = (group.height + 1 - parity) / 2;
    group.y = group.y.Field(parity);
  }
  return field;
}

void WidePicture::Place(int group, const SampleGrid& x, const SampleGrid& y) {
  groups_[static_cast<std::size_t>(group)].x = x;
  groups_[static_cast<std::size_t>(group)].y = y;
}

void WidePicture::SetExtent(int width, int height) {
  width_ = width;
  height_ = height;
}

void WidePicture::ReadPlane(std::size_t plane, int row, std::int16_t* out) const {
  const int width = At(plane == 0 ? 0 : 1).width;
  const std::uint8_t* from = RowOf(plane, row);
  if (bits_ == 10) {
    Wide().widen10(reinterpret_cast<const std::uint16_t*>(from), out, width);
  } else {
    Wide().widen8(from, out, width);
  }
}

void WidePicture::WritePlane(std::size_t plane, int row, const std::int16_t* in) const {
  const int width = At(plane == 0 ? 0 : 1).width;
  std::uint8_t* to = RowOf(plane, row);
  if (bits_ == 10) {
    Wide().narrow10(in, reinterpret_cast<std::uint16_t*>(to), width);
    return;
  }
  // The second chroma plane begins a quarter of the luma behind the first; where the height is odd
  // that is within the first one's last row, and the second one's samples count.
  const std::uint8_t* other = plane == 0 ? nullptr : view_.data[3 - plane];
  const std::ptrdiff_t room = other == nullptr || other < to ? width : other - to;
  Wide().narrow8(in, to, static_cast<int>(std::min<std::ptrdiff_t>(width, room)));
}

V210Row& WidePicture::DeepRow(int row, WideScratch& scratch) const {
  if (scratch.deepRow != row) scratch.deep.Unpack(RowOf(0, row), view_.skip + view_.width);
  scratch.deepRow = row;
  return scratch.deep;
}

void WidePicture::ReadPixels(int row, std::int16_t* out, WideScratch& scratch) const {
  const int width = At(0).width;
  const std::uint8_t* pixels = RowOf(0, row);
  if (form_ == Form::kRgb24) {
    std::uint8_t* room = Room(scratch.bytes[0], 4 * width);
    Channels().addAlpha(pixels, room, width, 255);
    pixels = room;
  }
  Wide().widen8(pixels, out, 4 * width);
}

void WidePicture::ReadDeep(int group, int row, std::int16_t* out, std::size_t stride,
                           WideScratch& scratch) const {
  const int width = At(group).width;
  V210Row& deep = DeepRow(row, scratch);
  if (group == 0) {
    Wide().widen10(deep.Plane(0) + view_.skip, out, width);
    return;
  }
  Wide().widen10(deep.Plane(1) + view_.skip / 2, out, width);
  Wide().widen10(deep.Plane(2) + view_.skip / 2, out + stride, width);
}

// Bytes of U and V that take turns, with each other or with luma.
void WidePicture::ReadMixed(int group, int row, std::int16_t* out, std::size_t stride,
                            WideScratch& scratch) const {
  const int width = At(group).width;
  std::uint8_t* first = Room(scratch.bytes[0], width);
  std::uint8_t* second = Room(scratch.bytes[1], width);
  if (form_ == Form::kSemiPlanar) {
    Packed().deinterleave(RowOf(1, row), first, second, width);
  } else {
    const PackedOrder order = FindPackedOrder(view_.tag).value();
    const std::uint8_t* from = RowOf(0, row);
    const std::size_t kernel = order.lumaFirst ? 1 : 0;
    if (group == 0) {
      Packed().luma[kernel](from, first, width);
      Wide().widen8(first, out, width);
      return;
    }
    Packed().chroma[kernel](from, from, first, second, width);
    if (order.vFirst) std::swap(first, second);
  }
  Wide().widen8(first, out, width);
  Wide().widen8(second, out + stride, width);
}

void WidePicture::Read(int group, int row, std::int16_t* out, std::size_t stride,
                       WideScratch& scratch) const {
  if (form_ == Form::kPlanes || (form_ == Form::kSemiPlanar && group == 0)) {
    ReadPlane(group == 0 ? 0 : 1, row, out);
    if (group == 1) ReadPlane(2, row, out + stride);
  } else if (form_ == Form::kRgb24 || form_ == Form::kRgb32) {
    ReadPixels(row, out, scratch);
  } else if (form_ == Form::kV210) {
    ReadDeep(group, row, out, stride, scratch);
  } else {
    ReadMixed(group, row, out, stride, scratch);
  }
}

void WidePicture::WritePixels(int row, const std::int16_t* in, WideScratch& scratch) const {
  const int width = At(0).width;
  if (form_ == Form::kRgb32) {
    Wide().narrow8(in, RowOf(0, row), 4 * width);
    return;
  }
  std::uint8_t* pixels = Room(scratch.bytes[0], 4 * width);
  Wide().narrow8(in, pixels, 4 * width);
  Channels().dropAlpha(pixels, RowOf(0, row), width);
}

// Luma waits in `scratch` for the chroma of its row.
void WidePicture::WriteDeep(int group, int row, const std::int16_t* in, std::size_t stride,
                            WideScratch& scratch) const {
  const int width = view_.width;
  V210Row& made = scratch.made;
  if (group == 0) {
    made.Shape(width);
    Wide().narrow10(in, made.Plane(0), width);
    return;
  }
  Wide().narrow10(in, made.Plane(1), At(1).width);
  Wide().narrow10(in + stride, made.Plane(2), At(1).width);
  if (!view_.inner) {
    made.Pack(RowOf(0, row));
    return;
  }
  // A part of a row shares its outer groups with its neighbours.
  V210Row& whole = scratch.deep;
  whole.Unpack(RowOf(0, row), (view_.skip + width + 5) / 6 * 6);
  std::copy_n(made.Plane(0), width, whole.Plane(0) + view_.skip);
  for (const int plane : {1, 2}) {
    std::copy_n(made.Plane(plane), (width + 1) / 2, whole.Plane(plane) + view_.skip / 2);
  }
  whole.Pack(RowOf(0, row));
}

void WidePicture::WriteMixed(int group, int row, const std::int16_t* in, std::size_t stride,
                             WideScratch& scratch) const {
  const int width = At(group).width;
  std::uint8_t* luma = Room(scratch.bytes[2], group == 0 ? width : 2 * width);
  if (group == 0) {
    Wide().narrow8(in, luma, width);
    return;
  }
  std::uint8_t* u = Room(scratch.bytes[0], width);
  std::uint8_t* v = Room(scratch.bytes[1], width);
  Wide().narrow8(in, u, width);
  Wide().narrow8(in + stride, v, width);
  if (form_ == Form::kSemiPlanar) {
    Packed().interleave(u, v, RowOf(1, row), width);
    return;
  }
  const PackedOrder order = FindPackedOrder(view_.tag).value();
  if (order.vFirst) std::swap(u, v);
  Packed().join[order.lumaFirst ? 1 : 0](luma, u, v, RowOf(0, row), view_.width, Stores::kCached);
}

void WidePicture::Write(int group, int row, const std::int16_t* in, std::size_t stride,
                        WideScratch& scratch) const {
  if (form_ == Form::kPlanes || (form_ == Form::kSemiPlanar && group == 0)) {
    WritePlane(group == 0 ? 0 : 1, row, in);
    if (group == 1) WritePlane(2, row, in + stride);
  } else if (form_ == Form::kRgb24 || form_ == Form::kRgb32) {
    WritePixels(row, in, scratch);
  } else if (form_ == Form::kV210) {
    WriteDeep(group, row, in, stride, scratch);
  } else {
    WriteMixed(group, row, in, stride, scratch);
  }
}

}  // namespace xv
