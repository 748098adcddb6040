#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "picture/column_filter.h"
#include "picture/image_view.h"
#include "picture/v210_row.h"

namespace xv {

// What one thread needs to read and write rows of a WidePicture.
struct WideScratch {
  std::vector<std::uint8_t> bytes[3];
  V210Row deep;
  int deepRow = -1;  // of the source, in `deep`
  V210Row made;
};

// A picture whose rows are read and written as wide rows (kernels/wide_rows.h). Components that
// share their rows go in groups: Y, and Cb with Cr behind it; or all channels of RGB, pixel by
// pixel. Threads may read and write different rows at once, each with its scratch.
class WidePicture {
 public:
  struct Group {
    int segments = 0;  // components, one behind the other
    int channels = 1;  // that take turns in a segment
    int width = 0;     // samples or pixels of a segment
    int height = 0;
    SampleGrid x, y;
  };

  WidePicture() = default;
  // Layouts of hosts; Knows(view.tag).
  explicit WidePicture(const ImageView& view);
  // Planes of 8 bits, or of 10 in 16, whose chroma has every second (shift 1) or fourth (2) sample.
  static WidePicture OfPlanes(const ImageView& planes, int bits, int shiftX, int shiftY);

  // Planes of 8 bits, or of 10 in 16, with chroma of `chromaWidth` x planes.chromaHeight, which
  // is to be placed.
  static WidePicture OfChroma(const ImageView& planes, int bits, int chromaWidth);

  static bool Knows(std::uint32_t tag);
  // Whether a picture of one layout can be scaled into the other without a change of colour.
  static bool Related(std::uint32_t a, std::uint32_t b);

  // Every second line, standing where it does in the frame.
  WidePicture Field(int parity) const;
  // The same samples in other places, of a picture of `width` x `height`.
  void Place(int group, const SampleGrid& x, const SampleGrid& y);
  void SetExtent(int width, int height);

  int Groups() const { return groups_[1].segments > 0 ? 2 : 1; }
  const Group& At(int group) const { return groups_[static_cast<std::size_t>(group)]; }
  // Both groups of a row lie in the same bytes: they are written one behind the other.
  bool Joint() const { return form_ == Form::kPacked || form_ == Form::kV210; }
  // Columns and lines of the frame that the grids count.
  int Width() const { return width_; }
  int Height() const { return height_; }

  // `stride` samples lie between the segments of a row.
  void Read(int group, int row, std::int16_t* out, std::size_t stride, WideScratch& scratch) const;
  void Write(int group, int row, const std::int16_t* in, std::size_t stride,
             WideScratch& scratch) const;

 private:
  enum class Form { kPlanes, kSemiPlanar, kPacked, kV210, kRgb24, kRgb32 };

  std::uint8_t* RowOf(std::size_t plane, int row) const {
    return view_.data[plane] + row * view_.step[plane];
  }
  void ReadPlane(std::size_t plane, int row, std::int16_t* out) const;
  void WritePlane(std::size_t plane, int row, const std::int16_t* in) const;
  V210Row& DeepRow(int row, WideScratch& scratch) const;
  void ReadPixels(int row, std::int16_t* out, WideScratch& scratch) const;
  void ReadDeep(int group, int row, std::int16_t* out, std::size_t stride,
                WideScratch& scratch) const;
  void ReadMixed(int group, int row, std::int16_t* out, std::size_t stride,
                 WideScratch& scratch) const;
  void WritePixels(int row, const std::int16_t* in, WideScratch& scratch) const;
  void WriteDeep(int group, int row, const std::int16_t* in, std::size_t stride,
                 WideScratch& scratch) const;
  void WriteMixed(int group, int row, const std::int16_t* in, std::size_t stride,
                  WideScratch& scratch) const;

  ImageView view_;
  Form form_ = Form::kPlanes;
  int bits_ = 8;
  int width_ = 0;
  int height_ = 0;
  std::array<Group, 2> groups_{};
};

}  // namespace xv
