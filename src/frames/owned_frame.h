#pragma once

#include <cstddef>
#include <cstdint>

#include "base/ref.h"
#include "base/status.h"
#include "picture/memory_pool.h"
#include "xvwriter/frames.h"

namespace xv {

// Memory for frames of one size after another: what a dropped frame gives back serves the next.
// One caller at a time; frames may be dropped on any thread.
class FrameMemory {
 public:
  // A frame with `bytes` of its own memory for the picture, from the factory in force. `data` gets
  // them; they may be written until the frame is handed on.
  //   E_OUTOFMEMORY, XV_E_NO_FRAME_FACTORY
  Status MakeFrame(const XV_TIME& time, const XV_AV_PROPS& props, std::size_t bytes,
                   Ref<IXvFrame>* frame, std::uint8_t** data);

 private:
  std::shared_ptr<MemoryPool> pool_;
};

// A frame's properties, completed, with its time and picture.
struct FrameContents {
  XV_TIME time{};
  XV_AV_PROPS props{};
  const std::uint8_t* video = nullptr;
  std::uint32_t videoBytes = 0;
};
// XV_E_NO_PIXEL_FORMAT for properties that are not valid, E_UNEXPECTED without a picture,
// E_INVALIDARG for a buffer shorter than the properties say.
Status ReadContents(IXvFrame* frame, FrameContents* contents);

}  // namespace xv
