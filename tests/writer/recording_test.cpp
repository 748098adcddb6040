#include <gtest/gtest.h>
#include <sys/stat.h>

#include "support/fixtures.h"
#include "support/loopback.h"
#include "support/media_probe.h"

namespace xv::test {
namespace {

using Recording = WithWriter;

// Codecs that the served list does not name for this container.
TEST_F(Recording, MxfTakesWhatItsMuxerTakes) {
  for (const char* codec : {"libx264", "prores"}) {
    const ProbedFile file =
        RecordAndProbe("a.mxf", std::string("video::codec=") + codec, {.interlace = eXvI_TopFirst});
    EXPECT_EQ(file.Pictures().frames, 10) << codec;
    EXPECT_EQ(file.Pictures().errors + file.Sound().errors, 0) << codec;
    EXPECT_TRUE(file.Pictures().interlaced && file.Pictures().topFirst) << codec;
    EXPECT_NEAR(file.Sound().seconds, 0.4, 0.001) << codec;
    EXPECT_EQ(file.timecode, "10:00:00:00") << codec;
  }
}

// A picture with its upper half bright shows which way up it was read.
TEST_F(Recording, RgbHeightSignSaysWhichLineComesFirst) {
  for (const int height : {240, -240}) {
    const Feed feed{.layout = kFccRGB32, .width = 320, .height = height};
    const auto half = DrawPicture(feed, [](int, int, int y) { return y < 120 ? 220 : 20; });
    const ProbedStream video = RecordPicture("a.avi", "video::codec=rawvideo", feed, half);
    EXPECT_NEAR(video.first.at(0).At(5, 5), 220, 4) << height;
  }
}

// Asked for ahead, in a queue's place too, and by the stop itself; the next stop waits again.
TEST_F(Recording, AStopAtOnceGivesUpWhatTheEncoderHolds) {
  constexpr int kFrames = 40;
  const Feed feed{.width = 320, .height = 240, .channels = 0};
  const std::string attributes =
      "video::codec=libx264 video::rc-lookahead=20 video::x264opts=threads=1:sync-lookahead=0 ";
  for (const std::string more :
       {"video.buffers=0", "video.buffers=0 stop.at_once=true", "video.buffers=4", ""}) {
    const std::string target = folder_ / ("a" + std::to_string(more.size()) + ".mp4");
    ASSERT_EQ(writer_.Start(target, attributes + more), S_OK);
    for (int i = 0; i < kFrames; ++i) ASSERT_EQ(writer_.Put(MakeFrame(feed, i)), S_OK);
    const bool whole = more.empty();
    const bool inText = more.find("stop") != more.npos;
    const HRESULT stopped = whole || inText ? writer_.Stop() : writer_.StopAtOnce();
    EXPECT_EQ(stopped, whole ? S_OK : XV_E_ABORTED) << more << writer_.LastError();
    const ProbedStream video = Probe(target).Pictures();
    EXPECT_EQ(video.errors, 0) << more;
    if (whole) {
      EXPECT_EQ(video.frames, kFrames);
      continue;
    }
    EXPECT_TRUE(video.frames > 5 && video.frames < kFrames - 10) << more << video.frames;
    const std::int64_t held = kFrames - video.frames - writer_.Stats().drops;
    EXPECT_NE(writer_.LastError().find(std::to_string(held) + " frames"), std::string::npos)
        << more << writer_.LastError();
  }
}

TEST_F(Recording, EachPacketOfRawPicturesIsAKeyAndLastsOnePicture) {
  for (const char* codec : {"rawvideo", "v210"}) {
    const ProbedFile file = RecordAndProbe(
        "a.mov", std::string("video::codec=") + codec,
        {.layout = kFccV210, .width = 320, .height = 240, .channels = 0, .timecode = false});
    EXPECT_EQ(file.Pictures().keys, "KKKKKKKKKK") << codec;
    EXPECT_NEAR(file.seconds, 0.4, 0.001) << codec;
  }
}

// A reader that finds the new file finds a whole one.
TEST_F(Recording, HeaderFileIsReplacedOnceItIsWhole) {
  const auto inode = [path = folder_ / "a.hdr.mov"] {
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0 ? info.st_ino : 0;
  };
  ASSERT_EQ(writer_.Start(folder_ / "a.mov", "play_while_rec=true video::codec=mpeg2video"), S_OK);
  ASSERT_EQ(PushFrames(writer_, Feed(), 5), S_OK);
  const auto begun = inode();
  ASSERT_EQ(PushFrames(writer_, Feed(), 60, 5), S_OK);
  EXPECT_TRUE(Eventually(10, [&] { return inode() != begun; }));
  EXPECT_TRUE(Probe(folder_ / "a.hdr.mov").opened);
  EXPECT_EQ(writer_.Stop(), S_OK);
  // Its readers find all that they need in the stream.
  ASSERT_EQ(writer_.Start(folder_ / "b.webm", "play_while_rec=true video::codec=libvpx"), S_OK);
  ASSERT_EQ(PushFrames(writer_, {.width = 96, .height = 64}, 5), S_OK);
  EXPECT_TRUE(std::filesystem::exists(folder_ / "b.webm.idx"));
  EXPECT_FALSE(std::filesystem::exists(folder_ / "b.hdr.webm"));
}

TEST_F(Recording, SplitChannelsGiveTracks) {
  for (const auto& [attribute, tracks, channels] : {std::tuple{"split_channels=1", 6, 1},
                                                    {"split_channels=2", 3, 2},
                                                    {"split_channels=4", 2, 2},
                                                    {"split_channels=true", 6, 1},
                                                    {"split_channels=3", 1, 6},
                                                    {"merge_tracks=1", 1, 6}}) {
    const ProbedFile file = RecordAndProbe(
        "a.mov", std::string("video::codec=mpeg4 audio::codec=pcm_s16le ") + attribute,
        {.channels = 6});
    EXPECT_EQ(file.Count(AVMEDIA_TYPE_AUDIO), tracks) << attribute;
    EXPECT_EQ(file.Sound(tracks - 1).channels, channels) << attribute;
    EXPECT_NEAR(file.Sound(tracks - 1).seconds, 0.4, 0.001) << attribute;
  }
}

TEST_F(Recording, PathsLongerThanOneSystemCallTakes) {
  const std::filesystem::path before = std::filesystem::current_path();
  // Made from the inside, as nobody can make it from outside.
  std::string path = folder_.Path();
  const std::string level(250, 'd');
  std::filesystem::current_path(path);
  for (int i = 0; i < 20; ++i) {
    std::filesystem::create_directory(level);
    std::filesystem::current_path(level);
    path += "/" + level;
  }
  EXPECT_EQ(Record(path + "/a.mp4", "video::codec=mpeg4 play_while_rec=true", {}, 30), S_OK);
  const ProbedFile file = Probe("a.mp4");
  const auto files = std::distance(std::filesystem::directory_iterator("."), {});
  std::filesystem::current_path(before);
  EXPECT_EQ(file.Pictures().frames, 30);
  EXPECT_EQ(files, 1) << "the side files are gone";
}

}  // namespace
}  // namespace xv::test
