#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/status.h"
#include "picture/image_view.h"
#include "picture/scale_engine.h"
#include "picture/wide_scaler.h"

namespace xv {

// Rotates a plane of `width` x `height` samples of 1 to 4 bytes by 90 degrees; the target is
// `height` x `width`. `left` is counter-clockwise.
void RotatePlane(const std::uint8_t* source, std::ptrdiff_t sourceStep, std::uint8_t* target,
                 std::ptrdiff_t targetStep, int width, int height, int sampleBytes, bool left);

// Rotates pictures and keeps memory and filters from one to the next. One caller at a time.
class PictureRotator {
 public:
  // Rotates a picture into a target of any size in the same layout; what the rotated picture does
  // not cover is black. Chroma of subsampled layouts is rotated at its own resolution and
  // resampled. Where both are interlaced, each field is rotated by itself.
  //   E_INVALIDARG  a null picture, or layouts that differ.
  //   E_NOTIMPL     layouts that cannot be rotated: the 16-bit RGB ones.
  Status Rotate(const ImageView& source, const ImageView& target, bool left);

 private:
  // A plane with its own memory.
  struct OwnPlane {
    std::vector<std::uint8_t> memory;
    int width = 0;
    int height = 0;
    int bytes = 1;  // of a sample or pixel

    void Shape(int columns, int rows, int sampleBytes);
    std::ptrdiff_t Step() const { return std::ptrdiff_t{width} * bytes; }
    std::uint8_t* Row(int y) { return memory.data() + y * Step(); }
  };

  Status RotateWhole(const ImageView& source, const ImageView& target, bool left);
  void RotatePlanes(const ImageView& source, const ImageView& target, bool left);
  // The planes of a picture, of whole pixels in one plane where they are not subsampled.
  void Split(const ImageView& source);
  void TurnPlanes(bool left);
  // The rotated planes of `source`, or of its field of that parity, where they stand.
  WidePicture Rotated(const ImageView& source, int parity, bool left);

  std::vector<std::uint8_t> rotatedRgb_;
  ScaleEngine engine_;
  WideScaler scaler_;
  V210Row deep_;
  int planeCount_ = 0;
  std::array<OwnPlane, 3> planes_;
  std::array<OwnPlane, 3> rotated_;
};

}  // namespace xv
