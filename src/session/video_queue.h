#pragma once

#include <cstdint>

#include "base/ref.h"
#include "frames/frame_ffm.h"
#include "platform/bounded_queue.h"

namespace xv {

// One frame on its way to the worker. The picture may be shared by repeats, so the stamp travels
// beside it. No picture: the end of the stream.
struct QueuedFrame {
  Ref<XvFrameFFM> frame;
  std::int64_t pts = AV_NOPTS_VALUE;
  bool repeat = false;  // the picture went ahead already, with what it carries
};

using VideoQueue = BoundedQueue<QueuedFrame>;

}  // namespace xv
