#include <gmock/gmock.h>

#include <fstream>

#include "support/host_frames.h"
#include "support/media_probe.h"

// Attributes of streams and outputs, read back from the recording.
namespace xv::test {
namespace {

Feed SmallFeed() {
  Feed feed;
  feed.width = 320;
  feed.height = 240;
  return feed;
}

// Records a second and reads it back.
ProbedFile RecordAndProbe(const std::string& path, const std::string& attributes,
                          const Feed& feed = SmallFeed()) {
  std::string noted;
  EXPECT_EQ(Record(path, attributes, feed, 25, &noted), S_OK) << attributes;
  EXPECT_EQ(noted, "") << attributes;
  return Probe(path);
}

std::string TagText(std::uint32_t tag) {
  std::string text;
  for (int i = 0; i < 4; ++i) text += static_cast<char>(tag >> (8 * i) & 0xFF);
  return text;
}

TEST(SetupAttributes, StreamIdsBecomeThePidsOfATransportStream) {
  TemporaryFolder folder;
  Feed feed = SmallFeed();
  feed.channels = 6;
  const ProbedFile file = RecordAndProbe(
      folder / "a.ts",
      "video::codec=mpeg2video video::streamid=300 audio::codec=mp2 split_channels=2 "
      "audio::streamid=310 audio::streamid.1=320 audio.2::streamid.2=330",
      feed);
  ASSERT_EQ(file.Count(AVMEDIA_TYPE_AUDIO), 3);
  EXPECT_EQ(file.Video()->id, 300);
  EXPECT_EQ(file.Audio(0)->id, 310);
  EXPECT_EQ(file.Audio(1)->id, 320);
  EXPECT_EQ(file.Audio(2)->id, 330);
}

TEST(SetupAttributes, TagsNameTheCodecInTheContainer) {
  TemporaryFolder folder;
  struct Case {
    const char* attributes;
    const char* tag;
  };
  for (const Case& one :
       {Case{"video::codec=mpeg4", "FMP4"}, Case{"video::codec=mpeg4 video::vtag=DX50", "DX50"},
        // Known to nobody: "tag" lets it pass.
        Case{"video::codec=mpeg4 video::tag=ABCD", "ABCD"}}) {
    const ProbedFile file = RecordAndProbe(folder / "a.avi", one.attributes);
    ASSERT_NE(file.Video(), nullptr);
    EXPECT_EQ(TagText(file.Video()->tag), one.tag) << one.attributes;
  }
  EXPECT_NE(Record(folder / "b.avi", "video::codec=mpeg4 video::vtag=ABCD", SmallFeed(), 5), S_OK);
  const std::string second = folder / "c.avi";
  (void)RecordAndProbe(folder / "a.avi",
                       "video::codec=mpeg4 video::tag=ABCD second_encoder=" + second);
  ASSERT_NE(Probe(second).Video(), nullptr);
  EXPECT_EQ(TagText(Probe(second).Video()->tag), "ABCD");
}

TEST(SetupAttributes, SampleRateResamplesTheSound) {
  TemporaryFolder folder;
  for (const int rate : {44100, 32000, 96000}) {
    const ProbedFile file = RecordAndProbe(
        folder / "a.mov",
        "video::codec=mpeg4 audio::codec=pcm_s16le audio::sample_rate=" + std::to_string(rate));
    ASSERT_NE(file.Audio(), nullptr);
    EXPECT_EQ(file.Audio()->sampleRate, rate);
    EXPECT_NEAR(file.Audio()->seconds, 1.0, 0.002) << rate;
  }
}

TEST(SetupAttributes, CodecsAreChosenByNumberBeforeName) {
  TemporaryFolder folder;
  const ProbedFile file = RecordAndProbe(
      folder / "a.mkv",
      "video::codec=mpeg4 video::codec_id=" + std::to_string(AV_CODEC_ID_MPEG2VIDEO) +
          " audio::codec_id=" + std::to_string(AV_CODEC_ID_AC3));
  ASSERT_TRUE(file.Video() != nullptr && file.Audio() != nullptr);
  EXPECT_EQ(file.Video()->codec, "mpeg2video");
  EXPECT_EQ(file.Audio()->codec, "ac3");
}

TEST(SetupAttributes, MovDnxhdIsAQuickTimeFile) {
  TemporaryFolder folder;
  Feed feed;
  feed.layout = kFccHDYC;
  feed.width = 1280;
  feed.height = 720;
  const ProbedFile file = RecordAndProbe(
      folder / "a.bin", "format=mov_dnxhd video::codec=dnxhd video::b=60M audio::codec=pcm_s16le",
      feed);
  ASSERT_NE(file.Video(), nullptr);
  EXPECT_EQ(file.Video()->codec, "dnxhd");
  EXPECT_EQ(TagText(file.Video()->tag), "AVdn");
  EXPECT_EQ(file.Video()->frames, 25);
}

TEST(SetupAttributes, SecondOutputHasOptionsOfItsOwn) {
  TemporaryFolder folder;
  host::Writer writer;
  ASSERT_EQ(
      writer.Start(folder / "a.mkv",
                   "video::codec=mpeg2video video::streamid=301 audio::codec=mp2 "
                   "metadata::title='Both' audio::metadata::language=deu second_encoder=" +
                       (folder / "b.bin") +
                       " second_encoder::format=mpegts second_encoder::mpegts_pmt_start_pid=99 "
                       "second_encoder::mpegts_service_id=7 second_encoder::junk=1"),
      S_OK);
  ASSERT_EQ(PushFrames(writer, SmallFeed(), 25), S_OK);
  writer.Stop();
  EXPECT_EQ(writer.Get("quality::unused_options"), "second_encoder::junk");
  EXPECT_EQ(Probe(folder / "a.mkv").title, "Both");
  const ProbedFile second = Probe(folder / "b.bin", {{"format", "mpegts"}});
  ASSERT_TRUE(second.Video() != nullptr && second.Audio() != nullptr);
  EXPECT_EQ(second.Video()->frames, 25);
  EXPECT_EQ(second.Video()->id, 301);
  EXPECT_EQ(second.Audio()->language, "deu");
  // The second packet of a stream's tables is the program map, at the PID that was asked for.
  std::ifstream file(folder / "b.bin", std::ios::binary);
  std::string bytes{std::istreambuf_iterator<char>(file), {}};
  bool found = false;
  for (std::size_t at = 0; at + 188 <= bytes.size(); at += 188) {
    const int pid = (bytes[at + 1] & 0x1F) << 8 | static_cast<unsigned char>(bytes[at + 2]);
    found = found || pid == 99;
  }
  EXPECT_TRUE(found);
}

}  // namespace
}  // namespace xv::test
