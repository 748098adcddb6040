#include <gmock/gmock.h>

#include <cmath>
#include <set>

#include "support/media_probe.h"

// DV, D-10 and the sound of tape-like containers: rasters and rates that leave no choice, from any
// input.
namespace xv::test {
namespace {

std::set<std::size_t> PacketSizes(const ProbedStream& stream) {
  std::set<std::size_t> sizes;
  for (const ProbedPacket& packet : stream.packets) sizes.insert(packet.bytes.size());
  return sizes;
}

// Also where the container's rate leaves pictures out.
ProbedFile RecordAll(const std::string& path, const std::string& attributes, const Feed& feed,
                     int count) {
  host::Writer writer;
  EXPECT_EQ(writer.Start(path, attributes), S_OK);
  for (int i = 0; i < count; ++i) EXPECT_GE(writer.Put(MakeFrame(feed, i)), S_OK) << i;
  EXPECT_GE(writer.Stop(), S_OK);
  return Probe(path);
}

TEST(D10, HasItsRasterRateAndPacketSizeFromAnyInput) {
  struct Case {
    Feed feed;
    const char* rate;
    int height;
    std::size_t bytes;
    int frames;  // of 24 pictures
  };
  TemporaryFolder folder;
  for (const Case& one :
       {Case{{.width = 720, .height = 576, .rate = 25}, "30M", 608, 150'000, 24},
        {{.width = 1920, .height = 1080, .rate = 24}, "50M", 608, 250'000, 25},
        {{.width = 1280, .height = 720, .rate = 50}, "40M", 608, 200'000, 12},
        {{.width = 640, .height = 480, .rate = 30000.0 / 1001}, "40M", 512, 166'833, 24},
        {{.layout = kFccI420, .width = 720, .height = 480, .rate = 60000.0 / 1001},
         "50M",
         512,
         208'541,
         12}}) {
    const std::string attributes = std::string("format=mxf_d10 video::b=") + one.rate;
    const std::string path = folder / (std::to_string(one.bytes) + ".mxf");
    const ProbedFile file = RecordAll(path, attributes, one.feed, 24);
    const ProbedStream& pictures = file.Pictures();
    EXPECT_EQ(pictures.codec + " " + pictures.pixelFormat, "mpeg2video yuv422p");
    EXPECT_EQ(pictures.width, 720);
    EXPECT_EQ(pictures.height, one.height) << one.feed.rate;
    EXPECT_TRUE(pictures.interlaced && pictures.topFirst) << one.feed.rate;
    EXPECT_NEAR(static_cast<double>(pictures.frames), one.frames, 1) << one.feed.rate;
    EXPECT_EQ(PacketSizes(pictures), std::set<std::size_t>{one.bytes}) << one.feed.rate;
    EXPECT_EQ(pictures.errors, 0);
    EXPECT_NEAR(file.Sound().seconds, 24 / one.feed.rate, 0.05);
  }
}

// The picture begins behind the 32 lines of the interval; one with the bottom field first, a line
// earlier, so that its lines stay in their fields.
TEST(D10, KeepsTheLinesOfThePictureInTheirFields) {
  for (const auto& [order, row] : {std::pair{eXvI_TopFirst, 32}, {eXvI_BottomFirst, 31}}) {
    const Feed feed{.width = 720, .height = 480, .rate = 30000.0 / 1001, .interlace = order};
    const auto bytes = DrawPicture(feed, [](int plane, int, int y) {
      return plane > 0 ? 128 : y == 0 ? 220 : 90;
    });
    const ProbedStream pictures = RecordPicture(
        "a.mov", "video::codec=mpeg2video video::d10=true video::aspect=16:9", feed, bytes);
    EXPECT_EQ(av_cmp_q(pictures.sampleAspect, {16 * 512, 9 * 720}), 0);
    EXPECT_EQ(pictures.tag, FourCC("mx5n"));
    const auto luma = [&](int y) { return pictures.first.at(0).At(360, y); };
    EXPECT_NEAR(luma(row - 1), 16, 12) << order;
    EXPECT_NEAR(luma(row), 220, 12) << order;
    EXPECT_NEAR(luma(row + 1), 90, 12) << order;
    EXPECT_NEAR(luma(row + 479), 90, 12) << order;
  }
}

TEST(D10, RefusesWhatItDoesNotHaveWithWords) {
  TemporaryFolder folder;
  std::string noted;
  EXPECT_EQ(Record(folder / "a.mxf", "format=mxf_d10 video::b=31M", {}, 2, &noted), E_INVALIDARG);
  EXPECT_THAT(noted, testing::HasSubstr("30, 40 or 50 Mbit/s, not 31000000"));
}

TEST(Dv, RunsAtItsOwnRate) {
  TemporaryFolder folder;
  const ProbedFile film = RecordAll(folder / "a.dv", "", {.rate = 24}, 48);
  EXPECT_EQ(film.Pictures().frames, 50) << "a repeat each second";
  EXPECT_NEAR(film.Sound().seconds, 2, 0.05);
  const std::string sd = "video::codec=dvvideo video::dv_format=dvsd";
  const ProbedFile fast = RecordAll(folder / "a.mov", sd, {.rate = 50}, 50);
  EXPECT_EQ(fast.Pictures().height, 576);
  EXPECT_NEAR(static_cast<double>(fast.Pictures().frames), 25, 1);
}

TEST(ContainerSound, TakesTheRateThatTheContainerHas) {
  for (const auto& [name, codecs, rate] :
       {std::tuple{"a.mxf", "video::codec=mpeg2video", 48000},
        {"a.flv", "video::codec=flv audio::codec=libmp3lame", 44100}}) {
    for (const int given : {32000, 96000}) {
      const Feed feed{.sampleRate = given};
      const ProbedFile file = RecordAndProbe(name, codecs, feed, 25);
      EXPECT_EQ(file.Sound().sampleRate, rate) << name << " of " << given;
      EXPECT_NEAR(file.Sound().seconds, 1, 0.06) << name << " of " << given;
    }
  }
}

}  // namespace
}  // namespace xv::test
