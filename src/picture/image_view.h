#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "kernels/colour_matrix.h"
#include "xvwriter/media.h"

namespace xv {

// A picture that is being worked on: where its rows lie, and what planning needs to know of it.
// Rows go from the top: a bottom-up picture starts at its last row in memory with a negative step.
struct ImageView {
  std::uint32_t tag = 0;
  int width = 0;         // pixels
  int height = 0;        // lines, not negative
  int chromaHeight = 0;  // rows of planes 1 and 2; of a field not always half of `height`
  std::array<std::uint8_t*, 3> data{};
  std::array<std::ptrdiff_t, 3> step{};  // bytes from one row to the next, for each plane

  // Of v210, whose pixels come in groups of 6: how many of the first group lie ahead of a part of a
  // picture, and whether this is such a part, with neighbours in its outer groups. Only WidePicture
  // knows parts that begin inside of a group.
  int skip = 0;
  bool inner = false;

  std::uint32_t interlace = eXvI_Progressive;  // eXvInterlace, never automatic
  std::int16_t aspectX = 0;
  std::int16_t aspectY = 0;
  double rate = 0;
  std::uint32_t scaleMode = eXvAF_Default;  // eXvAspectFit
  // Of YCbCr; of RGB the one that YCbCr is made of it with.
  Matrix matrix = Matrix::kBt601;
  std::int32_t format = 0;  // low byte: eXvVideoFormat; stereo layout above

  // +1 top field first, -1 bottom field first, 0 progressive.
  int Order() const {
    return interlace == eXvI_TopFirst ? 1 : interlace == eXvI_BottomFirst ? -1 : 0;
  }
  bool Interlaced() const { return Order() != 0; }
};

// Neither side is longer than 65536, so that no sum of bytes leaves its type.
bool SizeIsPlausible(const XV_VID_PROPS& vid);

// The view of a picture with complete properties. Planes lie one behind the other; those of YV12
// are exchanged, so that plane 1 is always U.
ImageView MakeImageView(const XV_VID_PROPS& vid, const std::uint8_t* data);

// Bytes from the first of a picture to the last that belongs to a pixel: the last row need not be
// padded, and an odd height of 4:2:0 rounds its chroma rows up.
std::int64_t PictureSpan(const XV_VID_PROPS& vid);

// The same picture from (left, top) on, `width` x `height`. Subsampled planes move by half,
// packed 4:2:2 by whole pairs of pixels, v210 by whole groups of 6.
ImageView RegionView(const ImageView& view, int left, int top, int width, int height);
// The same picture with its width rounded up to whole pairs of pixels, where its rows have them all
// the same (v210): for temporaries, whose last pair would otherwise stay as it was.
ImageView WholePairs(const ImageView& view);
// Every second row from `parity` on.
ImageView FieldRows(const ImageView& view, int parity);

// Packed 4:2:2: where luma lies in a group of 4 bytes, and whether V comes before U.
struct PackedOrder {
  bool lumaFirst;
  bool vFirst;
};
// UYVY, HDYC, YUY2, YVYU; nothing for other layouts.
std::optional<PackedOrder> FindPackedOrder(std::uint32_t tag);
bool IsPlanar420(std::uint32_t tag);  // I420, YV12
bool IsRgb32(std::uint32_t tag);      // RGB32, ARGB32
// Lines from one place where a picture can be cut to the next: whole chroma lines of both fields.
int LineUnit(std::uint32_t tag, bool interlaced);

// Bytes of `width` pixels of the first plane, without padding; v210 counts whole groups of 6.
int PixelRowBytes(std::uint32_t tag, int width);

// Copies `rows` rows of `bytes` bytes. Steps may be negative.
void CopyPlane(const std::uint8_t* source, std::ptrdiff_t sourceStep, std::uint8_t* target,
               std::ptrdiff_t targetStep, std::size_t bytes, int rows);
// All planes; layouts and sizes are equal.
void CopyPicture(const ImageView& source, const ImageView& target);

}  // namespace xv
