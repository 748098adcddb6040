#include <gmock/gmock.h>

#include "support/fixtures.h"
#include "support/media_probe.h"

// Attributes of the session, of streams and of outputs, read back from the recording.
namespace xv::test {
namespace {

using Attributes = WithWriter;

constexpr Feed kSmall{.width = 320, .height = 240};
constexpr Feed kSilent{.channels = 0};
constexpr Feed kUntimed{.timecode = false};
constexpr Feed kSixChannels{.width = 320, .height = 240, .channels = 6};

TEST_F(Attributes, StartTimecodeInAllItsForms) {
  const auto timecode = [](const std::string& text, const Feed& feed = {}) {
    return RecordAndProbe("a.mov", "video::codec=mpeg4 " + text, feed, 3).timecode;
  };
  EXPECT_EQ(timecode(""), "10:00:00:00");
  EXPECT_EQ(timecode("start_timecode=disabled"), "");
  EXPECT_EQ(timecode("start_timecode=11:22:33:04"), "11:22:33:04");
  EXPECT_EQ(timecode("start_timecode='10:00:00;00'"), "10:00:00:00");
  EXPECT_THAT(timecode("start_timecode=local_time"), testing::MatchesRegex("..:..:..:00"));
  EXPECT_EQ(timecode("", {.height = 486,
                          .rate = 30000.0 / 1001,
                          .interlace = eXvI_BottomFirst,
                          .dropFrame = true}),
            "10:00:00;00");
  EXPECT_EQ(timecode("", {.width = 640, .height = 360, .rate = 60000.0 / 1001, .dropFrame = true}),
            "10:00:00;00")
      << "the rate counts, not the raster";
  EXPECT_EQ(timecode("", kUntimed), "");
  EXPECT_EQ(timecode("start_timecode=given", kUntimed), "");
  EXPECT_EQ(timecode("start_timecode=auto", kUntimed), "00:00:00:00");
}

TEST_F(Attributes, OffsetsDelaySoundOrPicture) {
  for (const auto& [attribute, picture, sound] : {std::tuple{"itsoffset=0.5", 0.0, 0.5},
                                                  {"itsoffset=-0.5", 0.5, 0.0},
                                                  {"audio::offset_msec=200", 0.0, 0.2}}) {
    const ProbedFile file = RecordAndProbe(
        "a.mkv", std::string("video::codec=mpeg4 audio::codec=pcm_s16le ") + attribute, {}, 25);
    EXPECT_NEAR(file.Pictures().start, picture, 0.01) << attribute;
    EXPECT_NEAR(file.Sound().start, sound, 0.01) << attribute;
  }
}

TEST_F(Attributes, IgnorePtsNumbersFrames) {
  ASSERT_EQ(writer_.Start(folder_ / "a.mkv", "video::codec=mpeg4 ignore_pts=true"), S_OK);
  for (int i = 0; i < 10; ++i) ASSERT_EQ(writer_.Put(MakeFrame(kSilent, i * 3)), S_OK);
  EXPECT_EQ(writer_.Stop(), S_OK);
  const ProbedFile file = Probe(folder_ / "a.mkv");
  EXPECT_GE(file.Pictures().frames, 10);
  EXPECT_NEAR(file.seconds, static_cast<double>(file.Pictures().frames) / 25, 0.05);
}

TEST_F(Attributes, DumpsAndLoosePacketFilesHoldTheSamePackets) {
  const std::string text =
      "video::codec=mpeg2video audio::codec=pcm_s16le split_channels=2 save_packets=1 raw_video=" +
      (folder_ / "v.m2v") + " raw_audio=" + (folder_ / "a0.pcm") +
      " raw_audio.1=" + (folder_ / "a1.pcm");
  ASSERT_EQ(Record(folder_ / "p.mov", text, {.channels = 4}, 10), S_OK);
  EXPECT_EQ(Probe(folder_ / "v.m2v").Pictures().frames, 10);
  EXPECT_EQ(std::filesystem::file_size(folder_ / "a0.pcm"), 10u * 1920 * 4);
  EXPECT_EQ(std::filesystem::file_size(folder_ / "a1.pcm"), 10u * 1920 * 4);
  std::uintmax_t loose = 0;
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder_.Path())) {
    const std::string name = entry.path().filename();
    if (name.size() != 12 || name[0] != 'p') continue;
    loose += entry.file_size();
    ++files;
  }
  EXPECT_EQ(files, 30);
  EXPECT_EQ(loose, std::filesystem::file_size(folder_ / "v.m2v") + 2 * 10u * 1920 * 4);
}

TEST_F(Attributes, FormatsThatNeedAPictureGetAPlaceholder) {
  const ProbedFile file = RecordAndProbe("a.ismv", "format=ismv", {.width = 0}, 50);
  EXPECT_TRUE(file.Pictures().width == 96 && file.Pictures().height == 64);
  EXPECT_GE(file.Pictures().frames, 45);
  EXPECT_GE(file.Sound().seconds, 1.9);
}

TEST_F(Attributes, FewerChannelsOfTheEncoderAreAFold) {
  for (const auto& [codec, pushed, folded] : {std::tuple{"mp2", 6, 2}, {"ac3", 8, 6}}) {
    const ProbedFile file =
        RecordAndProbe("a.ts", std::string("video::codec=mpeg2video audio::codec=") + codec,
                       {.width = 320, .height = 240, .channels = pushed}, 25);
    EXPECT_EQ(file.Sound().channels, folded);
    EXPECT_EQ(file.Sound().errors, 0);
    EXPECT_NEAR(file.Sound().seconds, 1.0, 0.04);
  }
}

TEST_F(Attributes, TracksOfUnlikeEncodersStayWhole) {
  const ProbedFile file = RecordAndProbe(
      "a.mkv",
      "video::codec=mpeg4 split_channels=2 audio::codec=aac audio.1::codec=ac3 audio.1::b=192k",
      {.channels = 4}, 50);
  ASSERT_EQ(file.Count(AVMEDIA_TYPE_AUDIO), 2);
  EXPECT_EQ(file.Sound(0).codec, "aac");
  EXPECT_EQ(file.Sound(1).codec, "ac3");
  for (const int track : {0, 1}) EXPECT_NEAR(file.Sound(track).seconds, 2.0, 0.05) << track;
}

TEST_F(Attributes, StreamIdsBecomeThePidsOfATransportStream) {
  const ProbedFile file = RecordAndProbe(
      "a.ts",
      "video::codec=mpeg2video video::streamid=300 audio::codec=mp2 split_channels=2 "
      "audio::streamid=310 audio::streamid.1=320 audio.2::streamid.2=330",
      kSixChannels);
  EXPECT_EQ(file.Pictures().id, 300);
  for (const int track : {0, 1, 2}) EXPECT_EQ(file.Sound(track).id, 310 + 10 * track);
}

TEST_F(Attributes, TagsNameTheCodecInTheContainer) {
  const auto tag = [&](const char* name) { return Probe(folder_ / name).Pictures().tag; };
  const auto record = [&](const std::string& attribute) {
    return Record(folder_ / "a.avi", "video::codec=mpeg4 " + attribute, kSmall, 3);
  };
  EXPECT_EQ(record(""), S_OK);
  EXPECT_EQ(tag("a.avi"), FourCC("FMP4"));
  EXPECT_EQ(record("video::vtag=DX50"), S_OK);
  EXPECT_EQ(tag("a.avi"), FourCC("DX50"));
  // Known to nobody: "tag" lets it pass, in the second output too.
  EXPECT_NE(record("video::vtag=ABCD"), S_OK);
  EXPECT_EQ(record("video::tag=ABCD metadata::title=Both second_encoder=" + (folder_ / "b.avi")),
            S_OK);
  EXPECT_EQ(tag("a.avi"), FourCC("ABCD"));
  EXPECT_EQ(tag("b.avi"), FourCC("ABCD"));
  EXPECT_EQ(Probe(folder_ / "b.avi").title, "Both");
}

TEST_F(Attributes, BitRateOfTheSound) {
  const ProbedFile file =
      RecordAndProbe("a.mkv", "video::enabled=false audio::codec=ac3 audio::bitrate=96k");
  ASSERT_EQ(file.streams.size(), 1u);
  EXPECT_EQ(file.Sound().packets.at(1).bytes.size(), 96000u / 8 * 1536 / 48000)
      << "1536 samples in each";
}

// Hz of a track of 16-bit PCM, by the times that the wave of a channel rises through zero.
double ToneOf(const ProbedStream& sound, int channel = 0) {
  const std::vector<int> samples = sound.SamplesOf(channel);
  int rises = 0;
  for (std::size_t i = 1; i < samples.size(); ++i) {
    rises += samples[i - 1] < 0 && samples[i] >= 0 ? 1 : 0;
  }
  return static_cast<double>(rises) * sound.sampleRate / static_cast<double>(samples.size());
}

TEST_F(Attributes, EachTrackHasItsOwnRateAndChannels) {
  const ProbedFile file =
      RecordAndProbe("a.mov",
                     "video::codec=mpeg4 audio::codec=pcm_s16le split_channels=2 audio::ar=96000 "
                     "audio.1::sample_rate=44100 audio.2::ac=1 audio.2::ar=48000",
                     kSixChannels, 100);
  for (const int track : {0, 1, 2}) {
    const int rates[] = {96000, 44100, 48000};
    EXPECT_EQ(file.Sound(track).sampleRate, rates[track]);
    EXPECT_NEAR(file.Sound(track).seconds, 4.0, 0.001) << track;
    EXPECT_NEAR(ToneOf(file.Sound(track)), 997, 1) << track;
  }
  EXPECT_EQ(file.Sound(2).channels, 1);
  const ProbedFile avi =
      RecordAndProbe("a.avi", "video::codec=mpeg4 audio::codec=mp2 audio::ar=44100", kSmall, 100);
  EXPECT_EQ(avi.Sound().sampleRate, 44100);
  EXPECT_NEAR(avi.Sound().seconds, 4.0, 0.03);
}

TEST_F(Attributes, MoreChannelsThanTheInputAreSilent) {
  const ProbedFile file =
      RecordAndProbe("a.mov", "video::codec=mpeg4 audio::codec=pcm_s16le audio::ac=6", kSmall, 25);
  const ProbedStream& sound = file.Sound();
  ASSERT_EQ(sound.channels, 6);
  EXPECT_NEAR(sound.seconds, 1.0, 0.001);
  for (const int channel : {0, 1}) EXPECT_NEAR(ToneOf(sound, channel), 997, 1) << channel;
  for (const int channel : {2, 3, 4, 5}) EXPECT_EQ(ToneOf(sound, channel), 0) << channel;
}

TEST_F(Attributes, CodecsAreChosenByNumberBeforeName) {
  const ProbedFile file = RecordAndProbe(
      "a.mkv", "video::codec=n264 video::codec_id=" + std::to_string(AV_CODEC_ID_MPEG2VIDEO) +
                   " audio::codec_id=" + std::to_string(AV_CODEC_ID_AC3));
  EXPECT_EQ(file.Pictures().codec, "mpeg2video");
  EXPECT_EQ(file.Sound().codec, "ac3");
}

TEST_F(Attributes, SecondOutputHasItsOwnOptions) {
  const std::string attributes =
      "video::codec=mpeg2video video::streamid=301 audio::codec=mp2 metadata::title='Both' "
      "audio::metadata::language=deu second_encoder=" +
      (folder_ / "b.bin") +
      " second_encoder::format=mpegts second_encoder::mpegts_pmt_start_pid=99 "
      "second_encoder::mpegts_service_id=7 second_encoder::junk=1";
  ASSERT_EQ(Record(writer_, folder_ / "a.mkv", attributes, kSmall, 25), S_OK);
  EXPECT_EQ(writer_.Get("quality::unused_options"), "second_encoder::junk");
  EXPECT_EQ(Probe(folder_ / "a.mkv").title, "Both");
  const ProbedFile second = Probe(folder_ / "b.bin", {{"format", "mpegts"}});
  EXPECT_EQ(second.Pictures().frames, 25);
  EXPECT_EQ(second.Pictures().id, 301);
  EXPECT_EQ(second.Sound().language, "deu");
  // A packet of the transport stream has the program map's PID, as it was asked for.
  const std::string bytes = folder_.Read("b.bin");
  bool found = false;
  for (std::size_t at = 0; at + 188 <= bytes.size(); at += 188)
    found = found || ((bytes[at + 1] & 0x1F) == 0 && bytes[at + 2] == 99);
  EXPECT_TRUE(found);
}

// H.264 headers stand apart in the one container and in the stream of the other.
TEST_F(Attributes, BothOutputsHaveTheEncodersHeaders) {
  const std::pair<const char*, const char*> cells[] = {
      {"a.ts", "b.mkv"}, {"a.mkv", "b.h264"}, {"a.h264", "b.mp4"}};
  for (const auto& [main, second] : cells) {
    EXPECT_EQ(Record(folder_ / main,
                     "video::codec=libx264 video::g=10 audio::codec=null second_encoder=" +
                         folder_ / second,
                     kSmall, 25),
              S_OK);
    for (const char* name : {main, second}) {
      const ProbedFile file = Probe(folder_ / name);
      EXPECT_EQ(file.Pictures().frames, 25) << name;
      EXPECT_EQ(file.Pictures().errors, 0) << name;
    }
  }
}

TEST_F(Attributes, ARefusedOptionCostsNoOther) {
  const auto record = [&](const std::string& attributes) {
    EXPECT_EQ(writer_.Start(folder_ / "a.mp4", attributes), S_OK);
    EXPECT_EQ(PushFrames(writer_, Feed(), 12), S_OK);
    EXPECT_EQ(writer_.Stop(), S_OK);
    return Probe(folder_ / "a.mp4").Pictures();
  };
  const std::string types =
      record(
          "strict=false video::codec=libx264 video::g=4 video::bf=0 video::preset=banana "
          "video::qmin=x")
          .pictureTypes;
  EXPECT_EQ(types, "IPPPIPPPIPPP");
  EXPECT_EQ(writer_.Stats().unusedOptions,
            (std::vector<std::string>{"video::preset", "video::qmin"}));
  EXPECT_EQ(record("video::codec=mpeg2video video::g=4 video::sc_threshold=1000000000 "
                   "start_timecode=25:61:61:99")
                .pictureTypes,
            types);
  EXPECT_EQ(writer_.Stats().badValues.size(), 1u);
  // The user's flags add to those of the container and of the scanning.
  EXPECT_EQ(record("video::codec=libx264 video::g=4 video::bf=0 video::flags=bitexact").frames, 12);
  EXPECT_TRUE(RecordAndProbe("a.mov", "video::codec=mpeg2video video::flags=bitexact",
                             {.interlace = eXvI_TopFirst})
                  .Pictures()
                  .interlaced);
}

TEST_F(Attributes, FilesBesideTheRecording) {
  const auto record = [&](const std::string& attributes) {
    return Record(folder_ / "a.mov", "video::codec=mpeg4 " + attributes, kSmall, 12);
  };
  EXPECT_EQ(record("audio::wav_path=" + folder_ / "b.wav" + " capture_file=" + folder_ / "c.mkv"),
            S_OK);
  EXPECT_EQ(record("audio::wav_path=" + folder_ / "no.wav" + " wav_path=" + folder_ / "d.wav"),
            S_OK);
  for (const char* name : {"b.wav", "d.wav"}) {
    EXPECT_EQ(Probe(folder_ / name).Sound().samples, 12 * 1920) << name;
  }
  EXPECT_FALSE(std::filesystem::exists(folder_ / "no.wav")) << "the session's path wins";
  EXPECT_EQ(Probe(folder_ / "c.mkv").Pictures().frames, 12);

  ASSERT_EQ(writer_.Start(folder_ / "e.mov", "video::codec=mpeg4 anc_capture=true anc_path=" +
                                                 folder_ / "f.anc" + " anc_capture.tags=Mine"),
            S_OK);
  const auto frame = MakeFrame(kSmall, 0);
  ASSERT_EQ(host::AddExtra(frame, "Mine", "bytes", 5), S_OK);
  ASSERT_EQ(writer_.Put(frame), S_OK);
  EXPECT_EQ(writer_.Stop(), S_OK);
  EXPECT_THAT(folder_.Read("f.anc"), testing::HasSubstr("bytes"));
}

// Settings file, then the writer's own properties, then the session's attributes; a session's are
// gone with it.
TEST_F(Attributes, OwnPropertiesStandBelowTheSessions) {
  std::ofstream(folder_ / "settings.toml")
      << "\"video::codec\" = \"mpeg2video\"\nignore_pts = \"1\"\n";
  const ScopedVariable settings("XVWRITER_SETTINGS", folder_ / "settings.toml");
  host::Writer writer;
  const auto codec = [&](const std::string& attributes) {
    const std::string path = folder_ / "a.mkv";
    EXPECT_EQ(writer.Start(path, attributes), S_OK);
    EXPECT_EQ(PushFrames(writer, Feed(), 2), S_OK) << writer.LastError();
    EXPECT_EQ(writer.Stop(), S_OK) << writer.LastError();
    return Probe(path).Pictures().codec;
  };
  EXPECT_EQ(codec(""), "mpeg2video");
  ASSERT_EQ(writer.Set("video::codec", "mjpeg"), S_OK);
  EXPECT_EQ(codec(""), "mjpeg");
  EXPECT_EQ(codec("video::codec=mpeg4 diskspace.min=12345678 ignore_pts=0 video::b=3M"), "mpeg4");
  EXPECT_EQ(codec(""), "mjpeg");
  EXPECT_EQ(writer.Get("video::b"), "");
  EXPECT_EQ(writer.Get("ignore_pts"), "1");
  ASSERT_EQ(writer.Set("vidoe::b", "2M"), S_OK);
  (void)codec("");
  EXPECT_THAT(writer.Get("quality::unused_options"), testing::HasSubstr("did you mean video::b"));
}

}  // namespace
}  // namespace xv::test
