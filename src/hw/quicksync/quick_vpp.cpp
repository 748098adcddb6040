#include "hw/quicksync/quick_vpp.h"

#include <utility>

namespace xv {

XvQSVPP::XvQSVPP(mfxSession session, Ref<XvQSAllocatorBase> allocator,
                 const mfxVideoParam* encoder) {
  if (session == nullptr || !allocator || encoder == nullptr) return;
  session_ = session;
  allocator_ = std::move(allocator);
  param_.AsyncDepth = encoder->AsyncDepth;
  param_.IOPattern = encoder->IOPattern;
  doNotUse_.Header.BufferId = MFX_EXTBUFF_VPP_DONOTUSE;
  doNotUse_.Header.BufferSz = sizeof doNotUse_;
  param_.ExtParam = list_;
  param_.NumExtParam = 1;
}

}  // namespace xv
