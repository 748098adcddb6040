#pragma once

#include <cstddef>
#include <cstdint>

#include "base/status.h"
#include "contracts/av_handles.h"
#include "picture/image_view.h"

namespace xv {

// Layouts that NvencPicture takes.
bool IsNvencLayout(std::uint32_t tag);

// Pictures straight into the encoder's memory, in one pass. One caller at a time.
class NvencPicture {
 public:
  // Writes `source` as NV12 at `memory`: rows of `pitch` bytes, the chroma plane behind
  // `bufferHeight` of them. Fields keep chroma of their own. Of 486 lines the lowest 480 are
  // written. Bytes beside and below the picture stay as they were. E_OUTOFMEMORY; E_NOTIMPL for
  // another layout.
  Status WriteNv12(const ImageView& source, std::uint8_t* memory, int pitch, int bufferHeight);

 private:
  AvPtr<AVFrame> frame_;  // laid over the memory
};

}  // namespace xv
