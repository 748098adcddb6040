#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "support/media_probe.h"
#include "support/peer_process.h"

namespace xv::test {
namespace {

using testing::HasSubstr;

const std::string kProgram = XVRECORD;
const std::string kClip = BUNNY;

TEST(Xvrecord, RecordsTheBundledClip) {
  TemporaryFolder folder;
  const std::string output = folder / "out.mp4";
  const auto run =
      RunProgram({kProgram, "-a", "video::codec=libx264 video::preset=ultrafast", kClip, output});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.out, testing::StartsWith(output + ": h264 1280x720@24 + aac 48000 Hz 2 ch, 6.0"));
  const ProbedFile source = Probe(kClip);
  const ProbedFile file = Probe(output);
  const std::vector<std::uint8_t>& levels = file.Pictures().lumaMeans;
  EXPECT_EQ(file.Pictures().errors + file.Sound().errors, 0);
  EXPECT_NEAR(file.Sound().seconds, 6.0, 0.06);
  ASSERT_EQ(levels.size(), source.Pictures().lumaMeans.size());
  for (std::size_t i = 0; i < levels.size(); ++i) {
    EXPECT_NEAR(levels[i], source.Pictures().lumaMeans[i], 2) << i;
  }
}

// Pictures of one grey each, of which some are left out; each stands until the next one.
TEST(Xvrecord, VariableFrameRateKeepsEachPicturesTime) {
  TemporaryFolder folder;
  const auto kept = [](int n) { return n % 3 == 0 || n % 7 == 0 || n == 99; };
  const std::string filter =
      "geq=lum='40+5*mod(N,32)':cb=128:cr=128,select='not(mod(n,3))+not(mod(n,7))+eq(n,99)'";
  const auto made =
      RunProgram({"ffmpeg", "-v", "error", "-f", "lavfi", "-i",
                  "color=size=64x48:rate=25:duration=4", "-f", "lavfi", "-i", "sine=duration=4",
                  "-vf", filter, "-vsync", "vfr", "-c:v", "ffv1", folder / "vfr.mkv"});
  ASSERT_EQ(made.status, 0) << made.err;
  const auto run = RunProgram({kProgram, "--quiet", "-a", "video::codec=mpeg4 video::b=4M",
                               folder / "vfr.mkv", folder / "out.mov"});
  ASSERT_EQ(run.status, 0) << run.err;
  const ProbedFile file = Probe(folder / "out.mov");
  const std::vector<std::uint8_t>& levels = file.Pictures().lumaMeans;
  ASSERT_EQ(levels.size(), 100u);
  for (int tick = 0, shown = 0; tick < 100; ++tick) {
    if (kept(tick)) shown = tick;
    EXPECT_NEAR(levels[static_cast<std::size_t>(tick)], 40 + 5 * (shown % 32), 2) << tick;
  }
  EXPECT_NEAR(file.Sound().seconds, 4.0, 0.05);
}

TEST(Xvrecord, TestInputInEveryLayoutGivesTheSamePicture) {
  TemporaryFolder folder;
  std::vector<int> levels;
  for (const char* layout :
       {"UYVY", "HDYC", "YUY2", "NV12", "I420", "YV12", "RGB24", "RGB32", "ARGB32"}) {
    const std::string output = folder / "out.mp4";
    const auto run = RunProgram({kProgram, "--quiet", "--input-format", layout, "-a",
                                 "video::codec=mpeg4 video::b=8M",
                                 "test:size=320x240,seconds=0.2,channels=0", output});
    ASSERT_EQ(run.status, 0) << layout << run.err;
    levels.push_back(Probe(output).Pictures().lumaMeans.at(0));
  }
  for (const int level : levels) EXPECT_NEAR(level, levels[0], 2);
}

TEST(Xvrecord, StatisticsAreJson) {
  TemporaryFolder folder;
  const auto run = RunProgram({kProgram, "--quiet", "--stats", "-", "-a", "video::codec=mpeg4",
                               "test:size=320x240,seconds=1", folder / "out.mov"});
  ASSERT_EQ(run.status, 0) << run.err;
  const auto json = nlohmann::json::parse(run.out);
  EXPECT_EQ(json["frames_in"], 25);
  EXPECT_EQ(json["streams"].size(), 2u);
  EXPECT_EQ(json["streams"][0]["packets"], 25);
  EXPECT_EQ(json["quality"]["drops"], 0);
  EXPECT_EQ(json["quality"]["frames_in"], 25);
}

TEST(Xvrecord, InterruptLeavesAPlayableFile) {
  TemporaryFolder folder;
  const std::string output = folder / "out.mp4";
  const auto run = RunProgram(
      {kProgram, "--realtime", "-a", "video::codec=mpeg4", "test:size=320x240,seconds=60", output},
      1500);
  ASSERT_EQ(run.status, 0) << run.err;
  const ProbedStream video = Probe(output).Pictures();
  EXPECT_TRUE(video.frames > 5 && video.frames < 100) << video.frames;
  EXPECT_EQ(video.errors, 0);
}

TEST(Xvrecord, FailuresAreSentencesWithAStatus) {
  TemporaryFolder folder;
  const std::string out = folder / "out.mp4";
  const auto failed = [](const std::string& input, const std::string& output, auto... words) {
    const auto run = RunProgram({kProgram, input, output});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.err, testing::AllOf(HasSubstr(words)...));
  };
  failed(folder / "missing.mp4", out, "No such file");
  failed("test:seconds=1", folder / "no/such/out.mp4", "0x80004005", "output", "0x80070002");
  failed("test:size=axb", out, "size");
  EXPECT_EQ(RunProgram({kProgram, "--no-such-option"}).status, 2);
  EXPECT_EQ(RunProgram({kProgram, "onlyone.mp4"}).status, 2);
  EXPECT_EQ(RunProgram({kProgram, "--help"}).status, 0);
  EXPECT_THAT(RunProgram({kProgram, "--version"}).out, HasSubstr("xvrecord 1."));
}

TEST(Xvrecord, PropertiesAreReadAndSet) {
  const auto run = RunProgram(
      {kProgram, "--set", "diskspace.min=5G", "--get", "diskspace.min", "--get", "ignore_pts"});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out, "5G\nfalse\n");
}

// The text that ffmpeg's caption decoder finds in a recording.
std::string CaptionText(const std::string& path) {
  return RunProgram({"ffmpeg", "-v", "error", "-f", "lavfi", "-i", "movie=" + path + "[out+subcc]",
                     "-map", "0:s", "-f", "srt", "-"})
      .out;
}

TEST(Xvrecord, CaptionsSurviveTwoRecordings) {
  TemporaryFolder folder;
  const std::string first = folder / "first.ts";
  const std::string second = folder / "second.mp4";
  auto run = RunProgram({kProgram, "--quiet", "-a", "video::codec=mpeg2video video::bf=2",
                         "test:size=320x240,rate=29.97,seconds=7,captions=on", first});
  ASSERT_EQ(run.status, 0) << run.err;
  run = RunProgram(
      {kProgram, "--quiet", "-a", "video::codec=libx264 video::preset=veryfast", first, second});
  ASSERT_EQ(run.status, 0) << run.err;
  for (const std::string& path : {first, second}) {
    const std::string text = CaptionText(path);
    EXPECT_THAT(text, testing::AllOf(HasSubstr("TEST CAPTION 1"), HasSubstr("TEST CAPTION 2"),
                                     HasSubstr("TEST CAPTION 3")))
        << path;
    EXPECT_LT(text.find("CAPTION 1"), text.find("CAPTION 2")) << path;
  }
  const auto scc = RunProgram(
      {"ffmpeg", "-v", "error", "-f", "scc", "-i", folder / "second.scc", "-f", "srt", "-"});
  EXPECT_THAT(scc.out, HasSubstr("TEST CAPTION 2"));
}

TEST(Xvrecord, WarnsOfEachUnusedOptionAndBadValue) {
  TemporaryFolder folder;
  const auto run = RunProgram({kProgram, "--stats", folder / "stats", "-a",
                               "video::codec=mpeg4 video::crfx=7 vidoe::b=1 video.buffers=some",
                               "test:size=320x240,seconds=0.2", folder / "out.mp4"});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.err,
            "xvrecord: nobody took the option vidoe::b (did you mean video::b?)\n"
            "xvrecord: nobody took the option video::crfx\n"
            "xvrecord: not a good value: video.buffers=some (expected 0 and more)\n");
  const auto json = nlohmann::json::parse(folder.Read("stats"));
  EXPECT_EQ(json["quality"]["bad_values"], "video.buffers=some (expected 0 and more)");
}

}  // namespace
}  // namespace xv::test
