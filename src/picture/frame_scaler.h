#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "base/status.h"
#include "picture/geometry.h"
#include "picture/image_view.h"
#include "picture/scale_engine.h"

namespace xv {

// How fields meet in one pass of the engine; each has its own engine, so that its filter
// banks stay.
enum class FieldSlot {
  kPlain = 0,       // neither side is interlaced
  kInterlaced = 1,  // both are
  kTopToFrame = 2,  // one field of the source fills the target
  kBottomToFrame = 3,
};
FieldMode ModeOfSlot(FieldSlot slot);

// What ScaleFrame may write: the whole picture, or pictures that one field fills. Unused ones have
// no data.
struct ScaleTargets {
  ImageView full;
  std::array<ImageView, 2> field;
};

// Scales the pictures of one field, or whole ones. One caller at a time.
class FrameScaler {
 public:
  explicit FrameScaler(Siting siting = Siting::kClassic) : siting_(siting) {}
  void SetSiting(Siting siting) { siting_ = siting; }

  // Scales `source` into all targets that exist; sizes and layouts may differ. Stereo layouts of a
  // view (two pictures beside or above one another) are worked picture by picture. `viewIndex` -1
  // is the whole.
  //   S_FALSE         nothing to do.
  //   E_FAIL          the layouts have no conversion.
  Status ScaleFrame(const ImageView& source, const ScaleTargets& targets, int quality,
                    int viewIndex = -1);

 private:
  Status ScaleNormalised(const ImageView& source, const ScaleTargets& targets, int quality);
  Status ScalePass(const ImageView& source, const ImageView& target, FieldSlot slot,
                   const RegionPlan& plan, int quality);

  Siting siting_;
  std::array<ScaleEngine, 5> engines_;
};

// The view of one field, in time: 0 the earlier one.
ImageView MakeFieldView(const ImageView& view, int index);

// The half of a stereo view; `index` 0 is the left or upper one. A view without a layout stays.
ImageView StereoHalf(const ImageView& view, int index);

}  // namespace xv
