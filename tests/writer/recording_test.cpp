#include <gtest/gtest.h>
#include <sys/stat.h>

#include "support/loopback.h"
#include "support/media_probe.h"

namespace xv::test {
namespace {

// Codecs that the served list does not name for this container.
TEST(Recording, MxfTakesWhatItsMuxerTakes) {
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
TEST(Recording, RgbHeightSignSaysWhichLineComesFirst) {
  auto picture = std::make_shared<std::vector<std::uint8_t>>(320 * 240 * 4, 20);
  std::fill_n(picture->begin(), 320 * 120 * 4, 220);
  for (const int height : {240, -240}) {
    TemporaryFolder folder;
    host::Writer writer;
    ASSERT_EQ(writer.Start(folder / "a.avi", "video::codec=rawvideo"), S_OK);
    const Feed feed{.layout = kFccRGB32, .width = 320, .height = height, .channels = 0};
    ASSERT_EQ(writer.Put(MakeFrame(feed, 0, picture)), S_OK);
    EXPECT_EQ(writer.Stop(), S_OK);
    EXPECT_NEAR(Probe(folder / "a.avi").Pictures().firstLuma.at(0), height > 0 ? 20 : 220, 4);
  }
}

// Asked for ahead, in a queue's place too, and by the stop itself; the next stop waits again.
TEST(Recording, AStopAtOnceGivesUpWhatTheEncoderHolds) {
  constexpr int kFrames = 40;
  const Feed feed{.width = 320, .height = 240, .channels = 0};
  const std::string attributes =
      "video::codec=libx264 video::rc-lookahead=20 video::x264opts=threads=1:sync-lookahead=0 ";
  const TemporaryFolder folder;
  host::Writer writer;
  for (const std::string more :
       {"video.buffers=0", "video.buffers=0 stop.at_once=true", "video.buffers=4", ""}) {
    const std::string target = folder / ("a" + std::to_string(more.size()) + ".mp4");
    ASSERT_EQ(writer.Start(target, attributes + more), S_OK);
    for (int i = 0; i < kFrames; ++i) ASSERT_EQ(writer.Put(MakeFrame(feed, i)), S_OK);
    const bool whole = more.empty();
    const bool inText = more.find("stop") != more.npos;
    const HRESULT stopped = whole || inText ? writer.Stop() : writer.StopAtOnce();
    EXPECT_EQ(stopped, whole ? S_OK : XV_E_ABORTED) << more << writer.LastError();
    const ProbedStream video = Probe(target).Pictures();
    EXPECT_EQ(video.errors, 0) << more;
    if (whole) {
      EXPECT_EQ(video.frames, kFrames);
      continue;
    }
    EXPECT_TRUE(video.frames > 5 && video.frames < kFrames - 10) << more << video.frames;
    const std::int64_t held = kFrames - video.frames - writer.Stats().drops;
    EXPECT_NE(writer.LastError().find(std::to_string(held) + " frames"), std::string::npos)
        << more << writer.LastError();
  }
}

TEST(Recording, EachPacketOfRawPicturesIsAKeyAndLastsOnePicture) {
  for (const char* codec : {"rawvideo", "v210"}) {
    const ProbedFile file = RecordAndProbe(
        "a.mov", std::string("video::codec=") + codec,
        {.layout = kFccV210, .width = 320, .height = 240, .channels = 0, .timecode = false});
    EXPECT_EQ(file.Pictures().keys, "KKKKKKKKKK") << codec;
    EXPECT_NEAR(file.seconds, 0.4, 0.001) << codec;
  }
}

// A reader that finds the new file finds a whole one.
TEST(Recording, HeaderFileIsReplacedOnceItIsWhole) {
  TemporaryFolder folder;
  const auto inode = [path = folder / "a.hdr.mov"] {
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0 ? info.st_ino : 0;
  };
  host::Writer writer;
  ASSERT_EQ(writer.Start(folder / "a.mov", "play_while_rec=true video::codec=mpeg2video"), S_OK);
  ASSERT_EQ(PushFrames(writer, Feed(), 5), S_OK);
  const auto begun = inode();
  ASSERT_EQ(PushFrames(writer, Feed(), 60, 5), S_OK);
  EXPECT_TRUE(Eventually(10, [&] { return inode() != begun; }));
  EXPECT_TRUE(Probe(folder / "a.hdr.mov").opened);
  EXPECT_EQ(writer.Stop(), S_OK);
  // Its readers find all that they need in the stream.
  ASSERT_EQ(writer.Start(folder / "b.webm", "play_while_rec=true video::codec=libvpx"), S_OK);
  ASSERT_EQ(PushFrames(writer, {.width = 96, .height = 64}, 5), S_OK);
  EXPECT_TRUE(std::filesystem::exists(folder / "b.webm.idx"));
  EXPECT_FALSE(std::filesystem::exists(folder / "b.hdr.webm"));
}

TEST(Recording, SplitChannelsGiveTracks) {
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

TEST(Recording, SoundAloneGivesWavAndSideWav) {
  EXPECT_NEAR(RecordAndProbe("a.wav", "", {}, 25).seconds, 1.0, 0.001);
  TemporaryFolder folder;
  ASSERT_EQ(Record(folder / "b.mp4", "video::codec=mpeg4 audio::codec=wav_file", {}, 25), S_OK);
  EXPECT_EQ(Probe(folder / "b.mp4").Count(AVMEDIA_TYPE_AUDIO), 0);
  EXPECT_NEAR(Probe(folder / "b.wav").seconds, 1.0, 0.001);
}

TEST(Recording, PathsLongerThanOneSystemCallTakes) {
  TemporaryFolder folder;
  const std::filesystem::path before = std::filesystem::current_path();
  // Made from the inside, as nobody can make it from outside.
  std::string path = folder.Path();
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

TEST(Recording, ImageSequencesGoOneFileAPicture) {
  TemporaryFolder folder;
  const Feed feed{.channels = 0};
  ASSERT_EQ(Record(folder / "shot%03d.png", "format=image2", feed, 3), S_OK);
  EXPECT_TRUE(std::filesystem::exists(folder / "shot/shot002.png"));
  ASSERT_EQ(Record(folder / "x.jpg", "format=image2 create_folder=false", feed, 2), S_OK);
  EXPECT_EQ(Probe(folder / "x0000001.jpg").Pictures().codec, "mjpeg");
}

}  // namespace
}  // namespace xv::test
