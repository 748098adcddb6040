#pragma once

#include <memory>

#include "hw/quicksync/quick_allocator.h"
#include "hw/quicksync/va_device.h"

namespace xv {

// Frames in the memory of a device, as VA-API surfaces of NV12. A surface is locked by one at a
// time: its picture is derived and mapped. Frames of other layouts, which runtimes ask for on their
// own account, are MFX_ERR_UNSUPPORTED: they make those themselves.
class XvQSAllocatorHW final : public XvQSAllocatorBase {
 public:
  explicit XvQSAllocatorHW(std::shared_ptr<VaDevice> device) : device_(std::move(device)) {}
  ~XvQSAllocatorHW() override { GiveUpAll(); }

  bool IsHardware() const override { return true; }
  mfxStatus Lock(mfxMemId id, mfxFrameData* data) override;
  mfxStatus Unlock(mfxMemId id, mfxFrameData* data) override;
  // A pointer to the VASurfaceID.
  mfxStatus GetHDL(mfxMemId id, mfxHDL* handle) override;

 private:
  mfxStatus MakeFrames(const mfxFrameAllocRequest& request, std::size_t count,
                       std::vector<mfxMemId>* ids) override;
  void GiveUpFrames(const std::vector<mfxMemId>& ids) override;

  std::shared_ptr<VaDevice> device_;
};

}  // namespace xv
