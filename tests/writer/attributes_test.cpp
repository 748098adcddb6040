#include <gmock/gmock.h>

#include <fstream>

#include "support/host_frames.h"
#include "support/media_probe.h"
#include "support/run_program.h"

namespace xv::test {
namespace {

constexpr char kMpeg4[] = "video::codec=mpeg4 ";

TEST(Attributes, StartTimecodeInAllItsForms) {
  TemporaryFolder folder;
  const auto timecode = [&](const std::string& text, const Feed& feed) {
    EXPECT_EQ(Record(folder / "a.mov", kMpeg4 + text, feed, 3), S_OK);
    return Probe(folder / "a.mov").timecode;
  };
  Feed feed;
  EXPECT_EQ(timecode("", feed), "10:00:00:00");
  EXPECT_EQ(timecode("start_timecode=disabled", feed), "");
  EXPECT_EQ(timecode("start_timecode=11:22:33:04", feed), "11:22:33:04");
  EXPECT_EQ(timecode("start_timecode='10:00:00;00'", feed), "10:00:00:00");
  EXPECT_THAT(timecode("start_timecode=local_time", feed), testing::MatchesRegex("..:..:..:00"));
  feed.rate = 30000.0 / 1001;
  feed.width = 720;
  feed.height = 486;
  feed.interlace = eXvI_BottomFirst;
  feed.dropFrame = true;
  EXPECT_EQ(timecode("", feed), "10:00:00;00");
}

TEST(Attributes, OffsetsDelaySoundOrPicture) {
  TemporaryFolder folder;
  const auto starts = [&](const std::string& text) {
    EXPECT_EQ(
        Record(folder / "a.mkv", "video::codec=mpeg4 audio::codec=pcm_s16le " + text, Feed(), 25),
        S_OK);
    const ProbedFile file = Probe(folder / "a.mkv");
    return std::pair(file.Video()->start, file.Audio()->start);
  };
  EXPECT_NEAR(starts("itsoffset=0.5").second, 0.5, 0.01);
  const auto picture = starts("itsoffset=-0.5");
  EXPECT_NEAR(picture.first, 0.5, 0.01);
  EXPECT_NEAR(picture.second, 0, 0.01);
  EXPECT_NEAR(starts("audio::offset_msec=200").second, 0.2, 0.01);
}

TEST(Attributes, IgnorePtsNumbersFrames) {
  TemporaryFolder folder;
  host::Writer writer;
  ASSERT_EQ(writer.Start(folder / "a.mkv", "video::codec=mpeg4 ignore_pts=true"), S_OK);
  Feed feed;
  feed.channels = 0;
  for (int i = 0; i < 10; ++i) ASSERT_EQ(writer.Put(MakeFrame(feed, i * 3)), S_OK);
  writer.Stop();
  const ProbedFile file = Probe(folder / "a.mkv");
  EXPECT_GE(file.Video()->frames, 10);
  EXPECT_NEAR(file.seconds, static_cast<double>(file.Video()->frames) / 25, 0.05);
}

TEST(Attributes, JumpsOfTheSourceLeaveNoGap) {
  TemporaryFolder folder;
  host::Writer writer;
  ASSERT_EQ(writer.Start(folder / "a.mkv", "video::codec=mpeg4"), S_OK);
  Feed feed;
  feed.channels = 0;
  ASSERT_EQ(PushFrames(writer, feed, 10, 500), S_OK);
  ASSERT_EQ(PushFrames(writer, feed, 10, 9000), S_OK);
  ASSERT_EQ(PushFrames(writer, feed, 10, 20), S_OK);
  writer.Stop();
  const ProbedFile file = Probe(folder / "a.mkv");
  EXPECT_EQ(file.Video()->frames, 30);
  EXPECT_NEAR(file.seconds, 1.2, 0.045);
  EXPECT_EQ(writer.Get("quality::pts_errors"), "0");
}

TEST(Attributes, DumpsAndLoosePacketFilesHoldTheSamePackets) {
  TemporaryFolder folder;
  Feed feed;
  feed.channels = 4;
  const std::string text =
      "video::codec=mpeg2video audio::codec=pcm_s16le split_channels=2 save_packets=1 raw_video=" +
      (folder / "v.m2v") + " raw_audio=" + (folder / "a0.pcm") +
      " raw_audio.1=" + (folder / "a1.pcm");
  ASSERT_EQ(Record(folder / "p.mov", text, feed, 10), S_OK);
  EXPECT_EQ(Probe(folder / "v.m2v").Video()->frames, 10);
  EXPECT_EQ(std::filesystem::file_size(folder / "a0.pcm"), 10u * 1920 * 4);
  EXPECT_EQ(std::filesystem::file_size(folder / "a1.pcm"), 10u * 1920 * 4);
  std::uintmax_t loose = 0;
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder.Path())) {
    const std::string name = entry.path().filename();
    if (name.size() != 12 || name[0] != 'p') continue;
    loose += entry.file_size();
    ++files;
  }
  EXPECT_EQ(files, 30);
  EXPECT_EQ(loose, std::filesystem::file_size(folder / "v.m2v") + 2 * 10u * 1920 * 4);
}

TEST(Attributes, MetadataOfFileAndStreams) {
  TemporaryFolder folder;
  ASSERT_EQ(Record(folder / "a.mkv",
                   "video::codec=mpeg4 metadata::title='A film' audio::metadata::language=deu",
                   Feed(), 3),
            S_OK);
  const ProbedFile file = Probe(folder / "a.mkv");
  EXPECT_EQ(file.title, "A film");
  ASSERT_NE(file.Audio(), nullptr);
  EXPECT_EQ(file.Audio()->language, "deu");
}

TEST(Attributes, FormatsThatNeedAPictureGetAPlaceholder) {
  TemporaryFolder folder;
  Feed feed;
  feed.width = 0;
  ASSERT_EQ(Record(folder / "a.ismv", "format=ismv", feed, 50), S_OK);
  const ProbedFile file = Probe(folder / "a.ismv");
  ASSERT_TRUE(file.Video() != nullptr && file.Audio() != nullptr);
  EXPECT_TRUE(file.Video()->width == 96 && file.Video()->height == 64);
  EXPECT_GE(file.Video()->frames, 45);
}

TEST(Attributes, DvFamilyGetsItsRasters) {
  TemporaryFolder folder;
  struct Case {
    const char* attributes;
    int width, height, outWidth, outHeight;
  };
  for (const Case& c : {Case{"video::dv_format=dvsd", 720, 576, 720, 576},
                        {"video::dv_format=dv50", 720, 576, 720, 576},
                        {"", 1920, 1080, 1440, 1080}}) {
    Feed feed;
    feed.width = c.width;
    feed.height = c.height;
    feed.interlace = eXvI_TopFirst;
    ASSERT_EQ(
        Record(folder / "a.mov", std::string("video::codec=dvvideo ") + c.attributes, feed, 5),
        S_OK)
        << c.attributes;
    const ProbedFile file = Probe(folder / "a.mov");
    ASSERT_NE(file.Video(), nullptr);
    EXPECT_EQ(file.Video()->frames, 5);
    EXPECT_TRUE(file.Video()->width == c.outWidth && file.Video()->height == c.outHeight)
        << c.attributes;
    EXPECT_NEAR(file.Video()->lumaMeans[0], 40, 3) << c.attributes;
  }
}

TEST(Attributes, SizeScalesPictures) {
  TemporaryFolder folder;
  Feed feed;
  feed.interlace = eXvI_TopFirst;
  feed.width = 1920;
  feed.height = 1080;
  ASSERT_EQ(Record(folder / "a.mov", "video::codec=mpeg2video video::size=720x576I video::ar=16:9",
                   feed, 5),
            S_OK);
  const ProbedFile file = Probe(folder / "a.mov");
  EXPECT_TRUE(file.Video()->width == 720 && file.Video()->height == 576 &&
              file.Video()->interlaced);
  EXPECT_NEAR(file.Video()->lumaMeans[2], 50, 3);
  EXPECT_EQ(av_cmp_q(file.Video()->sampleAspect, {64, 45}), 0);
}

TEST(Attributes, FewerChannelsOfTheEncoderAreAFold) {
  TemporaryFolder folder;
  Feed feed;
  feed.channels = 6;
  ASSERT_EQ(Record(folder / "a.ts", "video::codec=mpeg2video audio::codec=mp2", feed, 25), S_OK);
  const ProbedFile file = Probe(folder / "a.ts");
  ASSERT_NE(file.Audio(), nullptr);
  EXPECT_EQ(file.Audio()->channels, 2);
  EXPECT_EQ(file.Audio()->errors, 0);
  EXPECT_NEAR(file.Audio()->seconds, 1.0, 0.04);
}

TEST(Attributes, TracksOfUnlikeEncodersStayWhole) {
  TemporaryFolder folder;
  Feed feed;
  feed.channels = 4;
  ASSERT_EQ(
      Record(
          folder / "a.mkv",
          "video::codec=mpeg4 split_channels=2 audio::codec=aac audio.1::codec=ac3 audio.1::b=192k",
          feed, 50),
      S_OK);
  const ProbedFile file = Probe(folder / "a.mkv");
  ASSERT_EQ(file.Count(AVMEDIA_TYPE_AUDIO), 2);
  EXPECT_EQ(file.Audio(0)->codec, "aac");
  EXPECT_EQ(file.Audio(1)->codec, "ac3");
  for (const int track : {0, 1}) EXPECT_NEAR(file.Audio(track)->seconds, 2.0, 0.05) << track;
}

}  // namespace
}  // namespace xv::test
