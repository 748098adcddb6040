#include <algorithm>
#include <optional>

#include "support/recorded_pictures.h"
#include "support/vendor/mfx/mfx_header.h"
#include "support/vendor/vendor_fixture.h"

// Recordings through QuickSync's encoder, from a host's frames to files that other programs read.
namespace xv::test {
namespace {

using testing::HasSubstr;

constexpr Feed kSmall{.width = 320, .height = 240};
constexpr int kCount = 40;

// What the session ran on that was used.
enum class On { kHardware, kSoftware };

// Where that variable sends a session to the runtime of newer processors, libmfx's dispatcher has
// no software; its successor asks for the software ahead of that.
constexpr On kSoftwareUnderOneVpl = MFX_VERSION_MAJOR < 2 ? On::kHardware : On::kSoftware;

On Used() {
  On used = On::kSoftware;
  for (const vendor::Call& call : vendor::Calls("MFXVideoCORE_SetHandle")) {
    if (call.result == MFX_ERR_NONE) used = On::kHardware;
  }
  return used;
}

struct Case {
  const char* name;   // of the file
  const char* words;  // for the stand-in
  std::string codec;  // with its options
  Feed feed = kSmall;
  bool reorders = true;
  AVFieldOrder order = AV_FIELD_PROGRESSIVE;
  On on = On::kHardware;
  const char* runtime = "MSDK";
};

void PrintTo(const Case& one, std::ostream* out) {
  *out << one.name << " [" << one.words << "] " << one.codec << ' ' << one.runtime;
}

class QuickFiles : public WithQuick, public testing::WithParamInterface<Case> {};

TEST_P(QuickFiles, AreWholeAndInOrder) {
  const Case& one = GetParam();
  const ScopedVariable runtime("INTEL_MEDIA_RUNTIME", one.runtime);
  vendor::Configure(one.words);
  const ProbedFile file = RecordAndProbe(one.name, "video::codec=" + one.codec, one.feed, kCount);
  EXPECT_EQ(Used(), one.on);
  EXPECT_EQ(file.Pictures().width, one.feed.width);
  const int height = one.feed.height == 486 ? 480 : one.feed.height;
  ExpectRecording(file, {"h264", height, one.reorders, one.order}, kCount);
}

INSTANTIATE_TEST_SUITE_P(
    Codecs, QuickFiles,
    testing::Values(Case{"a.mp4", "", "q264"},
                    Case{"a.mov", "late_ms=3", "q264 video::bf=3 video::g=12"},
                    Case{"a.ts", "delay=5", "q264hw video::bf=1"},
                    Case{"a.flv", "late_ms=5", "q264 video::bf=0", kSmall, false},
                    Case{"a.mkv", "busy=3", "q264 video.buffers=0"},
                    Case{"a.mp4", "room_for=400000", "q264 video::rc_type=cqp"},
                    Case{"a.mp4", "", "q264 video::gpu_memory=true"},
                    Case{"a.ts", "late_ms=4",
                         "q264 video::gpu_memory=true video::use_vpp=true video::async_depth=1"},
                    Case{"a.mov", "", "q264 video::use_vpp=true video::profile=Main"},
                    Case{"a.mp4", "", "q264 video::rc_type=quality video::profile=Baseline", kSmall,
                         false}));

Case Runs(On on, Case one, const char* runtime = "MSDK") {
  one.on = on;
  one.runtime = runtime;
  return one;
}

INSTANTIATE_TEST_SUITE_P(
    Ladder, QuickFiles,
    testing::Values(Runs(On::kSoftware, {"a.mp4", "", "q264sw"}),
                    Runs(On::kSoftware,
                         {"a.ts", "", "q264sw video::gpu_memory=true video::use_vpp=true"}),
                    Runs(On::kSoftware, {"a.mov", "hardware=0", "q264hw"}),
                    Runs(On::kSoftware, {"a.mp4", "fail=MFXVideoCORE_SetHandle:1+:-17", "q264"}),
                    Runs(On::kSoftware, {"a.mp4", "fail=vaInitialize:1+:1", "q264"}),
                    Runs(On::kHardware, {"a.mp4", "software=0", "q264sw"}),
                    Runs(kSoftwareUnderOneVpl, {"a.ts", "", "q264sw"}, "ONEVPL"),
                    Runs(On::kHardware, {"a.mp4", "", "q264hw video::gpu_memory=true"}, "ONEVPL")));

INSTANTIATE_TEST_SUITE_P(
    Pictures, QuickFiles,
    testing::Values(
        Case{"a.mp4", "", "q264", InterlacedFeed(576, eXvI_TopFirst), true, AV_FIELD_TT},
        Case{"a.mov", "", "q264 video::gpu_memory=true", InterlacedFeed(480, eXvI_BottomFirst),
             true, AV_FIELD_BB},
        Case{"a.mp4", "", "q264", InterlacedFeed(486, eXvI_BottomFirst), true, AV_FIELD_BB},
        Case{"a.ts", "", "q264 video::interlace=progressive", InterlacedFeed(576, eXvI_TopFirst)},
        Case{"a.mp4", "", "q264", FeedIn(kFccNV12)}, Case{"a.mp4", "", "q264", FeedIn(kFccRGB32)},
        Case{"a.mp4", "", "q264 video::V422=true", FeedIn(kFccYUY2)}));

using Quick = WithQuick;

// Sizes that are no multiples of 16 and 32, in memory of either kind.
TEST_F(Quick, PicturesStayInTheirLinesAndColumns) {
  Feed odd{.width = 200, .height = 120};
  for (const Feed& feed : {odd, InterlacedFeed(576, eXvI_TopFirst)}) {
    for (const char* memory : {"", " video::gpu_memory=true", " video::use_vpp=true"}) {
      SCOPED_TRACE(memory);
      const ProbedStream video =
          RecordPicture("a.mp4", std::string("video::codec=q264 video::rc_type=cqp") + memory, feed,
                        DrawPicture(feed, DetailOf));
      EXPECT_EQ(video.width, feed.width);
      EXPECT_EQ(video.height, feed.height);
      for (const int component : {0, 1, 2}) {
        EXPECT_GT(DetailQuality(video, component, 0), component == 0 ? 35 : 25) << component;
      }
    }
  }
}

TEST_F(Quick, CaptionsStandInThePictures) {
  EXPECT_THAT(RecordedCaptions(XVRECORD, "q264"), HasSubstr("TEST CAPTION 1"));
}

}  // namespace
}  // namespace xv::test
