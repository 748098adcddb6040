#pragma once

#include <memory>

#include "contracts/av_handles.h"
#include "picture/memory_pool.h"

namespace xv {

// Pictures of one size and format out of a pool, so that the steady state allocates nothing. Planes
// are 64-byte aligned and padded. One caller at a time; the pictures may be freed on any thread.
class PicturePool {
 public:
  // A writable picture; null when there is no memory or the format has no layout.
  AvPtr<AVFrame> Get(int format, int width, int height);

 private:
  std::shared_ptr<MemoryPool> pool_;
  int format_ = AV_PIX_FMT_NONE;
  int width_ = 0;
  int height_ = 0;
};

}  // namespace xv
