#include <ffnvcodec/nvEncodeAPI.h>

#include <algorithm>
#include <array>
#include <thread>

#include "support/fixtures.h"
#include "support/peer_process.h"
#include "support/recorded_pictures.h"
#include "support/vendor/vendor_fixture.h"

// Recordings through NVENC's encoders, from a host's frames to files that other programs read.
namespace xv::test {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;

constexpr Feed kSmall{.width = 320, .height = 240};

using Nvenc = InFolder<WithVendor>;

struct Case {
  const char* name;   // of the file
  const char* words;  // for the stand-in
  std::string codec;  // with its options
  bool reorders = false;
  Feed feed = kSmall;
  AVFieldOrder order = AV_FIELD_PROGRESSIVE;
};

void PrintTo(const Case& one, std::ostream* out) {
  *out << one.name << " [" << one.words << "] " << one.codec;
}

class NvencFiles : public WithVendor, public testing::WithParamInterface<Case> {};

TEST_P(NvencFiles, AreWholeAndInOrder) {
  constexpr int kCount = 40;
  const Case& one = GetParam();
  vendor::Configure(one.words);
  const char* codec = one.codec.starts_with("n265") ? "hevc" : "h264";
  const int height = one.feed.height == 486 ? 480 : one.feed.height;
  ExpectRecording(RecordAndProbe(one.name, "video::codec=" + one.codec, one.feed, kCount),
                  {codec, height, one.reorders, one.order}, kCount);
}

INSTANTIATE_TEST_SUITE_P(
    Codecs, NvencFiles,
    testing::Values(Case{"a.mp4", "", "n264", true},
                    Case{"a.mov", "gather=2", "n264 video::bf=2", true},
                    Case{"a.ts", "delay=4 late_ms=3", "n264 video::bf=1 video::g=12", true},
                    Case{"a.flv", "late_ms=5", "n264 video::bf=0"},
                    Case{"a.mkv", "gather=6", "n264 video::bf=0 video.buffers=0"},
                    Case{"a.mp4", "bframes=12 delay=30", "n264 video::bf=12 video::g=26", true},
                    Case{"a.mp4", "", "l264"}, Case{"a.ts", "bframes=0", "n264"},
                    Case{"a.mp4", "", "n265"}, Case{"a.mov", "hevc_bframes=3", "n265", true},
                    Case{"a.ts", "gather=1", "n265"}));

INSTANTIATE_TEST_SUITE_P(Pictures, NvencFiles,
                         testing::Values(Case{"a.mp4", "", "n264", true,
                                              InterlacedFeed(576, eXvI_TopFirst), AV_FIELD_TT},
                                         Case{"a.ts", "driver=12.1", "n264 video::bf=0", false,
                                              InterlacedFeed(486, eXvI_BottomFirst), AV_FIELD_BB},
                                         Case{"a.mov", "fields=0", "n264 video::bf=0", false,
                                              InterlacedFeed(486, eXvI_TopFirst)},
                                         Case{"a.mp4", "", "n265", false,
                                              InterlacedFeed(486, eXvI_TopFirst)}));

TEST_F(Nvenc, EachDriverIsSpokenToInAVersionThatItKnows) {
  constexpr std::uint32_t k111 = 11 | 1 << 24;
  struct Driver {
    const char* words;
    const char* options;
    std::uint32_t api;     // of the session
    std::size_t sessions;  // opened for it
    bool reorders = true;
  };
  const char* hevc = "video::codec=n265 video::bf=2";
  const char* quality = "video::codec=n264 video::preset=high_quality video::rc_type=vbr_minq";
  for (const Driver& one :
       {Driver{"driver=7.0", "video::codec=n264", 7, 1},
        {"driver=8.0 hevc_bframes=2", hevc, 7, 1},
        {"driver=8.0", quality, 7, 1},
        {"driver=11.1 delay=0", "video::codec=n264", 7, 1},
        {"driver=11.1 old_presets=0", "video::codec=n264 video::g=12 video::bf=2", k111, 2},
        {"driver=11.1 oldest=10", "video::codec=n264", k111, 2},
        {"driver=12.1", quality, k111, 2},
        {"driver=12.1", hevc, k111, 2, false},
        {"driver=12.1", "video::codec=l264", k111, 2, false}}) {
    SCOPED_TRACE(std::string(one.words) + " " + one.options);
    vendor::Reset();
    vendor::Configure(one.words);
    const ProbedFile file = RecordAndProbe("a.mp4", one.options, kSmall, 20);
    ExpectRecording(file, {one.options == hevc ? "hevc" : "h264", 240, one.reorders}, 20);
    if (std::string(one.options).ends_with("bf=2")) {
      // Decoding begins two pictures more ahead than there are B pictures in a row.
      const auto& packets = file.Pictures().packets;
      const std::int64_t all = std::ranges::max(packets, {}, &ProbedPacket::pts).pts;
      EXPECT_EQ((packets[0].pts - packets[0].dts) * 19, all * (one.reorders ? 4 : 2));
    }
    const auto sessions = vendor::Calls("nvEncOpenEncodeSessionEx");
    ASSERT_EQ(sessions.size(), one.sessions);
    EXPECT_EQ(sessions.back().As<NV_ENC_OPEN_ENCODE_SESSION_EX_PARAMS>().apiVersion, one.api);
  }
}

// More pictures than the ring has entries: it grows in place of waiting for what cannot come.
TEST_F(Nvenc, RingGrowsForAnEncoderThatHoldsBackManyPictures) {
  vendor::Configure("fail=nvEncEncodePicture:1+:17");
  host::Writer writer;
  ASSERT_EQ(writer.Start(folder_ / "a.mp4",
                         "video::codec=n264 video::preset=low_latency video.buffers=0"),
            S_OK);
  EXPECT_EQ(PushFrames(writer, kSmall, 12), S_OK);
  EXPECT_EQ(vendor::CallCount("nvEncCreateInputBuffer"), 12);
  EXPECT_EQ(writer.StopAtOnce(), XV_E_ABORTED);
}

TEST_F(Nvenc, WhatTheAdapterCannotDoIsRefusedInWords) {
  for (const auto& [words, options, told] :
       {std::tuple{"max_width=160", "video::codec=n264", "up to 160x4096"},
        {"hevc=0", "video::codec=n265", "does not encode H.265"},
        {"", "video::codec=n264 video::force_gpu=3", "no adapter 3"}}) {
    vendor::Reset();
    vendor::Configure(words);
    std::string noted;
    EXPECT_TRUE(Failed(Record(folder_ / "a.mp4", options, kSmall, 1, &noted))) << words;
    EXPECT_THAT(noted, HasSubstr(told));
  }
}

// Each layout is written into the encoder's memory as it is.
TEST_F(Nvenc, LosslessPicturesComeBackAsTheyWere) {
  std::vector<Feed> feeds = {kSmall, {.width = 320, .height = 486}};
  for (const std::uint32_t layout : {kFccHDYC, kFccYUY2, kFccNV12, kFccI420, kFccYV12}) {
    feeds.push_back({.layout = layout, .width = 98, .height = 62});
  }
  for (const Feed& feed : feeds) {
    const bool halved =
        feed.layout == kFccNV12 || feed.layout == kFccI420 || feed.layout == kFccYV12;
    const auto picture = DrawPicture(
        feed, [&](int c, int x, int y) { return DetailOf(c, x, halved && c > 0 ? 2 * y : y); });
    const ProbedStream video = RecordPicture("a.mp4", "video::codec=l264", feed, picture);
    const int top = feed.height == 486 ? 6 : 0;
    ASSERT_EQ(video.height, feed.height - top);
    for (const int plane : {0, 1, 2}) {
      const int step = plane == 0 ? 1 : 2;
      for (int i = 0; i < video.height / step * (video.width / step); ++i) {
        const int x = i % (video.width / step), y = i / (video.width / step);
        ASSERT_EQ(video.first.at(static_cast<std::size_t>(plane)).At(x, y),
                  DetailOf(plane, x, y * step + top))
            << std::hex << feed.layout << std::dec << ' ' << plane << ": " << x << ' ' << y;
      }
    }
  }
}

TEST_F(Nvenc, ContainerHasTheLinesOfThePictures) {
  Feed feed = kSmall;
  feed.height = 486;
  ASSERT_EQ(Record(folder_ / "a.mp4", "video::codec=n264", feed, 3), S_OK);
  const std::string bytes = folder_.Read("a.mp4");
  const std::size_t entry = bytes.rfind("avc1");  // of the sample description
  ASSERT_NE(entry, bytes.npos);
  const auto at = [&](std::size_t i) { return static_cast<unsigned char>(bytes.at(entry + i)); };
  EXPECT_EQ(at(28) << 8 | at(29), 320);
  EXPECT_EQ(at(30) << 8 | at(31), 480);
}

// RGB has the matrix that a software encoder gets, and its rows are the right way up: HD's and SD's
// are not the same.
TEST_F(Nvenc, RgbHasTheRightMatrix) {
  for (const auto& [layout, lines] :
       {std::pair{kFccRGB24, -240}, {kFccRGB24, -720}, {kFccRGB32, 240}, {kFccARGB32, -240}}) {
    const int high = std::abs(lines);
    const Feed feed{.layout = layout, .width = high == 240 ? 320 : 1280, .height = lines};
    const auto red = DrawPicture(feed, [&](int c, int, int y) {
      return c == 3 ? 255 : c == 0 && y < high / 2 ? 200 : 30;
    });
    const ProbedStream hard = RecordPicture("a.mp4", "video::codec=n264", feed, red);
    const ProbedStream soft = RecordPicture("a.mp4", "video::codec=libx264", feed, red);
    EXPECT_EQ(hard.tags, soft.tags);
    for (const std::size_t plane : {0U, 1U, 2U}) {
      for (const int y : {30, 100}) {
        EXPECT_NEAR(hard.first.at(plane).At(60, y), soft.first.at(plane).At(60, y), 2) << plane;
      }
    }
  }
}

TEST_F(Nvenc, FieldsStayInTheirLines) {
  const Feed feed = InterlacedFeed(486, eXvI_TopFirst);
  const std::string options = "video::codec=n264 video::rc_type=cqp";
  const ProbedStream video = RecordPicture("a.mp4", options, feed, DrawPicture(feed, DetailOf));
  EXPECT_GT(DetailQuality(video, 0, 6), 35);
  const auto colours = [](int component, int, int y) {
    return component == 0 ? 100 : y % 2 == 0 ? 80 : 180;
  };
  for (const std::uint32_t layout : {kFccUYVY, kFccI420}) {
    Feed coloured = feed;
    coloured.layout = layout;
    const ProbedStream fields =
        RecordPicture("b.mp4", options, coloured, DrawPicture(coloured, colours));
    for (int y = 0; y < 240; ++y)
      EXPECT_NEAR(fields.first.at(1).At(100, y), y % 2 == 0 ? 80 : 180, 4) << layout;
  }
}

TEST_F(Nvenc, CaptionsStandInThePictures) {
  EXPECT_THAT(RecordedCaptions(XVRECORD, "n264"), HasSubstr("TEST CAPTION 1"));
}

TEST_F(Nvenc, StatisticsTellWhatWasEncodedAndWhatWasBroughtDown) {
  host::Writer writer;
  vendor::Configure("bframes=2");
  ASSERT_EQ(Record(writer, folder_ / "a.mp4",
                   "video::codec=n264 video::tier=high video::crf=20 video::bf=5", kSmall, 30),
            S_OK);
  const host::Statistics stats = writer.Stats();
  EXPECT_EQ(stats.streams.at(0).packets, 30);
  EXPECT_GT(stats.encodeP99.count(), 0);
  EXPECT_THAT(stats.unusedOptions, AllOf(Contains(HasSubstr("tier")), Contains(HasSubstr("crf"))));
  EXPECT_THAT(stats.badValues, Contains(AllOf(HasSubstr("bf"), HasSubstr("2"))));
}

TEST_F(Nvenc, HostsThreadsKeepTheirOwnCudaContext) {
  host::Writer writer;
  ASSERT_EQ(writer.Start(folder_ / "a.mp4", "video::codec=n264 video.buffers=0"), S_OK);
  ASSERT_EQ(PushFrames(writer, kSmall, 3), S_OK);
  EXPECT_THAT(vendor::Held(), AllOf(Contains("1 session"), Not(Contains(HasSubstr("current")))));
  EXPECT_EQ(writer.Stop(), S_OK);
}

// A session's limit: the writers that come too late are refused in words, the first goes on.
TEST_F(Nvenc, SessionsAreLimitedByTheDriver) {
  vendor::Configure("sessions=1");
  std::array<host::Writer, 3> writers;
  for (std::size_t i = 0; i < writers.size(); ++i) {
    ASSERT_EQ(writers[i].Start(folder_ / (std::to_string(i) + ".mp4"), "video::codec=n264"), S_OK);
    EXPECT_EQ(writers[i].Put(MakeFrame(kSmall, 0)), i == 0 ? S_OK : E_FAIL);
    if (i == 0) continue;
    EXPECT_THAT(writers[i].LastError(), AllOf(HasSubstr("nvEncOpenEncodeSessionEx"),
                                              HasSubstr("no more encoding sessions")));
  }
  EXPECT_EQ(PushFrames(writers[0], kSmall, 20, 1), S_OK);
  EXPECT_EQ(writers[0].Stop(), S_OK);
  ExpectPicturesInOrder(Probe(folder_ / "0.mp4").Pictures(), 21);
  EXPECT_EQ(PushFrames(writers[1], kSmall, 5), S_OK) << "the first has given its session back";
  EXPECT_EQ(writers[1].Stop(), S_OK);
}

}  // namespace
}  // namespace xv::test
