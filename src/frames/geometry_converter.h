#pragma once

#include <array>
#include <mutex>
#include <vector>

#include "base/auto_obj_base.h"
#include "base/ref.h"
#include "frames/converter_attributes.h"
#include "frames/owned_frame.h"
#include "picture/frame_scaler.h"
#include "picture/rotate.h"
#include "picture/wide_scaler.h"
#include "xvwriter/frames.h"

namespace xv {

// Crop, rotation, mirror, and size: makes frames of given properties out of host frames. Keeps its
// filters and memory from frame to frame. Thread-safety: one conversion at a time, by its lock; the
// two fields of a picture are work items inside of it.
class XvConverterRC2 final : public AutoObjBase<XvConverterRC2> {
 public:
  static constexpr int kWholeFrame = -1;

  XvConverterRC2() = default;
  ~XvConverterRC2() override = default;

  // In this order: the attributes "crop" and "rotate" of `props`, the weave with `secondFrame`,
  // size, layout and field structure of `targetProps`, "mirror". `secondFrame`, `targetProps` and
  // `props` may be null; without a target the frame is only cropped, rotated, mirrored. `field` is
  // 0 or 1 for one field of the source, else the whole frame. The frames are the caller's; `result`
  // may be the first frame itself.
  //   E_POINTER            a null frame or result.
  //   E_INVALIDARG         an invalid crop.
  //   E_UNEXPECTED         no picture came out of a stage.
  //   XV_E_NO_PIXEL_FORMAT the frame's properties are not valid.
  Status Convert(IXvFrame* frame, IXvFrame* secondFrame, const XV_VID_PROPS* targetProps, int field,
                 Ref<IXvFrame>* result, const XMLParse::CoXMLNode* props);

 private:
  struct Pair;

  Status ApplyCropAndRotate(Ref<IXvFrame>* frame, Ref<IXvFrame>* second,
                            const XV_VID_PROPS* targetProps, const XMLParse::CoXMLNode* props);
  // By 90 degrees: sizes and aspect exchanged, in the source's layout.
  Status RotateFrame(bool left, IXvFrame* frame, Ref<IXvFrame>* result);
  Status WeaveFrames(Ref<IXvFrame>* frame, IXvFrame* second, const XV_VID_PROPS* targetProps);
  Status ConvertFrame(IXvFrame* frame, const XV_VID_PROPS& target, int field,
                      const XMLParse::CoXMLNode* props, Ref<IXvFrame>* result);
  Status ScaleBothFields(const Pair& pair, int quality);
  Status ConvertField(const Pair& pair, int field, bool bothFields, int quality);
  Status MirrorFrame(Ref<IXvFrame>* frame, Mirror mirror, bool own);

  std::mutex lock_;                     // guards what follows; held for a whole conversion
  std::array<FrameScaler, 2> scalers_;  // one for each field
  FrameMemory memory_;
  FrameMemory cropped_;
  FrameMemory rotated_;
  FrameMemory mirrored_;
  PictureRotator rotator_;
  WideScaler wide_;  // v210 on its way to a crop
};

// Geometry, layout and rate equal, whatever the row bytes (rates within 0.01).
bool SameProps(const XV_VID_PROPS& a, const XV_VID_PROPS& b);

// Where a frame lies in a buffer of two views that "__vptr_" points at: 2 in the upper half, 1 at
// its start, 0 elsewhere or when the buffer is not twice `naturalBytes`. `offset` (may be null)
// gets the distance from that pointer.
int ViewOffset(IXvFrame* frame, std::int64_t naturalBytes, std::ptrdiff_t* offset);

}  // namespace xv
