#include <gmock/gmock.h>

#include "support/host_frames.h"
#include "support/media_probe.h"

namespace xv::test {
namespace {

// Codecs that the served list does not name for this container.
TEST(Recording, MxfTakesWhatItsMuxerTakes) {
  TemporaryFolder folder;
  Feed feed;
  feed.interlace = eXvI_TopFirst;
  for (const char* codec : {"libx264", "prores"}) {
    ASSERT_EQ(Record(folder / "a.mxf", std::string("video::codec=") + codec, feed, 10), S_OK);
    const ProbedFile file = Probe(folder / "a.mxf");
    ASSERT_TRUE(file.Video() != nullptr && file.Audio() != nullptr) << codec;
    EXPECT_EQ(file.Video()->frames, 10) << codec;
    EXPECT_EQ(file.Video()->errors + file.Audio()->errors, 0) << codec;
    EXPECT_TRUE(file.Video()->interlaced && file.Video()->topFirst) << codec;
    EXPECT_NEAR(file.Audio()->seconds, 0.4, 0.001) << codec;
    EXPECT_EQ(file.timecode, "10:00:00:00") << codec;
  }
}

// Every layout, both ways up, ends as the same picture.
struct LayoutCase {
  const char* name;
  std::uint32_t layout;
  bool rgb;
};

class Layouts : public testing::TestWithParam<LayoutCase> {};

TEST_P(Layouts, KeepTheirLevelInEitherDirection) {
  TemporaryFolder folder;
  for (const int sign : {1, -1}) {
    if (sign < 0 && !GetParam().rgb) continue;
    Feed feed;
    feed.layout = GetParam().layout;
    feed.width = 320;
    feed.height = 240 * sign;
    const std::string path = folder / "a.mp4";
    ASSERT_EQ(Record(path, "video::codec=libx264 video::preset=ultrafast video::crf=10", feed, 8),
              S_OK);
    const ProbedFile file = Probe(path);
    ASSERT_NE(file.Video(), nullptr);
    ASSERT_EQ(file.Video()->lumaMeans.size(), 8u);
    for (std::size_t i = 0; i < 8; ++i)
      EXPECT_NEAR(file.Video()->lumaMeans[i], 40 + 5 * static_cast<int>(i), 2);
  }
}

INSTANTIATE_TEST_SUITE_P(
    All, Layouts,
    testing::Values(LayoutCase{"UYVY", kFccUYVY, false}, LayoutCase{"HDYC", kFccHDYC, false},
                    LayoutCase{"YUY2", kFccYUY2, false}, LayoutCase{"NV12", kFccNV12, false},
                    LayoutCase{"I420", kFccI420, false}, LayoutCase{"YV12", kFccYV12, false},
                    LayoutCase{"RGB24", kFccRGB24, true}, LayoutCase{"RGB32", kFccRGB32, true},
                    LayoutCase{"ARGB32", kFccARGB32, true}),
    [](const auto& layout) { return layout.param.name; });

// A picture with its upper half bright shows which way up it was read.
TEST(Recording, RgbHeightSignSaysWhichLineComesFirst) {
  TemporaryFolder folder;
  for (const bool bottomUp : {true, false}) {
    auto picture = std::make_shared<std::vector<std::uint8_t>>(320 * 240 * 4, 20);
    std::fill_n(picture->begin(), 320 * 120 * 4, 220);
    host::Writer writer;
    const std::string path = folder / "a.avi";
    ASSERT_EQ(writer.Start(path, "video::codec=rawvideo"), S_OK);
    host::FrameBuilder builder;
    builder.Video(kFccRGB32, 320, bottomUp ? 240 : -240, 25, picture->data(), picture->size(),
                  picture);
    ASSERT_EQ(writer.Put(builder.Time(0, 400'000).Build()), S_OK);
    writer.Stop();
    const std::string command =
        "ffmpeg -v error -i " + path + " -vf crop=320:100:0:0 -f rawvideo -pix_fmt gray -";
    FILE* pipe = popen(command.c_str(), "r");
    ASSERT_NE(pipe, nullptr);
    const int first = std::fgetc(pipe);
    pclose(pipe);
    EXPECT_NEAR(first, bottomUp ? 20 : 220, 4);
  }
}

TEST(Recording, UnusedOptionsAreNamed) {
  TemporaryFolder folder;
  host::Writer writer;
  ASSERT_EQ(
      writer.Start(folder / "a.mp4",
                   "video::codec=mpeg4 video::nonsense=1 audio::odd=2 movflags=faststart junk=3"),
      S_OK);
  ASSERT_EQ(PushFrames(writer, Feed(), 3), S_OK);
  writer.Stop();
  EXPECT_THAT(
      writer.Get("quality::unused_options"),
      testing::AllOf(testing::HasSubstr("video::nonsense"), testing::HasSubstr("audio::odd"),
                     testing::HasSubstr("junk"), testing::Not(testing::HasSubstr("movflags"))));
  EXPECT_TRUE(Probe(folder / "a.mp4").opened);
}

TEST(Recording, SplitChannelsGiveTracks) {
  TemporaryFolder folder;
  Feed feed;
  feed.channels = 6;
  struct Split {
    const char* attribute;
    int tracks;
    int channels;
  };
  for (const Split& split : {Split{"split_channels=1", 6, 1},
                             {"split_channels=2", 3, 2},
                             {"split_channels=true", 6, 1},
                             {"split_channels=3", 1, 6},
                             {"merge_tracks=1", 1, 6}}) {
    const std::string path = folder / "a.mov";
    ASSERT_EQ(
        Record(path, std::string("video::codec=mpeg4 audio::codec=pcm_s16le ") + split.attribute,
               feed, 10),
        S_OK);
    const ProbedFile file = Probe(path);
    EXPECT_EQ(file.Count(AVMEDIA_TYPE_AUDIO), split.tracks) << split.attribute;
    ASSERT_NE(file.Audio(split.tracks - 1), nullptr);
    EXPECT_EQ(file.Audio(split.tracks - 1)->channels, split.channels) << split.attribute;
    EXPECT_NEAR(file.Audio(split.tracks - 1)->seconds, 0.4, 0.001) << split.attribute;
  }
}

TEST(Recording, DropFramesDropsInsteadOfWaiting) {
  TemporaryFolder folder;
  host::Writer writer;
  ASSERT_EQ(writer.Start(
                folder / "a.mp4",
                "video::codec=libx264 video::preset=veryslow video.buffers=1 video.drop_frames=1"),
            S_OK);
  Feed feed;
  feed.width = 1280;
  feed.height = 720;
  feed.channels = 0;
  std::vector<host::Ptr<IXvFrame>> frames;
  for (int i = 0; i < 60; ++i) frames.push_back(MakeFrame(feed, i));
  int dropped = 0;
  for (const auto& frame : frames) dropped += writer.Put(frame) == S_FALSE ? 1 : 0;
  writer.Stop();
  EXPECT_EQ(std::to_string(dropped), writer.Get("quality::drops"));
  EXPECT_GT(dropped, 0);
  EXPECT_GT(Probe(folder / "a.mp4").Video()->frames, 0);
}

TEST(Recording, WithoutAQueueFramesAreEncodedOnTheHostsThread) {
  TemporaryFolder folder;
  ASSERT_EQ(Record(folder / "a.mkv", "video::codec=mpeg2video video.buffers=0", Feed(), 20), S_OK);
  EXPECT_EQ(Probe(folder / "a.mkv").Video()->frames, 20);
}

TEST(Recording, SoundAloneGivesWavAndSideWav) {
  TemporaryFolder folder;
  Feed feed;
  ASSERT_EQ(Record(folder / "a.wav", "", feed, 25), S_OK);
  EXPECT_NEAR(Probe(folder / "a.wav").seconds, 1.0, 0.001);
  ASSERT_EQ(Record(folder / "b.mp4", "video::codec=mpeg4 audio::codec=wav_file", feed, 25), S_OK);
  EXPECT_EQ(Probe(folder / "b.mp4").Count(AVMEDIA_TYPE_AUDIO), 0);
  EXPECT_NEAR(Probe(folder / "b.wav").seconds, 1.0, 0.001);
}

TEST(Recording, SecondOutputCarriesTheSamePackets) {
  TemporaryFolder folder;
  ASSERT_EQ(Record(folder / "a.mp4", "video::codec=libx264 second_encoder=" + (folder / "b.ts"),
                   Feed(), 40),
            S_OK);
  for (const char* name : {"a.mp4", "b.ts"}) {
    const ProbedFile file = Probe(folder / name);
    ASSERT_TRUE(file.opened && file.Video() != nullptr) << name;
    EXPECT_EQ(file.Video()->frames, 40) << name;
    EXPECT_EQ(file.Video()->errors, 0) << name;
  }
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
  EXPECT_EQ(Record(path + "/a.mp4", "video::codec=mpeg4 play_while_rec=true", Feed(), 30), S_OK);
  const ProbedFile file = Probe("a.mp4");
  std::filesystem::current_path(before);
  ASSERT_TRUE(file.opened && file.Video() != nullptr);
  EXPECT_EQ(file.Video()->frames, 30);
}

TEST(Recording, ImageSequencesGoOneFileAPicture) {
  TemporaryFolder folder;
  Feed feed;
  feed.channels = 0;
  ASSERT_EQ(Record(folder / "shot%03d.png", "format=image2", feed, 3), S_OK);
  EXPECT_TRUE(std::filesystem::exists(folder / "shot/shot002.png"));
  ASSERT_EQ(Record(folder / "x.jpg", "format=image2 create_folder=false", feed, 2), S_OK);
  EXPECT_TRUE(std::filesystem::exists(folder / "x0000001.jpg"));
  EXPECT_EQ(Probe(folder / "x0000001.jpg").Video()->codec, "mjpeg");
}

}  // namespace
}  // namespace xv::test
