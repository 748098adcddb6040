#pragma once

#include <cstdint>

#include "base/ref.h"
#include "frames/frame_ffm.h"
#include "frames/prepare_video.h"
#include "platform/bounded_queue.h"
#include "tree/node.h"

namespace xv {

// One frame on its way to the worker. The picture may be shared by repeats, so the stamp travels
// beside it. No picture: the end of the stream.
struct QueuedFrame {
  Ref<XvFrameFFM> frame;
  std::int64_t pts = AV_NOPTS_VALUE;
  bool repeat = false;  // the picture went ahead already, with what it carries
};

using VideoQueue = BoundedQueue<QueuedFrame>;

// How many frames may wait for the encoder: what "video.buffers" says, 0 for no queue. Where it
// says nothing, 24; where a full queue holds up the host and loses nothing, no more than
// kWaitingBytes hold of the encoder's pictures, but two.
int RoomForFrames(const XMLParse::CoXMLNode& attributes, const CodecView& codec);

}  // namespace xv
