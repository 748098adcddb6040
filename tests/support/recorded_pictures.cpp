#include "support/recorded_pictures.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>

#include "support/peer_process.h"

namespace xv::test {

void ExpectLevelsInOrder(const ProbedStream& video, int first, int count) {
  EXPECT_EQ(video.frames, count);
  EXPECT_EQ(video.errors, 0);
  ASSERT_EQ(video.lumaMeans.size(), static_cast<std::size_t>(count));
  for (std::size_t i = 0; i < video.lumaMeans.size(); ++i) {
    EXPECT_NEAR(video.lumaMeans[i], 40 + 5 * ((first + static_cast<int>(i)) % 32), 2) << i;
  }
}

void ExpectPicturesInOrder(const ProbedStream& video, int count) {
  ExpectLevelsInOrder(video, 0, count);
  std::vector<std::int64_t> stamps;
  for (const ProbedPacket& packet : video.packets) stamps.push_back(packet.pts);
  std::sort(stamps.begin(), stamps.end());
  EXPECT_EQ(std::adjacent_find(stamps.begin(), stamps.end()), stamps.end());
}

void ExpectRecording(const ProbedFile& file, const CodedAs& coded, int count) {
  const ProbedStream& video = file.Pictures();
  EXPECT_EQ(video.codec, coded.codec);
  EXPECT_EQ(video.height, coded.height);
  EXPECT_EQ(video.pictureTypes.find('B') != std::string::npos, coded.reorders)
      << video.pictureTypes;
  EXPECT_EQ(video.interlaced, coded.order != AV_FIELD_PROGRESSIVE);
  EXPECT_EQ(video.topFirst, coded.order == AV_FIELD_TT);
  ExpectPicturesInOrder(video, count);
  EXPECT_EQ(video.keys.find('K'), 0U) << "readers start at the first packet";
  EXPECT_EQ(std::ranges::count(video.keys, 'K'), std::ranges::count(video.pictureTypes, 'I'));
  EXPECT_NEAR(file.Sound().seconds, count / 25.0, 0.1);
  EXPECT_NEAR(video.start, file.Sound().start, 0.06) << "pictures and sound begin together";
}

int DetailOf(int component, int x, int y) {
  return component == 0 ? 40 + (x * 7 + y * 13 + x * y % 11) % 160
                        : 60 + (x * 5 + y / 2 * 3 + component * 40) % 120;
}

double DetailQuality(const ProbedStream& video, int component, int top) {
  const ProbedPlane& plane = video.first.at(static_cast<std::size_t>(component));
  const int step = component == 0 ? 1 : 2;
  double error = 0;
  for (int y = 0; y < plane.height; ++y) {
    for (int x = 0; x < plane.width; ++x) {
      error += std::pow(plane.At(x, y) - DetailOf(component, x, y * step + top), 2);
    }
  }
  return 10 * std::log10(255.0 * 255.0 * plane.width * plane.height / error);
}

std::string CaptionText(const std::string& path) {
  return RunProgram({"ffmpeg", "-v", "error", "-f", "lavfi", "-i", "movie=" + path + "[out+subcc]",
                     "-map", "0:s", "-f", "srt", "-"})
      .out;
}

std::string RecordedCaptions(const std::string& recorder, const std::string& codec) {
  TemporaryFolder folder;
  const std::string target = folder / "a.ts";
  const ProgramResult run =
      RunProgram({recorder, "--quiet", "-a", "video::codec=" + codec + " embed_cc=true",
                  "test:size=320x240,rate=29.97,seconds=5,captions=on", target});
  EXPECT_EQ(run.status, 0) << run.err;
  return CaptionText(target);
}

}  // namespace xv::test
