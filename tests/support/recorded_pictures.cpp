#include "support/recorded_pictures.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>

#include "support/peer_process.h"

namespace xv::test {

void ExpectPicturesInOrder(const ProbedStream& video, int count) {
  EXPECT_EQ(video.frames, count);
  EXPECT_EQ(video.errors, 0);
  ASSERT_EQ(video.lumaMeans.size(), static_cast<std::size_t>(count));
  for (std::size_t i = 0; i < video.lumaMeans.size(); ++i) {
    EXPECT_NEAR(video.lumaMeans[i], 40.0 + 5.0 * static_cast<double>(i % 32), 2) << i;
  }
  std::vector<std::int64_t> stamps;
  for (const ProbedPacket& packet : video.packets) stamps.push_back(packet.pts);
  std::sort(stamps.begin(), stamps.end());
  EXPECT_EQ(std::adjacent_find(stamps.begin(), stamps.end()), stamps.end());
}

int DetailOf(int component, int x, int y) {
  return component == 0 ? 40 + (x * 7 + y * 13 + x * y % 11) % 160
                        : 60 + (x * 5 + y / 2 * 3 + component * 40) % 120;
}

double DetailQuality(const ProbedPlane& plane, int top) {
  double error = 0;
  for (int y = 0; y < plane.height; ++y) {
    for (int x = 0; x < plane.width; ++x) {
      error += std::pow(plane.At(x, y) - DetailOf(0, x, y + top), 2);
    }
  }
  return 10 * std::log10(255.0 * 255.0 * plane.width * plane.height / error);
}

std::string RecordedCaptions(const std::string& recorder, const std::string& codec) {
  TemporaryFolder folder;
  const std::string target = folder / "a.ts";
  const ProgramResult run =
      RunProgram({recorder, "--quiet", "-a", "video::codec=" + codec + " embed_cc=true",
                  "test:size=320x240,rate=29.97,seconds=5,captions=on", target});
  EXPECT_EQ(run.status, 0) << run.err;
  return RunProgram({"ffmpeg", "-v", "error", "-f", "lavfi", "-i",
                     "movie=" + target + "[out+subcc]", "-map", "0:s", "-f", "srt", "-"})
      .out;
}

}  // namespace xv::test
