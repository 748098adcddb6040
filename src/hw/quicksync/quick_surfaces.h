#pragma once

#include <memory>
#include <vector>

#include "base/ref.h"
#include "hw/quicksync/quick_frames.h"
#include "hw/quicksync/quick_session.h"
#include "hw/quicksync/quick_settings.h"
#include "hw/quicksync/quick_vpp.h"
#include "picture/image_view.h"

namespace xv {

// The memory of a session's pictures: each frame's own where there is no allocator, else an
// allocator's, in the device with "gpu_memory", or in system memory with "use_vpp".
class QuickSurfaces {
 public:
  // Ahead of the encoder's initialisation. E_FAIL: as the session's failure tells.
  Status Build(QuickSession& session, const QuickSettings& settings);
  // Behind the session's end. Frames that are in use keep the allocator.
  void Clear();

  // A free one; null when all of the allocator's are in use.
  std::unique_ptr<CInputFrame> Take();
  void PutBack(std::unique_ptr<CInputFrame> frame);
  // Frames that may be in work at the same time.
  std::size_t Limit() const { return limit_; }

  // Writes a picture of NV12 into the frame, and reads it back. A step of 0 is the surface's pitch.
  mfxStatus CopyIn(const ImageView& picture, CInputFrame& frame) const;
  mfxStatus CopyOut(CInputFrame& frame, std::vector<mfxU8>* bytes, ImageView* picture) const;

 private:
  Status MakeAllocator(QuickSession& session, const QuickSettings& settings);
  Status AllocateFrames(QuickSession& session, mfxFrameAllocRequest request);
  std::unique_ptr<CInputFrame> NewFrame() const;

  mfxFrameInfo info_{};
  Ref<XvQSAllocatorBase> allocator_;
  Ref<XvQSVPP> vpp_;
  std::vector<std::unique_ptr<CInputFrame>> free_;
  std::size_t limit_ = 0;
};

}  // namespace xv
