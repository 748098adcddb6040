#pragma once

#include "base/auto_obj_base.h"
#include "base/ref.h"
#include "hw/quicksync/quick_allocator.h"

namespace xv {

// The stage that processes pictures ahead of the encoder. It is made and holds what it would run
// with: the encoder's depth and memory, and no denoising or other extras. Pictures do not go
// through it: they reach the encoder as they are.
class XvQSVPP final : public AutoObjBase<XvQSVPP> {
 public:
  // Stays empty where one of the three is missing.
  XvQSVPP(mfxSession session, Ref<XvQSAllocatorBase> allocator, const mfxVideoParam* encoder);
  bool IsEmpty() const { return session_ == nullptr; }
  const mfxVideoParam& param() const { return param_; }

 private:
  mfxSession session_ = nullptr;
  Ref<XvQSAllocatorBase> allocator_;
  mfxVideoParam param_{};
  mfxExtVPPDoNotUse doNotUse_{};
  mfxExtBuffer* list_[1] = {&doNotUse_.Header};
};

}  // namespace xv
