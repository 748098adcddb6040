#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <sstream>

#include "captions/run_command.h"
#include "captions/stream_writer.h"
#include "support/temporary_folder.h"

namespace xv {
namespace {

using test::RunCommand;
using test::SaidAt;
using test::StreamSpec;

constexpr AVRational kPal = {25, 1};
constexpr AVRational kNtsc = {30000, 1001};
constexpr const char* kLongLookahead = "preset=ultrafast:rc-lookahead=60:b_strategy=2";

struct Shown {
  double start;
  std::string text;
};

// The captions that ffmpeg's decoder finds in the pictures, as SRT prints them.
std::vector<Shown> ReadCaptions(const std::string& path) {
  std::istringstream srt(RunCommand("ffmpeg -v error -f lavfi -i 'movie=" + path +
                                    "[out+subcc]' -map 0:s -f srt - 2>/dev/null"));
  std::vector<Shown> shown;
  std::string line;
  while (std::getline(srt, line)) {
    int h = 0, m = 0, s = 0, ms = 0;
    if (std::sscanf(line.c_str(), "%d:%d:%d,%d -->", &h, &m, &s, &ms) == 4) {
      shown.push_back({h * 3600 + m * 60 + s + ms / 1000.0, {}});
    } else if (!shown.empty()) {
      shown.back().text += line + "\n";
    }
  }
  return shown;
}

void ExpectTextAndTimes(const StreamSpec& spec) {
  SCOPED_TRACE(spec.path + " " + spec.encoder);
  SessionStats stats;
  const std::vector<SaidAt> said = WriteCaptionedStream(spec, &stats);
  ASSERT_EQ(said.size(), 3u);
  EXPECT_EQ(stats.captionsLost, 0);
  EXPECT_GT(stats.captionsEmbedded, 40);
  const std::vector<Shown> shown = ReadCaptions(spec.path);
  ASSERT_EQ(shown.size(), said.size());
  const double frame = 1 / av_q2d(spec.rate);
  for (std::size_t i = 0; i < said.size(); ++i) {
    std::istringstream rows(said[i].text);
    for (std::string row; std::getline(rows, row);) {
      EXPECT_NE(shown[i].text.find(row), std::string::npos) << shown[i].text;
    }
    EXPECT_NEAR(shown[i].start, said[i].frame * frame, frame + 0.002) << said[i].text;
  }
  EXPECT_EQ(RunCommand("ffmpeg -v error -i " + spec.path + " -f null - 2>&1"), "");
}

class EmbeddedStream : public testing::Test {
 protected:
  std::string Path(const char* name) { return folder_.Path(name); }

 private:
  test::TemporaryFolder folder_;
};

TEST_F(EmbeddedStream, H264WithTheLongestLookahead) {
  ExpectTextAndTimes({Path("a.mp4"), "libx264", kNtsc, 3, {}, kLongLookahead});
  ExpectTextAndTimes({Path("a.ts"), "libx264", kPal, 3, {}, kLongLookahead});
}

TEST_F(EmbeddedStream, H264WithAndWithoutBFrames) {
  ExpectTextAndTimes({Path("a.mov"), "libx264", kPal, 2, {}, "preset=ultrafast"});
  ExpectTextAndTimes({Path("b.mp4"), "libx264", kPal, 0, {}, "preset=ultrafast:tune=zerolatency"});
  ExpectTextAndTimes({Path("c.ts"), "libx264", kNtsc, 0, {}, "preset=ultrafast"});
}

TEST_F(EmbeddedStream, Mpeg2InItsContainersAndPlacements) {
  ExpectTextAndTimes({Path("a.ts"), "mpeg2video", kNtsc, 2});
  ExpectTextAndTimes({Path("a.mpg"), "mpeg2video", kPal, 2, CaptionPlacement::kPicture});
  ExpectTextAndTimes({Path("a.mxf"), "mpeg2video", kPal, 0});
  ExpectTextAndTimes({Path("b.mxf"), "mpeg2video", kNtsc, 2, CaptionPlacement::kPicture});
  ExpectTextAndTimes({Path("b.mpg"), "mpeg2video", kNtsc, 0});
}

TEST_F(EmbeddedStream, OlderKeyNameDoesTheSame) {
  ExpectTextAndTimes({Path("a.ts"), "mpeg2video", kPal, 2, {}, "", "ATSC"});
}

// No reader here knows captions of MPEG-4 part 2: the bytes must be there and the pictures decode.
TEST_F(EmbeddedStream, Mpeg4StillDecodes) {
  for (const CaptionPlacement placement :
       {CaptionPlacement::kSequence, CaptionPlacement::kPicture}) {
    SessionStats stats;
    const std::string path = Path("a.avi");
    ASSERT_EQ(test::WriteCaptionedStream({path, "mpeg4", kPal, 2, placement}, &stats).size(), 3u);
    EXPECT_EQ(stats.captionsLost, 0);
    EXPECT_EQ(RunCommand("ffmpeg -v error -i " + path + " -f null - 2>&1"), "");
    EXPECT_EQ(RunCommand("ffprobe -v error -count_frames -show_entries stream=nb_read_frames "
                         "-of csv=p=0 " +
                         path),
              "250\n");
    EXPECT_EQ(RunCommand("grep -c -a 'GA94' " + path).empty(), false);
  }
}

}  // namespace
}  // namespace xv
