#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cstdlib>

#include "support/host_frames.h"
#include "support/media_probe.h"
#include "support/video_packets.h"

// What single attributes change in the recording.
namespace xv::test {
namespace {

constexpr int kWidth = 176;
constexpr int kHeight = 144;
constexpr int kFrames = 12;

// Luma of the picture's quarters: left and right above, left and right below.
using Quarters = std::array<int, 4>;
constexpr Quarters kPushed = {50, 100, 150, 200};

struct Recording {
  HRESULT status = E_FAIL;
  std::string unused;           // options that nobody took
  double firstTrackPacket = 0;  // bytes of one, on average
  ProbedFile file;
  VideoPackets video;

  // Near the corners, away from the edges between the quarters.
  Quarters LumaOfQuarters() const {
    Quarters quarters{};
    for (int i = 0; i < 4 && !video.luma.empty(); ++i) {
      const int x = i % 2 == 0 ? 8 : video.width - 8;
      const int y = i < 2 ? 8 : video.height - 8;
      quarters[static_cast<std::size_t>(i)] =
          video.luma[static_cast<std::size_t>(y * video.width + x)];
    }
    return quarters;
  }
  std::string Order() const {
    const ProbedStream* stream = file.Video();
    if (stream == nullptr || !stream->interlaced) return stream == nullptr ? "none" : "progressive";
    return stream->topFirst ? "top" : "bottom";
  }
};

host::Ptr<IXvFrame> QuarteredFrame(const Feed& feed, int number) {
  auto picture = std::make_shared<std::vector<std::uint8_t>>(kWidth * kHeight * 2, 128);
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      const int quarter = (y < kHeight / 2 ? 0 : 2) + (x < kWidth / 2 ? 0 : 1);
      (*picture)[static_cast<std::size_t>((y * kWidth + x) * 2 + 1)] =
          static_cast<std::uint8_t>(kPushed[static_cast<std::size_t>(quarter)]);
    }
  }
  auto sound = std::make_shared<std::vector<std::uint8_t>>(
      static_cast<std::size_t>(1920 * 2 * feed.channels), 0);
  host::FrameBuilder builder;
  builder.Video(kFccUYVY, kWidth, kHeight, 25, picture->data(), picture->size(), picture);
  builder.Interlace(feed.interlace);
  if (feed.channels > 0) {
    builder.Audio(feed.channels, 48000, 16, sound->data(), sound->size(), sound);
  }
  return builder.Time(number * 400'000LL, (number + 1) * 400'000LL).Build();
}

class AttributeEffects : public testing::Test {
 protected:
  // Records into a file with that extension; the sound is there where it is asked for.
  Recording Of(const std::string& extension, const std::string& attributes, Feed feed = {}) {
    const std::string path = folder_ / ("a." + extension);
    host::Writer writer;
    Recording out;
    out.status = writer.Start(path, attributes);
    for (int i = 0; i < kFrames && out.status == S_OK; ++i) {
      out.status = writer.Put(QuarteredFrame(feed, i));
    }
    writer.Stop();
    out.unused = writer.Get("quality::unused_options");
    out.firstTrackPacket = std::atof(writer.Get("quality::bytes.0").c_str()) /
                           std::max(1, std::atoi(writer.Get("quality::packets.0").c_str()));
    out.file = Probe(path);
    out.video = ReadVideoPackets(path);
    return out;
  }
  Recording Pictures(const std::string& extension, const std::string& attributes,
                     eXvInterlace order = eXvI_Progressive) {
    return Of(extension, attributes, {.interlace = order, .channels = 0});
  }
  Quarters Raw(const std::string& attributes) {
    return Pictures("avi", "video::codec=rawvideo " + attributes).LumaOfQuarters();
  }

  TemporaryFolder folder_;
};

// Scaled pictures may be a code value off.
auto Near(const Quarters& wanted) {
  return testing::Pointwise(testing::Truly([](const std::tuple<int, int>& pair) {
                              return std::abs(std::get<0>(pair) - std::get<1>(pair)) <= 1;
                            }),
                            wanted);
}

TEST_F(AttributeEffects, EditsMoveTheQuarters) {
  EXPECT_EQ(Raw(""), kPushed);
  EXPECT_EQ(Raw("video::mirror=horz"), (Quarters{100, 50, 200, 150}));
  EXPECT_EQ(Raw("video::mirror=vert"), (Quarters{150, 200, 50, 100}));
  EXPECT_THAT(Raw("video::rotate=right"), Near({150, 50, 200, 100}));
  EXPECT_THAT(Raw("video::rotate=left"), Near({100, 200, 50, 150}));
  EXPECT_EQ(Raw("video::crop='88,0,0,0'"), (Quarters{100, 100, 200, 200}));
}

TEST_F(AttributeEffects, SizeAspectAndFilterOfScaling) {
  const auto scaled = [&](const std::string& more) {
    return Pictures("avi", "video::codec=rawvideo video::video_size=352x288 " + more);
  };
  const Recording plain = scaled("");
  EXPECT_TRUE(plain.video.width == 352 && plain.video.height == 288);
  const auto nearest = scaled("video::scaling_quality=0").video.luma;
  EXPECT_EQ(scaled("scaling_quality=0 video::scaling_quality=2").video.luma, nearest)
      << "the session's wins";
  EXPECT_NE(nearest, plain.video.luma);
  EXPECT_NE(scaled("video::scaling_siting=centred").video.luma, plain.video.luma);
  const std::string tall = "video::size=176x288 video::ar_type=";
  EXPECT_EQ(Raw(tall + "ignore-ar"), kPushed);
  EXPECT_EQ(Raw(tall + "letter-box"), (Quarters{16, 16, 16, 16}));
}

TEST_F(AttributeEffects, FieldOrderAndSampling) {
  const std::string mpeg2 = "video::codec=mpeg2video ";
  EXPECT_EQ(Pictures("mov", mpeg2).Order(), "progressive");
  EXPECT_EQ(Pictures("mov", mpeg2 + "video::top=0").Order(), "bottom");
  EXPECT_EQ(Pictures("mov", mpeg2 + "video::top=1").Order(), "top");
  EXPECT_EQ(Pictures("mov", mpeg2 + "video::interlace=false", eXvI_TopFirst).Order(),
            "progressive");
  EXPECT_EQ(Pictures("mov", mpeg2, eXvI_TopFirst).Order(), "top");
  EXPECT_EQ(Pictures("mov", mpeg2).video.pixelFormat, "yuv420p");
  EXPECT_EQ(Pictures("mov", mpeg2 + "video::V422=true").video.pixelFormat, "yuv422p");
  EXPECT_EQ(Pictures("mov", mpeg2 + "video::use_vpp=true").video.pixelFormat, "yuv422p");
}

// The bits from `first` on of a text of bytes.
unsigned BitsOf(const std::string& bytes, int first, int count) {
  unsigned value = 0;
  for (int i = first; i < first + count; ++i) {
    const auto byte = static_cast<std::uint8_t>(bytes.at(static_cast<std::size_t>(i / 8)));
    value = value << 1 | (byte >> (7 - i % 8) & 1);
  }
  return value;
}

TEST_F(AttributeEffects, CodingOfPictures) {
  const Recording recording =
      Pictures("ts",
               "video::codec=mpeg2video video::bitrate=3M video::gop_size=5 video::dc=10 "
               "video::gop_timecode=01:02:03:04");
  ASSERT_NE(recording.file.Video(), nullptr);
  EXPECT_EQ(recording.file.Video()->gopTimecode, "01:02:03:04");
  const VideoPackets& mpeg2 = recording.video;
  EXPECT_EQ(mpeg2.keys.substr(0, 11), "K----K----K");
  // ISO/IEC 13818-2, 6.2.2: the rate in the sequence header, and the precision in the coding
  // extension, which stands behind the picture's header.
  EXPECT_EQ(BitsOf(mpeg2.BehindStartCode('\xB3'), 32, 18) * 400, 3'000'000u);
  VideoPackets picture;
  picture.packets = {mpeg2.BehindStartCode('\0')};
  EXPECT_EQ(BitsOf(picture.BehindStartCode('\xB5'), 20, 2), 10u - 8);

  const std::string h264 =
      Pictures("ts", "video::codec=libx264 video::preset=ultrafast video::slices=4")
          .video.packets.at(0);
  const std::string code("\0\0\1\x65", 4);  // a slice of a key picture
  int slices = 0;
  for (std::size_t at = 0; (at = h264.find(code, at)) != std::string::npos; ++at) ++slices;
  EXPECT_EQ(slices, 4);
}

TEST_F(AttributeEffects, NumberOverANameThatIsNoEncoderOfFFmpegs) {
  const Recording numbered =
      Pictures("ts", "video::codec=n264 video::codec_id=" + std::to_string(AV_CODEC_ID_MPEG2VIDEO));
  ASSERT_NE(numbered.file.Video(), nullptr) << host::Describe(numbered.status);
  EXPECT_EQ(numbered.file.Video()->codec, "mpeg2video");
}

TEST_F(AttributeEffects, RateOfTheSound) {
  const Recording sound = Of("mkv", "video::enabled=false audio::codec=ac3 audio::bitrate=96k");
  ASSERT_EQ(sound.file.streams.size(), 1u);
  EXPECT_EQ(sound.firstTrackPacket, 96000 / 8 * 1536 / 48000) << "1536 samples in each";
}

TEST_F(AttributeEffects, FilesBesideTheRecording) {
  EXPECT_EQ(Of("mov", "video::codec=mpeg4 audio::wav_path=" + folder_ / "b.wav" +
                          " capture_file=" + folder_ / "c.mkv")
                .status,
            S_OK);
  EXPECT_EQ(Of("mov", "video::codec=mpeg4 audio::wav_path=" + folder_ / "no.wav" +
                          " wav_path=" + folder_ / "d.wav")
                .status,
            S_OK);
  for (const char* name : {"b.wav", "d.wav"}) {
    const ProbedFile wav = Probe(folder_ / name);
    ASSERT_NE(wav.Audio(), nullptr) << name;
    EXPECT_EQ(wav.Audio()->samples, kFrames * 1920) << name;
  }
  EXPECT_FALSE(std::filesystem::exists(folder_ / "no.wav")) << "the session's path wins";
  const ProbedFile second = Probe(folder_ / "c.mkv");
  ASSERT_NE(second.Video(), nullptr);
  EXPECT_EQ(second.Video()->frames, kFrames);

  host::Writer writer;
  ASSERT_EQ(writer.Start(folder_ / "e.mov", "video::codec=mpeg4 anc_capture=true anc_path=" +
                                                folder_ / "f.anc" + " anc_capture.tags=Mine"),
            S_OK);
  const auto frame = QuarteredFrame({.channels = 0}, 0);
  host::AddExtra(frame, "Mine", "bytes", 5);
  ASSERT_EQ(writer.Put(frame), S_OK);
  writer.Stop();
  EXPECT_THAT(folder_.Read("f.anc"), testing::HasSubstr("bytes"));
}

// Kept for lists that have them: they change nothing and are no unknown options either.
TEST_F(AttributeEffects, KeptNamesDoNothing) {
  const Recording plain = Pictures("avi", "video::codec=mpeg4");
  const Recording kept =
      Pictures("avi", "video::codec=mpeg4 mpeg.timecode=1 protocol=udp video::video_format=PAL");
  EXPECT_EQ(kept.status, S_OK);
  EXPECT_EQ(kept.unused, "");
  EXPECT_EQ(kept.video.packets, plain.video.packets);
}

TEST_F(AttributeEffects, ComponentPathIsAskedForByAttribute) {
  EXPECT_EQ(Pictures("avi", "xfcodecs=true").status, E_NOTIMPL);
  host::Writer writer;
  writer.Set("xfcodecs.enabled", "true");
  ASSERT_EQ(writer.Start(folder_ / "a.avi", ""), S_OK);
  EXPECT_EQ(writer.Put(QuarteredFrame({}, 0)), E_NOTIMPL);
}

}  // namespace
}  // namespace xv::test
