#include <gmock/gmock.h>

#include "component/component_setup.h"
#include "support/fixtures.h"
#include "support/media_probe.h"

// Recordings through the components of this library, read back.
namespace xv::test {
namespace {

using ComponentRecording = WithWriter;

using testing::HasSubstr;

TEST_F(ComponentRecording, PicturesAndTracksInManyContainers) {
  for (const auto& [name, attributes, video, audio] :
       {std::tuple{"a.mp4", "", "h264", "aac"},
        {"a.mkv", "video::codec=mpeg4 audio::codec=ac3", "mpeg4", "ac3"},
        {"a.mov", "video::codec=prores_ks audio::codec=pcm_s24le", "prores", "pcm_s24le"},
        {"a.mxf", "video::codec=mpeg2video video::b=4M", "mpeg2video", "pcm_s16le"},
        {"a.ts", "video::codec=libx264", "h264", "mp2"}}) {
    const ProbedFile file =
        RecordAndProbe(name, std::string("xfcodecs=true split_channels=2 ") + attributes,
                       {.width = 640,
                        .height = 360,
                        .interlace = eXvI_TopFirst,
                        .aspectX = 16,
                        .aspectY = 9,
                        .channels = 4},
                       25);
    ASSERT_EQ(file.Count(AVMEDIA_TYPE_AUDIO), 2) << name;
    EXPECT_EQ(file.Pictures().codec, video) << name;
    EXPECT_EQ(file.Sound(1).codec, audio) << name;
    EXPECT_EQ(file.Pictures().frames, 25) << name;
    EXPECT_EQ(file.Pictures().errors + file.Sound(0).errors + file.Sound(1).errors, 0) << name;
    EXPECT_EQ(file.Sound(0).channels, 2) << name;
    const bool hasTimecode = std::string(name) == "a.mov" || std::string(name) == "a.mxf";
    EXPECT_EQ(file.timecode, hasTimecode ? "10:00:00:00" : file.timecode) << name;
    EXPECT_TRUE(file.Pictures().interlaced && file.Pictures().topFirst) << name;
    EXPECT_EQ(file.Pictures().fieldOrder, AV_FIELD_TT) << name;
    EXPECT_NEAR(file.Sound(1).seconds, 1.0, 0.05) << name;
    EXPECT_NEAR(file.Pictures().start - file.Sound(0).start, 0.0, 0.03) << name;
    for (std::size_t i = 0; i < 25; ++i) {
      EXPECT_NEAR(file.Pictures().lumaMeans.at(i), 40 + 5 * static_cast<int>(i), 3) << name;
    }
  }
}

TEST_F(ComponentRecording, ProfilesOfTheBroadcastFormats) {
  for (const auto& [attributes, sync, at] : {std::tuple{"muxer_profile=TS", 'G', 0},
                                             {"", 'G', 0},
                                             {"muxer_profile=DVB", 'G', 0},
                                             {"muxer_profile=BD", 'G', 4},
                                             {"muxer_profile=PS", '\0', 0},
                                             {"muxer_profile=DVD", '\0', 0}}) {
    const std::string text = std::string(
                                 "format=mpeg_nablet vbr_multiplex=true low_delay=true "
                                 "initial_delay_msec=300 muxrate=20M video::b=2M ") +
                             attributes;
    ASSERT_EQ(Record(writer_, folder_ / "a.mpg", text, {.interlace = eXvI_TopFirst}, 10), S_OK)
        << writer_.LastError();
    EXPECT_EQ(folder_.Read("a.mpg").at(static_cast<std::size_t>(at)), sync) << attributes;
    EXPECT_LT(folder_.Read("a.mpg").size(), 500'000u) << "is not filled up to the rate";
    const ProbedFile file = Probe(folder_ / "a.mpg");
    EXPECT_EQ(file.Pictures().codec, "mpeg2video");
    EXPECT_EQ(file.Sound().codec, "mp2");
    EXPECT_EQ(file.Pictures().frames, 10) << attributes;
  }
  EXPECT_EQ(Record(writer_, folder_ / "a.mpg", "format=MPEG_NABLET muxer_profile=XYZ", kPlain, 1),
            XV_E_NOT_SUPPORTED);
  EXPECT_THAT(writer_.LastError(), HasSubstr("no such muxer_profile: XYZ"));
}

TEST_F(ComponentRecording, WhatCannotBeIsRefusedInWords) {
  for (const auto& [attributes, words] :
       {std::pair("video::codec=libx246", "did you mean libx264"),
        {"audio::codec=aca", "there is no encoder aca"},
        {"format=nonsense", "nonsense"},
        {"video::codec=null audio::codec=null", "neither pictures nor sound"}}) {
    EXPECT_EQ(
        Record(writer_, folder_ / "a.mp4", std::string("xfcodecs=true ") + attributes, kPlain, 1),
        XV_E_NOT_SUPPORTED);
    EXPECT_THAT(writer_.LastError(), HasSubstr(words));
  }
  EXPECT_EQ(Record(writer_, "/nonexistent/a.mp4", "xfcodecs=true", kPlain, 5), XV_E_FILE_NOT_FOUND);
  EXPECT_THAT(writer_.LastError(), HasSubstr("/nonexistent/a.mp4"));
}

TEST_F(ComponentRecording, TagsAreThoseThatWereAskedFor) {
  const std::string text = "xfcodecs=true audio::codec=mp2 video::codec=mpeg4 ";
  EXPECT_EQ(RecordAndProbe("a.avi", text + "video::tag=DIVX", kPlain).Pictures().tag,
            FourCC("DIVX"));
  EXPECT_EQ(RecordAndProbe("a.avi", text, kPlain).Pictures().tag, FourCC("FMP4"));
}

TEST_F(ComponentRecording, SoundAloneAndPicturesAlone) {
  const ProbedFile silent = RecordAndProbe("a.mp4", "xfcodecs=true audio::codec=null", kPlain);
  EXPECT_EQ(silent.Count(AVMEDIA_TYPE_AUDIO), 0);
  EXPECT_EQ(silent.Pictures().frames, 10);
  const ProbedFile sound = RecordAndProbe("a.wav", "xfcodecs=true", kPlain);
  EXPECT_EQ(sound.streams.size(), 1u);
  EXPECT_EQ(sound.Sound().samples, 19200);
}

TEST_F(ComponentRecording, TheSwitchOfTheWriterAndOptionsOfTheOtherPath) {
  ASSERT_EQ(writer_.Set("xfcodecs.enabled", "true"), S_OK);
  const Traced trace;
  ASSERT_EQ(Record(writer_, folder_ / "a.mp4",
                   "play_while_rec=true vidoe::b=2M pes_payload_size=9 audio.1::b=64k "
                   "split_channels=1 metadata::title=Told",
                   kPlain, 5),
            S_OK);
  EXPECT_THAT(writer_.Stats().unusedOptions,
              testing::ElementsAre("vidoe::b (did you mean video::b?)",
                                   "play_while_rec (not on the component path)"));
  EXPECT_EQ(writer_.Stats().framesIn, 5);
  EXPECT_EQ(writer_.Stats().streams.at(0).packets, 5);
  EXPECT_GT(writer_.Stats().encodeP99.count(), 0);
  EXPECT_GT(writer_.Stats().writeP99.count(), 0);
  EXPECT_EQ(Probe(folder_ / "a.mp4").title, "Told");
  EXPECT_THAT(trace.With("640("), HasSubstr("640(0)x360(UYVY)@25.000p"));
  EXPECT_THAT(trace.With("track='1'"), HasSubstr("Configure track='1' = 0x00000000"));
  EXPECT_THAT(trace.With("PutPacket Stm:0"), HasSubstr("[Video tag:h264"));
}

TEST(ComponentEncoder, PacketsTellTheirStampsTheirStreamAndTheirBytes) {
  const auto encoder = MakeObject<IXfEncoder>(CLSID_CoXfEncoderFFM);
  ASSERT_EQ(encoder->Init(eXfMT_Video, u"codec=rawvideo tag=rawvideo"), S_OK);
  const auto frame = host::QueryAs<IXfFrame>(MakeFrame(kPlain, 1));
  XV_AV_PROPS props{};
  std::uint32_t pushed = 0, size = 0;
  const std::uint8_t *picture = nullptr, *bytes = nullptr;
  ASSERT_EQ(frame->FramePropsGet(&props, nullptr), S_OK);
  ASSERT_EQ(frame->FrameVideoGet(&pushed, &picture), S_OK);
  ASSERT_EQ(encoder->Configure(frame.get(), &props, nullptr, nullptr), S_OK);
  host::Ptr<IXfPacket> packet;
  std::int32_t left = 0;
  ASSERT_EQ(encoder->Process(packet.Receive(), &left, 0, nullptr), S_OK);
  ASSERT_TRUE(packet);
  ASSERT_EQ(packet->PacketDataGet(&size, &bytes), S_OK);
  ASSERT_EQ(size, pushed);
  EXPECT_TRUE(std::equal(bytes, bytes + size, picture));
  XV_STREAM_INFO info{};
  ASSERT_EQ(packet->PacketStreamInfoGet(&info), S_OK);
  EXPECT_EQ(host::Narrow(info.tag), "rawvideo");
  EXPECT_TRUE(info.nWidth == 640 && info.nHeight == 360 && info.fccTag == kFccUYVY);
  XV_PACKET_TIME time{};
  ASSERT_EQ(packet->PacketTimeGet(&time), S_OK);
  EXPECT_EQ(time.nFlags, std::uint32_t{eXfPF_Key});
  EXPECT_TRUE(time.cbSize == pushed && time.nIndex == 0 && time.nKey == 0);
  XV_TIME shown{};
  ASSERT_EQ(packet->PacketFrameTimeGet(&shown), S_OK);
  EXPECT_EQ(shown.rtStop - shown.rtStart, 400'000);
  EXPECT_EQ(encoder->Close(), S_OK);
}

// MPEG-2 runs at a constant rate here: what flat pictures do not need is filled up.
TEST_F(ComponentRecording, Mpeg2KeepsItsRate) {
  for (const auto& [path, least, most] :
       {std::tuple{"xfcodecs=true", 300'000, 500'000}, {"xfcodecs=false", 0, 100'000}}) {
    const std::string text = std::string(path) + " video::b=3M video::codec=mpeg2video";
    ASSERT_EQ(Record(writer_, folder_ / "a.ts", text, kPlain, 25), S_OK);
    const std::int64_t bytes = writer_.Stats().streams.at(0).bytes;
    EXPECT_TRUE(bytes >= least && bytes <= most) << path << " " << bytes;
  }
}

}  // namespace
}  // namespace xv::test
