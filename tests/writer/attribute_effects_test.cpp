#include <gmock/gmock.h>

#include <array>
#include <cstdlib>

#include "support/fixtures.h"
#include "support/media_probe.h"

// What attributes change in the pictures of a recording, and in what makes them.
namespace xv::test {
namespace {

using AttributeEffects = WithFolder;

constexpr int kWidth = 176;
constexpr int kHeight = 144;

// Luma of the picture's quarters: left and right above, left and right below.
using Quarters = std::array<int, 4>;
constexpr Quarters kPushed = {50, 100, 150, 200};

// A still picture of four levels, without a codec's losses.
ProbedStream Quartered(const std::string& attributes) {
  const Feed feed{.width = kWidth, .height = kHeight};
  const auto picture = DrawPicture(feed, [](int component, int x, int y) {
    const int quarter = (y < kHeight / 2 ? 0 : 2) + (x < kWidth / 2 ? 0 : 1);
    return component > 0 ? 128 : kPushed[static_cast<std::size_t>(quarter)];
  });
  return RecordPicture("a.avi", "video::codec=rawvideo " + attributes, feed, picture);
}

// Near the corners, away from the edges between the quarters.
Quarters CornersOf(const ProbedStream& video) {
  const ProbedPlane& luma = video.first.at(0);
  const int right = luma.width - 8, below = luma.height - 8;
  return {luma.At(8, 8), luma.At(right, 8), luma.At(8, below), luma.At(right, below)};
}

TEST_F(AttributeEffects, SizeAspectAndFilterOfScaling) {
  const auto scaled = [](const std::string& more) {
    return Quartered("video::video_size=352x288 " + more).first.at(0).samples;
  };
  const auto plain = scaled(""), nearest = scaled("video::scaling_quality=1");
  EXPECT_EQ(plain.size(), 352u * 288);
  EXPECT_NE(nearest, plain);
  EXPECT_EQ(scaled("scaling_quality=1 video::scaling_quality=2"), nearest) << "the session's wins";
  EXPECT_NE(scaled("video::scaling_siting=classic"), plain);
  const std::string tall = "video::size=176x288 video::ar_type=";
  EXPECT_EQ(CornersOf(Quartered(tall + "ignore-ar")), kPushed);
  EXPECT_EQ(CornersOf(Quartered(tall + "letter-box")), (Quarters{16, 16, 16, 16}));
}

TEST_F(AttributeEffects, FieldOrderAndSampling) {
  for (const auto& [attribute, pushed, order, format] :
       {std::tuple{"", eXvI_Progressive, "progressive", "yuv420p"},
        {"video::top=0", eXvI_Progressive, "bottom", "yuv420p"},
        {"video::top=1", eXvI_Progressive, "top", "yuv420p"},
        {"", eXvI_TopFirst, "top", "yuv420p"},
        {"video::interlace=false", eXvI_TopFirst, "progressive", "yuv420p"},
        {"video::V422=true", eXvI_Progressive, "progressive", "yuv422p"},
        {"video::use_vpp=true", eXvI_Progressive, "progressive", "yuv422p"}}) {
    const ProbedStream video =
        RecordAndProbe("a.mov", std::string("video::codec=mpeg2video ") + attribute,
                       {.width = kWidth, .height = kHeight, .interlace = pushed})
            .Pictures();
    const char* fields = video.topFirst ? "top" : "bottom";
    EXPECT_STREQ(video.interlaced ? fields : "progressive", order) << attribute;
    EXPECT_EQ(video.pixelFormat, format) << attribute;
  }
}

// The bits from `first` on of a text of bytes.
unsigned BitsOf(const std::string& bytes, std::size_t first, int count) {
  unsigned value = 0;
  for (std::size_t i = first; i < first + static_cast<std::size_t>(count); ++i) {
    value = value << 1 | (static_cast<std::uint8_t>(bytes.at(i / 8)) >> (7 - i % 8) & 1);
  }
  return value;
}

std::string BehindStartCode(const std::string& bytes, char code) {
  return bytes.substr(bytes.find(std::string("\0\0\1", 3) + code) + 4);
}

TEST_F(AttributeEffects, CodingOfPictures) {
  const Feed feed{.width = kWidth, .height = kHeight};
  const ProbedFile file =
      RecordAndProbe("a.ts",
                     "video::codec=mpeg2video video::bitrate=3M "
                     "video::gop_size=5 video::sc_threshold=1000000000 video::dc=10 "
                     "video::gop_timecode=01:02:03:04",
                     feed, 12);
  const ProbedStream& mpeg2 = file.Pictures();
  EXPECT_EQ(mpeg2.gopTimecode, "01:02:03:04");
  EXPECT_EQ(mpeg2.keys.substr(0, 11), "K----K----K");
  // ISO/IEC 13818-2, 6.2.2: the rate in the sequence header, and the precision in the coding
  // extension, which stands behind the picture's header.
  const std::string& first = mpeg2.packets.at(0).bytes;
  EXPECT_EQ(BitsOf(BehindStartCode(first, '\xB3'), 32, 18) * 400, 3'000'000u);
  EXPECT_EQ(BitsOf(BehindStartCode(BehindStartCode(first, '\0'), '\xB5'), 20, 2), 10u - 8);

  const ProbedFile sliced = RecordAndProbe(
      "a.ts", "video::codec=libx264 video::preset=ultrafast video::slices=4", feed, 1);
  const std::string& h264 = sliced.Pictures().packets.at(0).bytes;
  const std::string code("\0\0\1\x65", 4);  // a slice of a key picture
  int slices = 0;
  for (std::size_t at = 0; (at = h264.find(code, at)) != std::string::npos; ++at) ++slices;
  EXPECT_EQ(slices, 4);
}

// Kept for lists that have them: they change nothing and are no unknown options either.
TEST_F(AttributeEffects, KeptNamesDoNothing) {
  const auto recorded = [&](const std::string& more) {
    host::Writer writer;
    const Feed feed{.width = kWidth, .height = kHeight};
    EXPECT_EQ(Record(writer, folder_ / "a.avi", "video::codec=mpeg4" + more, feed, 3), S_OK);
    EXPECT_EQ(writer.Get("quality::unused_options"), "");
    return folder_.Read("a.avi");
  };
  EXPECT_TRUE(recorded("") == recorded(" mpeg.timecode=1 protocol=udp video::video_format=PAL"));
}

// What an encoder is told, else what session and process may have. libx264 writes it into its
// stream.
TEST_F(AttributeEffects, ThreadsOfTheEncoder) {
  for (const auto& [environment, attributes, threads] : {std::tuple{"", "threads=1", "1"},
                                                         {"", "threads=5", "5"},
                                                         {"", "video::threads=4", "4"},
                                                         {"", "threads=1 video::threads=4", "4"},
                                                         {"2", "", "2"},
                                                         {"2", "threads=5", "2"},
                                                         {"5", "threads=2", "2"},
                                                         {"2", "video::threads=0", "2"},
                                                         {"2x", "threads=6", "6"}}) {
    const ScopedVariable limit("XVWRITER_THREADS", environment);
    host::Writer writer;
    ASSERT_EQ(Record(writer, folder_ / "a.ts", std::string("video::codec=libx264 ") + attributes,
                     {.width = 320, .height = 480}, 1),
              S_OK);
    EXPECT_EQ(writer.Get("quality::bad_values") + writer.Get("quality::unused_options"), "");
    EXPECT_THAT(folder_.Read("a.ts"), testing::HasSubstr(std::string(" threads=") + threads + ' '))
        << environment << ' ' << attributes;
  }
}

// Few large pictures where the host waits, as many as told elsewhere: 20 MiB hold 5.1 pictures of
// 1080 lines as UYVY, 3.8 as v210, and less than one of 2160 lines in 4:2:2 planes of 10 bits.
TEST_F(AttributeEffects, RoomOfTheQueue) {
  for (const auto& [attributes, width, height, room] :
       {std::tuple{"video::codec=rawvideo", 720, 576, 24},
        {"video::codec=rawvideo", 1920, 1080, 5},
        {"video::codec=v210", 1920, 1080, 3},
        {"video::codec=prores", 3840, 2160, 2},
        {"video::codec=rawvideo video.drop_frames=true", 1920, 1080, 24},
        {"video::codec=rawvideo video.buffers=30", 1920, 1080, 30},
        {"video::codec=rawvideo video.buffers=0", 1920, 1080, 0}}) {
    host::Writer writer;
    ASSERT_EQ(writer.Start(folder_ / "a.mov", attributes), S_OK);
    ASSERT_EQ(writer.Put(MakeFrame({.width = width, .height = height}, 0)), S_OK);
    EXPECT_EQ(writer.Stats().videoBuffers, room) << attributes << width;
    EXPECT_EQ(writer.Stop(), S_OK);
  }
}

}  // namespace
}  // namespace xv::test
