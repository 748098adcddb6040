#include <gtest/gtest.h>

#include "support/loopback.h"
#include "support/media_probe.h"

// A host that has stopped putting frames and does not stop the writer.
namespace xv::test {
namespace {

TEST(Idle, WhatWasPutIsSoonInTheFile) {
  constexpr int kPut = 30;
  const std::string pictures = "video::codec=mpeg2video audio::codec=null ";
  for (const std::string& attributes : {pictures, pictures + "video.buffers=0",
                                        std::string("video::enabled=false audio::codec=mp2")}) {
    SCOPED_TRACE(attributes);
    TemporaryFolder folder;
    const std::string target = folder / "a.ts";
    host::Writer writer;
    ASSERT_EQ(writer.Start(target, attributes), S_OK);
    ASSERT_EQ(PushFrames(writer, {.width = 64, .height = 48}, kPut), S_OK);
    // The encoder and the muxer hold back the last of it.
    const auto hasMost = [&] {
      const ProbedFile file = Probe(target);
      return !file.streams.empty() && file.streams[0].seconds > (kPut - 5) / 25.0;
    };
    EXPECT_TRUE(Eventually(10, hasMost));
    EXPECT_EQ(writer.Stop(), S_OK);
  }
}

}  // namespace
}  // namespace xv::test
