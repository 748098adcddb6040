#include <ffnvcodec/nvEncodeAPI.h>

#include <algorithm>
#include <array>
#include <thread>

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

using Nvenc = WithVendor;

struct Case {
  const char* name;     // of the file
  const char* words;    // for the stand-in
  const char* options;  // of the session
  Feed feed = kSmall;
  const char* codec = "h264";
  bool reorders = false;
  int height = 240;
  AVFieldOrder order = AV_FIELD_PROGRESSIVE;
};

void PrintTo(const Case& one, std::ostream* out) {
  *out << one.name << " [" << one.words << "] " << one.options;
}

class NvencFiles : public WithVendor, public testing::WithParamInterface<Case> {};

TEST_P(NvencFiles, AreWholeAndInOrder) {
  constexpr int kCount = 40;
  vendor::Configure(GetParam().words);
  const Case& one = GetParam();
  ExpectRecording(RecordAndProbe(one.name, one.options, one.feed, kCount),
                  {one.codec, one.height, one.reorders, one.order}, kCount);
}

INSTANTIATE_TEST_SUITE_P(
    Codecs, NvencFiles,
    testing::Values(
        Case{.name = "a.mp4", .words = "", .options = "video::codec=n264", .reorders = true},
        Case{"a.mov", "gather=2", "video::codec=n264 video::bf=2", kSmall, "h264", true},
        Case{"a.ts", "delay=4 late_ms=3", "video::codec=n264 video::bf=1 video::g=12", kSmall,
             "h264", true},
        Case{"a.flv", "late_ms=5", "video::codec=n264 video::bf=0", kSmall},
        Case{"a.mkv", "gather=6", "video::codec=n264 video::bf=0 video.buffers=0"},
        Case{"a.mp4", "", "video::codec=l264"}, Case{"a.ts", "bframes=0", "video::codec=n264"},
        Case{"a.mp4", "", "video::codec=n265", kSmall, "hevc"},
        Case{"a.mov", "hevc_bframes=3", "video::codec=n265", kSmall, "hevc", true},
        Case{"a.ts", "gather=1", "video::codec=n265", kSmall, "hevc"}));

INSTANTIATE_TEST_SUITE_P(
    Drivers, NvencFiles,
    testing::Values(Case{"a.mp4", "driver=7.0", "video::codec=n264", kSmall, "h264", true},
                    Case{"a.mp4", "driver=8.0",
                         "video::codec=n264 video::preset=high_quality video::rc_type=vbr_minq",
                         kSmall, "h264", true},
                    Case{"a.mp4", "driver=12.1",
                         "video::codec=n264 video::preset=high_quality video::rc_type=vbr_minq",
                         kSmall, "h264", true},
                    Case{"a.mp4", "driver=12.1 oldest=7",
                         "video::codec=n264 video::preset=low_latency"},
                    Case{"a.mov", "driver=12.1", "video::codec=n264", kSmall, "h264", true},
                    Case{"a.ts", "driver=12.1", "video::codec=l264"},
                    Case{"a.mp4", "driver=12.1", "video::codec=n265", kSmall, "hevc"}));

INSTANTIATE_TEST_SUITE_P(
    Pictures, NvencFiles,
    testing::Values(Case{"a.mp4", "", "video::codec=n264", InterlacedFeed(576, eXvI_TopFirst),
                         "h264", true, 576, AV_FIELD_TT},
                    Case{"a.ts", "driver=12.1", "video::codec=n264 video::bf=0",
                         InterlacedFeed(486, eXvI_BottomFirst), "h264", false, 480, AV_FIELD_BB},
                    Case{"a.mov", "fields=0", "video::codec=n264 video::bf=0",
                         InterlacedFeed(486, eXvI_TopFirst), "h264", false, 480},
                    Case{"a.mp4", "", "video::codec=n265", InterlacedFeed(486, eXvI_TopFirst),
                         "hevc", false, 480},
                    Case{"a.mp4", "", "video::codec=n264 video::bf=0", FeedIn(kFccYUY2)},
                    Case{"a.mp4", "", "video::codec=n264 video::bf=0", FeedIn(kFccHDYC)},
                    Case{"a.mp4", "", "video::codec=n264 video::bf=0", FeedIn(kFccRGB24)},
                    Case{"a.mp4", "", "video::codec=n265", FeedIn(kFccRGB32), "hevc"},
                    Case{"a.mp4", "", "video::codec=n264 video::bf=0", FeedIn(kFccNV12)},
                    Case{"a.mp4", "", "video::codec=n264 video::bf=0", FeedIn(kFccI420)}));

TEST_F(Nvenc, LosslessPicturesComeBackAsTheyWere) {
  for (const int lines : {240, 486}) {
    Feed feed = kSmall;
    feed.height = lines;
    const std::vector<std::uint8_t> picture = DrawPicture(feed, DetailOf);
    const ProbedStream video = RecordPicture("a.mp4", "video::codec=l264", feed, picture);
    const int top = lines == 486 ? 6 : 0;
    ASSERT_EQ(video.height, lines - top);
    for (const int plane : {0, 1, 2}) {
      const int step = plane == 0 ? 1 : 2;
      for (int y = 0; y < video.height / step; ++y) {
        for (int x = 0; x < video.width / step; ++x) {
          const int sent = DetailOf(plane, x, y * step + top);
          ASSERT_EQ(video.first.at(static_cast<std::size_t>(plane)).At(x, y), sent)
              << plane << ": " << x << ' ' << y;
        }
      }
    }
  }
}

TEST_F(Nvenc, ContainerHasTheLinesOfThePictures) {
  TemporaryFolder folder;
  Feed feed = kSmall;
  feed.height = 486;
  ASSERT_EQ(Record(folder / "a.mp4", "video::codec=n264", feed, 3), S_OK);
  const std::string bytes = folder.Read("a.mp4");
  const std::size_t entry = bytes.rfind("avc1");  // of the sample description
  ASSERT_NE(entry, bytes.npos);
  const auto at = [&](std::size_t i) { return static_cast<unsigned char>(bytes.at(entry + i)); };
  EXPECT_EQ(at(28) << 8 | at(29), 320);
  EXPECT_EQ(at(30) << 8 | at(31), 480);
}

// RGB has the matrix that a software encoder gets: HD's and SD's are not the same.
TEST_F(Nvenc, RgbHasTheRightMatrix) {
  for (const int lines : {-240, -720}) {
    Feed feed{.layout = kFccRGB24, .width = lines == -240 ? 320 : 1280, .height = lines};
    const std::vector<std::uint8_t> red =
        DrawPicture(feed, [](int component, int, int) { return component == 0 ? 200 : 30; });
    const ProbedStream hard = RecordPicture("a.mp4", "video::codec=n264", feed, red);
    const ProbedStream soft = RecordPicture("a.mp4", "video::codec=libx264", feed, red);
    EXPECT_EQ(hard.tags, soft.tags);
    for (const std::size_t plane : {0U, 1U, 2U}) {
      EXPECT_NEAR(hard.first.at(plane).At(60, 60), soft.first.at(plane).At(60, 60), 2) << plane;
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
  TemporaryFolder folder;
  host::Writer writer;
  vendor::Configure("bframes=2");
  ASSERT_EQ(Record(writer, folder / "a.mp4",
                   "video::codec=n264 video::tier=high video::crf=20 video::bf=5", kSmall, 30),
            S_OK);
  const host::Statistics stats = writer.Stats();
  EXPECT_EQ(stats.streams.at(0).packets, 30);
  EXPECT_GT(stats.encodeP99.count(), 0);
  EXPECT_THAT(stats.unusedOptions, AllOf(Contains(HasSubstr("tier")), Contains(HasSubstr("crf"))));
  EXPECT_THAT(stats.badValues, Contains(AllOf(HasSubstr("bf"), HasSubstr("2"))));
}

TEST_F(Nvenc, HostsThreadsKeepTheirOwnCudaContext) {
  TemporaryFolder folder;
  host::Writer writer;
  ASSERT_EQ(writer.Start(folder / "a.mp4", "video::codec=n264 video.buffers=0"), S_OK);
  ASSERT_EQ(PushFrames(writer, kSmall, 3), S_OK);
  EXPECT_THAT(vendor::Held(), AllOf(Contains("1 session"), Not(Contains(HasSubstr("current")))));
  EXPECT_EQ(writer.Stop(), S_OK);
}

// A session's limit: the writers that come too late are refused in words, the first goes on.
TEST_F(Nvenc, SessionsAreLimitedByTheDriver) {
  TemporaryFolder folder;
  vendor::Configure("sessions=1");
  std::array<host::Writer, 3> writers;
  for (std::size_t i = 0; i < writers.size(); ++i) {
    ASSERT_EQ(writers[i].Start(folder / (std::to_string(i) + ".mp4"), "video::codec=n264"), S_OK);
    EXPECT_EQ(writers[i].Put(MakeFrame(kSmall, 0)), i == 0 ? S_OK : E_FAIL);
    if (i == 0) continue;
    EXPECT_THAT(writers[i].LastError(), AllOf(HasSubstr("nvEncOpenEncodeSessionEx"),
                                              HasSubstr("no more encoding sessions")));
  }
  EXPECT_EQ(PushFrames(writers[0], kSmall, 20, 1), S_OK);
  EXPECT_EQ(writers[0].Stop(), S_OK);
  ExpectPicturesInOrder(Probe(folder / "0.mp4").Pictures(), 21);
  EXPECT_EQ(PushFrames(writers[1], kSmall, 5), S_OK) << "the first has given its session back";
  EXPECT_EQ(writers[1].Stop(), S_OK);
}

TEST_F(Nvenc, SeveralWritersRecordAtOnce) {
  TemporaryFolder folder;
  std::vector<std::thread> threads;
  for (int i = 0; i < 3; ++i) {
    threads.emplace_back([&folder, i] {
      EXPECT_EQ(Record(folder / (std::to_string(i) + ".mp4"), "video::codec=n264", kSmall, 30),
                S_OK);
    });
  }
  for (std::thread& one : threads) one.join();
  for (const char* name : {"0.mp4", "1.mp4", "2.mp4"}) {
    ExpectPicturesInOrder(Probe(folder / name).Pictures(), 30);
  }
}

}  // namespace
}  // namespace xv::test
