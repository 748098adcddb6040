#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/status.h"
#include "picture/image_view.h"
#include "picture/plane_scaler.h"
#include "picture/scale_engine.h"

namespace xv {

// Rotates a plane of `width` x `height` samples of 1, 3 or 4 bytes by 90 degrees; the target is
// `height` x `width`. `left` is counter-clockwise.
void RotatePlane(const std::uint8_t* source, std::ptrdiff_t sourceStep, std::uint8_t* target,
                 std::ptrdiff_t targetStep, int width, int height, int sampleBytes, bool left);

// Rotates pictures and keeps memory and filters from one to the next. One caller at a time.
class PictureRotator {
 public:
  // Rotates a picture into a target of any size in the same layout; what the rotated picture does
  // not cover is black. Chroma of subsampled layouts is rotated at its own resolution and
  // resampled.
  //   E_INVALIDARG  a null picture, or layouts that differ.
  //   E_NOTIMPL     layouts that cannot be rotated: v210, r210, NV12 and the 16-bit RGB ones.
  Status Rotate(const ImageView& source, const ImageView& target, bool left);

 private:
  // A plane with its own memory.
  struct OwnPlane {
    std::vector<std::uint8_t> memory;
    int width = 0;
    int height = 0;

    void Shape(int w, int h);
    PlaneScaler::Plane View() const { return {memory.data(), width, width, height}; }
  };

  Status RotateRgb(const ImageView& source, const ImageView& target, bool left);
  Status RotateSubsampled(const ImageView& source, const ImageView& target, bool left);
  void Split(const ImageView& source);
  Status Join(const ImageView& region);

  std::vector<std::uint8_t> rotatedRgb_;
  ScaleEngine engine_;
  std::array<OwnPlane, 3> planes_;
  std::array<OwnPlane, 3> rotated_;
  std::array<OwnPlane, 3> scaled_;
  std::array<PlaneScaler, 3> scalers_;
};

}  // namespace xv
