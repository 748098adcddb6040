#include "props/nearest_name.h"

#include <gtest/gtest.h>

namespace xv {
namespace {

TEST(NearestName, EditsCountOnceEach) {
  EXPECT_EQ(EditDistance("", "abc"), 3u);
  EXPECT_EQ(EditDistance("vidoe", "Video"), 1u) << "a swap of neighbours";
  EXPECT_EQ(EditDistance("kitten", "sitting"), 3u);
  EXPECT_EQ(EditDistance("ca", "abc"), 3u) << "nothing is edited twice";
}

TEST(NearestName, SlipsAreFoundAndOtherWordsAreNot) {
  const std::string names[] = {"video.buffers", "video::b", "video::g", "audio::b", "format"};
  EXPECT_EQ(NearestName("vidoe::b", names), "video::b");
  EXPECT_EQ(NearestName("FROMAT", names), "format");
  EXPECT_EQ(NearestName("video.bufers", names), "video.buffers");
  EXPECT_EQ(NearestName("b", names), "video::b") << "of another node";
  EXPECT_EQ(NearestName("audio.0::b", names), "audio::b");
  for (const char* text : {"", "junk", "video::odd", "xx"}) {
    EXPECT_EQ(NearestName(text, names), "") << text;
  }
  EXPECT_EQ(NearestName(std::string(1 << 20, 'b'), names), "");
}

}  // namespace
}  // namespace xv
