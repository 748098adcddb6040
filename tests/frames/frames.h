#pragma once

#include <cstdlib>

#include "frames/host_frame.h"
#include "picture/pictures.h"

namespace xv::test {

// A host frame over a picture's memory, which must outlive it; `start` in 100 ns.
inline Ref<IXvFrame> FrameOver(const XV_VID_PROPS& vid, const std::uint8_t* memory,
                               std::size_t bytes, std::int64_t start = 0) {
  XvFrameDesc desc{};
  desc.cbSize = sizeof desc;
  desc.time.rtStart = start;
  desc.props.vid = vid;
  desc.props.aud = {2, 48000, 16, 0};
  desc.video = memory;
  desc.cbVideo = static_cast<std::uint32_t>(bytes);
  Ref<IXvFrame> frame;
  if (Failed(BuiltInFrameFactory()->FrameCreate(&desc, frame.Receive()))) std::abort();
  return frame;
}
inline Ref<IXvFrame> FrameOf(const Picture& picture, std::int64_t start = 0) {
  return FrameOver(picture.vid, picture.bytes.data(), picture.bytes.size(), start);
}

}  // namespace xv::test
