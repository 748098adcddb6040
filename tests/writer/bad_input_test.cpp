#include <gmock/gmock.h>

#include <cmath>
#include <limits>

#include "support/fixtures.h"
#include "support/media_probe.h"

namespace xv::test {
namespace {

using BadInput = WithWriter;

constexpr char kAttributes[] = "video::codec=mpeg4";

// After whatever went wrong the same object records properly.
void ExpectUsable(host::Writer& writer, const TemporaryFolder& folder) {
  (void)writer.Stop();
  ASSERT_EQ(Record(writer, folder / "good.mp4", kAttributes, Feed(), 3), S_OK);
  EXPECT_EQ(Probe(folder / "good.mp4").Pictures().frames, 3);
}

TEST_F(BadInput, TargetsThatCannotBeWritten) {
  std::filesystem::create_directory(folder_ / "folder.mp4");
  for (const std::string& target :
       {folder_ / "missing/a.mp4", folder_ / "folder.mp4", std::string("/proc/none/a.mp4"),
        std::string("tcp://127.0.0.1:1")}) {
    host::Writer writer;
    ASSERT_EQ(writer.Start(target, "video::codec=mpeg4 format=mpegts"), S_OK);
    EXPECT_EQ(writer.Put(MakeFrame(Feed(), 0)), E_FAIL) << target;
    EXPECT_THAT(writer.LastError(), testing::HasSubstr("output")) << target;
    EXPECT_EQ(writer.Put(MakeFrame(Feed(), 1)), XV_E_NOT_OPEN) << target;
    ExpectUsable(writer, folder_);
  }
}

TEST_F(BadInput, HeadersAndOptionsThatMuxersRefuse) {
  // This protocol carries one track, that container one stream of a number.
  const std::string rtp = "format=rtp video.buffers=0 sdp=" + (folder_ / "a.sdp");
  for (const auto& [target, attributes] :
       {std::pair{std::string("rtp://127.0.0.1:9"), rtp},
        {folder_ / "a.ts", "split_channels=1 audio::streamid=310 audio::streamid.1=310"}}) {
    const std::string codecs = "video::codec=mpeg2video audio::codec=mp2 ";
    EXPECT_TRUE(Failed(Record(writer_, target, codecs + attributes, Feed(), 10))) << target;
    EXPECT_THAT(writer_.LastError(), testing::HasSubstr("header"));
    ExpectUsable(writer_, folder_);
  }
  ASSERT_EQ(Record(writer_, folder_ / "b.mp4", "video::codec=mpeg4 movflags=junk", Feed(), 5),
            S_OK);
  EXPECT_EQ(Probe(folder_ / "b.mp4").Pictures().frames, 5) << "a recording without its options";
  EXPECT_EQ(writer_.Get("quality::unused_options"), "movflags");
}

TEST_F(BadInput, FormatsAndCodecsThatDoNotExist) {
  const auto firstFrame = [&](const char* name, const char* attributes) {
    EXPECT_EQ(writer_.Start(folder_ / name, attributes), S_OK);
    const HRESULT result = writer_.Put(MakeFrame(Feed(), 0));
    EXPECT_EQ(writer_.Stop(), result);
    return result;
  };
  EXPECT_EQ(firstFrame("a.mp4", "format=nonsense"), E_FAIL);
  EXPECT_EQ(firstFrame("a.noextension", ""), E_FAIL);
  EXPECT_EQ(firstFrame("a.mp4", "video::codec=nonsense strict=false"), S_OK);
  EXPECT_EQ(writer_.Get("quality::unused_options"), "video::codec");
  EXPECT_EQ(firstFrame("a.mp4", "video::codec=aac"), E_FAIL);
  EXPECT_EQ(firstFrame("a.mxf", "video::codec=n264"), XV_E_VENDOR_LIBRARY);
  EXPECT_THAT(writer_.LastError(), testing::HasSubstr("libnvidia-encode.so.1"));
  ExpectUsable(writer_, folder_);
}

// What was asked for by name is not replaced by something else, and the failure says the rest.
TEST_F(BadInput, FailuresSpeakInWords) {
  const int level = av_log_get_level();
  const auto words = [&](const std::string& name, const std::string& attributes,
                         HRESULT expected = XV_E_NOT_FOUND) {
    EXPECT_EQ(Record(writer_, folder_ / name, attributes, Feed(), 2), expected) << attributes;
    return writer_.LastError();
  };
  using testing::HasSubstr;
  EXPECT_THAT(words("a.mp4", "video::codec=libx256"), HasSubstr("did you mean libx265?"));
  EXPECT_THAT(words("a.mp4", "video::codec=mpeg4 audio::codec=acc"),
              HasSubstr("did you mean aac?"));
  EXPECT_THAT(words("a.mp4", "video::codec=libx264 video::preset=ultrafst"),
              HasSubstr("libx264 has no preset ultrafst; did you mean ultrafast?"));
  EXPECT_THAT(words("a.mov", "video::codec=dnxhd video::profile=dnxhr_sqq"),
              HasSubstr("did you mean dnxhr_sq?"));
  EXPECT_EQ(words("a.mp4", "video::codec=h264 audio::codec=mp3", S_OK), "") << "names of codecs";
  EXPECT_THAT(words("a.mxf", "video::codec=mpeg2video audio::sample_rate=44100", E_FAIL),
              HasSubstr("only 48khz is implemented"));
  EXPECT_EQ(av_log_get_level(), level);
  EXPECT_FALSE(std::filesystem::exists(folder_ / "a.mov")) << "nothing is begun";
}

TEST_F(BadInput, RatesAndSizesOutOfRange) {
  const auto picture = std::make_shared<std::vector<std::uint8_t>>(FlatPicture(Feed(), 100));
  const double nan = std::numeric_limits<double>::quiet_NaN();
  for (const auto& [width, rate, expected] : {std::tuple{0, 25.0, XV_E_NO_VALID_MEDIA},
                                              {720, 0.0, S_OK},
                                              {720, -1.0, S_OK},
                                              {720, nan, E_INVALIDARG},
                                              {720, 1e9, E_INVALIDARG}}) {
    host::Writer writer;
    ASSERT_EQ(writer.Start(folder_ / "a.mp4", kAttributes), S_OK);
    host::FrameBuilder builder;
    builder.Video(kFccUYVY, width, 576, rate, picture->data(), picture->size(), picture);
    EXPECT_EQ(writer.Put(std::move(builder).Time(host::Ticks(0), host::Ticks(400'000))), expected)
        << rate << " " << width;
    ExpectUsable(writer, folder_);
  }
}

TEST_F(BadInput, TruncatedPicturesAreRefusedAndTheRecordingGoesOn) {
  const Feed feed{.channels = 0};
  ASSERT_EQ(writer_.Start(folder_ / "a.mp4", kAttributes), S_OK);
  ASSERT_EQ(PushFrames(writer_, feed, 3), S_OK);
  for (const std::size_t bytes : {1000, 5, 4, 0}) {
    const auto cut = std::make_shared<std::vector<std::uint8_t>>(bytes, 100);
    // Up to four bytes count as no picture, and there is no sound.
    EXPECT_EQ(writer_.Put(MakeFrame(feed, 3, cut)), bytes > 4 ? E_INVALIDARG : XV_E_NO_VALID_MEDIA)
        << bytes;
  }
  ASSERT_EQ(PushFrames(writer_, feed, 3, 7), S_OK);
  EXPECT_EQ(writer_.Stop(), XV_E_NO_VALID_MEDIA) << "a frame is missing";
  EXPECT_GE(Probe(folder_ / "a.mp4").Pictures().frames, 6);
  EXPECT_EQ(Probe(folder_ / "a.mp4").Pictures().errors, 0);
}

TEST_F(BadInput, FramesWithNothingToTakeOpenNothing) {
  ASSERT_EQ(writer_.Start(folder_ / "a.mp4", kAttributes), S_OK);
  EXPECT_EQ(
      writer_.Put(MakeFrame({.channels = 0}, 0, std::make_shared<std::vector<std::uint8_t>>())),
      XV_E_NO_VALID_MEDIA);
  EXPECT_THAT(writer_.LastError(), testing::HasSubstr("neither a picture nor sound"));
  const auto bytes = std::make_shared<std::vector<std::uint8_t>>(720 * 576 * 2);
  EXPECT_EQ(writer_.Put(MakeFrame({.layout = FourCC("Wxyz")}, 0, bytes)), XV_E_NO_PIXEL_FORMAT);
  EXPECT_THAT(writer_.LastError(), testing::HasSubstr("Wxyz"));
  EXPECT_FALSE(std::filesystem::exists(folder_ / "a.mp4"));
  EXPECT_EQ(PushFrames(writer_, Feed(), 3), S_OK) << "the next good frame opens it";
  EXPECT_EQ(writer_.Stop(), S_OK);
}

TEST_F(BadInput, SoundThatIsNotValidIsLeftOut) {
  Feed feed;
  for (const auto& [channels, rate, words] :
       {std::tuple{33, 48000, "33 channels"}, {2, (1 << 24) + 1, "16777217 Hz"}}) {
    feed.channels = channels;
    feed.sampleRate = rate;
    ASSERT_EQ(Record(writer_, folder_ / "a.mp4", kAttributes, feed, 3), S_OK);
    EXPECT_THAT(writer_.LastError(), testing::HasSubstr(words));
    EXPECT_EQ(Probe(folder_ / "a.mp4").Count(AVMEDIA_TYPE_AUDIO), 0);
  }
  feed.width = 0;
  EXPECT_EQ(Record(folder_ / "a.wav", "", feed, 1), XV_E_NO_VALID_MEDIA);
}

TEST_F(BadInput, FullDiskSpaceLimitClosesTheRecording) {
  ASSERT_EQ(writer_.Start(folder_ / "a.mp4", "video::codec=mpeg4 diskspace.min=900000T"), S_OK);
  EXPECT_EQ(PushFrames(writer_, Feed(), 40), XV_E_DISK_FULL);
  EXPECT_EQ(writer_.Put(MakeFrame(Feed(), 41)), XV_E_NOT_OPEN);
  EXPECT_EQ(writer_.Stop(), XV_E_DISK_FULL);
  EXPECT_GT(Probe(folder_ / "a.mp4").Pictures().frames, 20);
  ExpectUsable(writer_, folder_);
}

}  // namespace
}  // namespace xv::test
