#pragma once

#include <gtest/gtest.h>

#include "frames/host_frame.h"
#include "picture/pictures.h"

namespace xv::test {

// A host frame over a picture's memory, which must outlive it; `start` in 100 ns.
inline Ref<IXvFrame> FrameOf(const Picture& picture, std::int64_t start = 0) {
  XvFrameDesc desc{};
  desc.cbSize = sizeof desc;
  desc.time.rtStart = start;
  desc.props.vid = picture.vid;
  desc.props.aud = {2, 48000, 16, 0};
  desc.video = picture.bytes.data();
  desc.cbVideo = static_cast<std::uint32_t>(picture.bytes.size());
  Ref<IXvFrame> frame;
  EXPECT_EQ(BuiltInFrameFactory()->FrameCreate(&desc, frame.Receive()), S_OK);
  return frame;
}

}  // namespace xv::test
