#include <gmock/gmock.h>

#include <sstream>

#include "support/fixtures.h"
#include "support/media_probe.h"

// What a session says of names that nobody knows and of values that nobody can read.
namespace xv::test {
namespace {

using BadValues = WithFolder;

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;
using testing::UnorderedElementsAre;

using Lines = std::vector<std::string>;

struct Told {
  Lines unused;
  Lines bad;
};

Lines LinesOf(const std::string& text) {
  Lines lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

Told RecordWith(const std::string& attributes, const char* name = "a.mkv", const Feed& feed = {}) {
  TemporaryFolder folder;
  host::Writer writer;
  EXPECT_EQ(writer.Start(folder / name, attributes), S_OK);
  (void)PushFrames(writer, feed, 3);
  (void)writer.Stop();
  return {LinesOf(writer.Get("quality::unused_options")),
          LinesOf(writer.Get("quality::bad_values"))};
}

TEST_F(BadValues, UnknownNamesAreToldAtEveryLevelWithTheNearestKnownOne) {
  const Told told = RecordWith(
      "video::codec=mpeg4 audio::codec=ac3 split_channels=1 vidoe::b=5M foo::bar=1 "
      "foo::deep::er=1 video::frobnicate=1 video::qmni=2 video.bufers=3 b=2M audio.0::b=1 "
      "audio.1::dialnrm=1 audio.1::b=96k "
      "audio.2::codec=pcm_s16le audio::dialnorm=-20 audio.2::dialnorm=-10 video::x::y=1 "
      "raw_audio.0=a a::::b=1 metadata::any=1 "
      "metadata::any::thing=1 audio::metadata::language=deu video::metadata::title=x "
      "second_encoder=" +
          (folder_ / "b.mp4") + " second_encoder::movflag=faststart second_encoder::ignore_pts=1",
      "a.mkv", {.channels = 3});
  EXPECT_THAT(
      told.unused,
      UnorderedElementsAre(
          "vidoe::b (did you mean video::b?)", "foo::bar", "foo::deep::er", "video::frobnicate",
          "video::qmni (did you mean video::qmin?)", "video.bufers (did you mean video.buffers?)",
          "b (did you mean video::b?)", "audio.0::b (did you mean audio.1::b?)",
          "audio.1::dialnrm (did you mean audio.1::dialnorm?)", "video::x::y",
          StartsWith("audio.2::dialnorm"), "raw_audio.0 (did you mean raw_audio.N?)", "a::::b",
          "metadata::any::thing",
          "second_encoder::movflag (did you mean second_encoder::movflags?)",
          "second_encoder::ignore_pts (did you mean ignore_pts?)"));
  EXPECT_THAT(told.bad, IsEmpty());
}

TEST_F(BadValues, ValuesThatNobodyCanReadAreTold) {
  const Told told = RecordWith(
      "video::codec=mpeg4 video::size=banana video::crop=abc start_timecode=25:61:61:99 "
      "video.buffers=8x video.drop_frames embed_cc.placement=sequense diskspace.min=1.5G "
      "video::ar=16 video::tag=AB video::qmin=lots video::trellis=99999999999 video::b=1.5M "
      "audio::sample_rate=-1 audio.1::offset_msec=soon cluster_time_limit=never "
      "video::metadata=x metadata::title='open");
  // An encoder is opened without what it refuses, a muxer without any option.
  EXPECT_THAT(told.unused,
              UnorderedElementsAre("video::qmin", "video::trellis", "cluster_time_limit"));
  EXPECT_THAT(
      told.bad,
      UnorderedElementsAre(
          "metadata::title=open (the quotation mark is never closed)",
          "video::size=banana (expected a size such as 1280x720, with I, T, B or P)",
          "video::metadata=x (expected a node with values of any name)",
          "video::crop=abc (expected 1 to 4 whole numbers)",
          StartsWith("start_timecode=25:61:61:99 (expected given, auto, disabled, local_time or"),
          "video.buffers=8x (expected 0 and more)", "video.drop_frames= (expected true or false)",
          "embed_cc.placement=sequense (expected sequence, picture; did you mean sequence?)",
          StartsWith("diskspace.min=1.5G (expected 10485760 and more"),
          StartsWith("video::ar=16 (expected"), "video::tag=AB (expected four characters)",
          "video::qmin=lots (refused: Invalid argument)",
          StartsWith("video::trellis=99999999999 ("), StartsWith("audio::sample_rate=-1 ("),
          "audio.1::offset_msec=soon (expected a number)",
          StartsWith("cluster_time_limit=never (refused: ")));
}

TEST_F(BadValues, GoodTextsAreToldNothingOf) {
  const Told told = RecordWith(
      "VIDEO::Codec=mpeg2video video::size=640x360P video::ar=16:9 video::gop_timecode=01:02:03:04 "
      "start_timecode='10:00:00;02' video::interlace=auto video::scaling_quality=bicubic "
      "split_channels=true audio::codec=pcm_s16le audio.1::b=96k audio.7::b=1 io_timeout=0.5 "
      "diskspace.min=20M fflags=+bitexact video.buffers=0 video::dc=10 video::V422=yes");
  EXPECT_THAT(told.unused, IsEmpty());
  EXPECT_THAT(told.bad, IsEmpty());
}

TEST_F(BadValues, SessionsThatCannotOpenTellToo) {
  const Told none = RecordWith("fromat=mp4 format=nonsens video::codec=libx246", "a.nothing");
  EXPECT_THAT(none.unused, ElementsAre("fromat (did you mean format?)"));
  EXPECT_THAT(none.bad, UnorderedElementsAre("format=nonsens (expected a muxer's name, null)",
                                             "video::codec=libx246 (expected an encoder's name)"));
  const Told vendor = RecordWith("video::codec=n264 video::ltrNumFrames=2 video::ltrNumFrame=2");
  EXPECT_THAT(vendor.unused, ElementsAre("video::ltrNumFrame (did you mean "
                                         "video::ltrNumFrames?)"));
  const Told missing = RecordWith("video::crpp=1 movflags=faststart junk=1", "missing/a.mp4");
  EXPECT_THAT(missing.unused,
              UnorderedElementsAre("video::crpp (did you mean video::crop?)", "junk"));
}

TEST_F(BadValues, LongAndManyEntriesAreCut) {
  std::string attributes = "video::codec=mpeg4 video::size='" + std::string(500, 'x') + "\n'";
  for (int i = 0; i < 40; ++i) attributes += " zz" + std::to_string(i) + "::a=1";
  const Told told = RecordWith(attributes);
  ASSERT_EQ(told.bad.size(), 1u);
  EXPECT_THAT(told.bad[0], StartsWith("video::size=" + std::string(60, 'x') + "... (expected"));
  ASSERT_EQ(told.unused.size(), 33u);
  EXPECT_EQ(told.unused.back(), "(8 more)");
}

}  // namespace
}  // namespace xv::test
