#include <gtest/gtest.h>

#include "support/media_probe.h"

// How many frames wait for an encoder: few large ones where the host waits, as many as told
// elsewhere.
namespace xv::test {
namespace {

struct Case {
  const char* attributes;
  int width, height;
  std::int64_t room;
};

void PrintTo(const Case& one, std::ostream* out) {
  *out << one.attributes << ' ' << one.width << 'x' << one.height;
}

class QueueRoom : public testing::TestWithParam<Case> {};

TEST_P(QueueRoom, FollowsThePictures) {
  const Case& one = GetParam();
  TemporaryFolder folder;
  host::Writer writer;
  ASSERT_EQ(writer.Start(folder / "a.mov", one.attributes), S_OK);
  ASSERT_EQ(writer.Put(MakeFrame({.width = one.width, .height = one.height}, 0)), S_OK);
  EXPECT_EQ(writer.Stats().videoBuffers, one.room);
  EXPECT_EQ(writer.Stop(), S_OK);
}

// 32 MiB hold 8.1 pictures of 1080 lines as UYVY, 6.1 as v210, and one of 2160 lines in 4:2:2
// planes of 10 bits.
INSTANTIATE_TEST_SUITE_P(
    Sizes, QueueRoom,
    testing::Values(Case{"video::codec=rawvideo", 720, 576, 24},
                    Case{"video::codec=rawvideo", 1920, 1080, 5},
                    Case{"video::codec=v210", 1920, 1080, 3},
                    Case{"video::codec=prores", 3840, 2160, 2},
                    Case{"video::codec=rawvideo video.drop_frames=true", 1920, 1080, 24},
                    Case{"video::codec=rawvideo video.buffers=30", 1920, 1080, 30},
                    Case{"video::codec=rawvideo video.buffers=0", 1920, 1080, 0}));

}  // namespace
}  // namespace xv::test
