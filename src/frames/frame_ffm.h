#pragma once

#include <utility>

#include "base/auto_obj_base.h"
#include "base/ref.h"
#include "contracts/av_handles.h"
#include "xvwriter/frames.h"

namespace xv {

// A picture on its way from preparation to the encoder, in the encoder's format. One owner at a
// time.
class XvFrameFFM final : public AutoObjBase<XvFrameFFM> {
 public:
  explicit XvFrameFFM(AvPtr<AVFrame> picture) : picture_(std::move(picture)) {}

  // kPixFmtV210 as its format marks v210 bytes, which FFmpeg has no format for.
  AVFrame* picture() const { return picture_.get(); }

  // Keeps the host frame whose captions go into the packet. Releases an earlier one.
  void KeepSource(IXvFrame* source) { keptSource_ = Ref<IXvFrame>::Retain(source); }
  IXvFrame* KeptSource() const { return keptSource_.get(); }

 private:
  AvPtr<AVFrame> picture_;
  Ref<IXvFrame> keptSource_;
};

}  // namespace xv
