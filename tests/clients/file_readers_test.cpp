#include <algorithm>
#include <fstream>

#include "clients/received_media.h"
#include "support/peer_process.h"

// Playlists, segments and picture sequences, read from the disk or from a web server's folder.
namespace xv::test {
namespace {

using testing::HasSubstr;

constexpr char kSegments[] =
    "format=hls hls_time=0.4 hls_list_size=0 video::codec=libx264 video::preset=ultrafast "
    "video::tune=zerolatency video::g=10 audio::codec=aac ";

std::vector<std::string> LinesOf(const std::string& path) {
  std::ifstream file(path);
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  return lines;
}

// Closed, and with every file that it names.
bool IsWhole(const TemporaryFolder& folder, const std::string& playlist) {
  const auto lines = LinesOf(folder / playlist);
  return !lines.empty() && lines.back() == "#EXT-X-ENDLIST" &&
         std::all_of(lines.begin(), lines.end(), [&](const std::string& line) {
           return line.empty() || line[0] == '#' || std::filesystem::exists(folder / line);
         });
}

// The playlist is closed and its segments, one after the other, hold all pictures: each decodes
// alone, the last one too.
void ExpectPlaylist(const TemporaryFolder& folder, const std::string& playlist) {
  const auto lines = LinesOf(folder / playlist);
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines.front(), "#EXTM3U");
  EXPECT_EQ(lines.back(), "#EXT-X-ENDLIST");
  int segments = 0;
  std::int64_t pictures = 0;
  for (const std::string& line : lines) {
    if (line.empty() || line[0] == '#') continue;
    const ProbedFile segment = Probe(folder / line);
    EXPECT_EQ(segment.Count(AVMEDIA_TYPE_AUDIO), 1) << line;
    EXPECT_EQ(segment.Pictures().errors, 0) << line;
    EXPECT_EQ(segment.Pictures().frames, 10) << line;
    pictures += segment.Pictures().frames;
    ++segments;
  }
  EXPECT_EQ(segments, 5);
  EXPECT_EQ(pictures, kFrames);
  ExpectAll(Probe(folder / playlist), "h264", "aac");
}

TEST(HlsReader, FindsAClosedPlaylistAndWholeSegments) {
  TemporaryFolder folder;
  ASSERT_EQ(Record(folder / "a.m3u8", kSegments, LiveFeed(), kFrames), S_OK);
  ExpectPlaylist(folder, "a.m3u8");
  // Fragmented segments have their initialisation.
  const std::string fragments = folder / "b.m3u8";
  ASSERT_EQ(
      Record(fragments, std::string(kSegments) + "hls_segment_type=fmp4", LiveFeed(), kFrames),
      S_OK);
  EXPECT_THAT(LinesOf(fragments), testing::Contains(HasSubstr("#EXT-X-MAP")));
  ExpectAll(Probe(fragments), "h264", "aac");
}

TEST(HlsReader, WebServerGetsPlaylistAndSegments) {
  TemporaryFolder folder;
  const int port = FreePort(Transport::kTcp);
  PeerProcess server({"python3", PUT_SERVER, std::to_string(port), folder.path()}, folder / "log");
  ASSERT_TRUE(WaitUntilBound(Transport::kTcp, port, 15));
  host::Writer writer;
  ASSERT_EQ(writer.Start("http://127.0.0.1:" + std::to_string(port) + "/a.m3u8",
                         std::string(kSegments) + "method=PUT"),
            S_OK);
  ASSERT_EQ(PushFrames(writer, LiveFeed(), kFrames), S_OK) << writer.LastError();
  EXPECT_EQ(writer.Stop(), S_OK);
  EXPECT_EQ(writer.LastError(), "");
  // The server may still be at work on what its client has sent to the end.
  EXPECT_TRUE(Eventually(5, [&] { return IsWhole(folder, "a.m3u8"); }));
  ExpectPlaylist(folder, "a.m3u8");
}

TEST(PictureReader, FindsEachPictureOfASequence) {
  TemporaryFolder folder;
  Feed feed = LiveFeed();
  feed.channels = 0;
  for (const auto& [extension, codec, fullRange] : {std::tuple{"jpg", "mjpeg", true},
                                                    {"png", "png", true},
                                                    {"dpx", "dpx", true},
                                                    {"tiff", "tiff", false},
                                                    {"tga", "targa", true},
                                                    {"j2c", "jpeg2000", false}}) {
    const std::string name = std::string("%03d.") + extension;
    ASSERT_EQ(Record(folder / name, "format=image2 create_folder=false", feed, 12), S_OK) << name;
    const ProbedStream video = Probe(folder / name).Pictures();
    EXPECT_EQ(video.codec, codec);
    EXPECT_TRUE(video.frames == 12 && video.errors == 0) << name;
    EXPECT_TRUE(video.width == 320 && video.height == 240) << name;
    // The first plane of RGB pictures is a colour, of grey the same.
    for (std::size_t i = 0; i < video.lumaMeans.size(); ++i) {
      const double pushed = 40 + 5 * static_cast<double>(i);
      const double level = fullRange ? (pushed - 16) * 255 / 219 : pushed;
      EXPECT_NEAR(video.lumaMeans[i], level, 3) << name << " " << i;
    }
    const auto shown =
        RunProgram({"ffmpeg", "-v", "error", "-i", folder / name, "-f", "framecrc", "-"});
    EXPECT_EQ(std::to_string(shown.status) + shown.err, "0");
  }
}

}  // namespace
}  // namespace xv::test
