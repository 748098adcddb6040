#include <gmock/gmock.h>
#include <gst/video/video.h>

#include <cstring>

#include "gst/pipeline.h"
#include "support/fixtures.h"
#include "support/media_probe.h"
#include "support/peer_process.h"

namespace xv::test {
namespace {

using XvwriterSink = WithFolder;

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr GstClockTime kFrame = GST_SECOND / 25;
const std::string kPictures =
    "video/x-raw,format=I420,width=64,height=48,framerate=25/1,interlace-mode=progressive";
const std::string kSound = "audio/x-raw,format=S16LE,rate=48000,layout=interleaved,channels=";
const std::string kLossless = " attributes=\"video::codec=ffv1 audio::codec=pcm_s16le\" ";

std::string To(const std::string& path) { return "location=" + path + kLossless; }

int Luma(int n) { return 40 + 5 * (n % 32); }

GstFlowReturn PushPicture(GstHarness* feed, int number, int luma) {
  return gst_harness_push(feed, GreyPicture(64, 48, luma, static_cast<guint64>(number) * kFrame));
}

GstFlowReturn PushSound(GstHarness* feed, int number, int channels, int value) {
  return gst_harness_push(feed,
                          FlatSound(channels, 1920, value, static_cast<guint64>(number) * kFrame));
}

// Pictures [first, last) with their sound.
void PushBoth(GstHarness* video, GstHarness* sound, int first, int last) {
  for (int n = first; n < last; ++n) {
    ASSERT_EQ(PushPicture(video, n, Luma(n)), GST_FLOW_OK) << n;
    if (sound != nullptr) {
      ASSERT_EQ(PushSound(sound, n, 2, 1000), GST_FLOW_OK) << n;
    }
  }
}

std::vector<std::uint8_t> Ramp(int first, int last) {
  std::vector<std::uint8_t> levels;
  for (int n = first; n < last; ++n) levels.push_back(static_cast<std::uint8_t>(Luma(n)));
  return levels;
}

void StartSegment(GstHarness* feed, GstClockTime start = 0) {
  GstSegment segment;
  gst_segment_init(&segment, GST_FORMAT_TIME);
  segment.start = start;
  gst_harness_push_event(feed, gst_event_new_segment(&segment));
}

TEST_F(XvwriterSink, RecordsBothAndTellsStatisticsAndTheEnd) {
  SinkBench bench(To(folder_ / "a.mkv"));
  GstHarness* video = bench.Feed("video", kPictures);
  GstHarness* sound = bench.Feed("audio_0", kSound + "2");
  PushBoth(video, sound, 0, 20);
  gint64 position = 0;
  EXPECT_TRUE(gst_element_query_position(bench.Element(), GST_FORMAT_TIME, &position));
  EXPECT_GT(position, 0);
  const BusWords words = bench.Finish();
  EXPECT_TRUE(words.ended) << words.error;
  EXPECT_THAT(words.warnings, IsEmpty());
  ASSERT_FALSE(words.statistics.empty());
  EXPECT_THAT(words.statistics.back(), HasSubstr("final=(boolean)true, frames-in=(gint64)20"));
  EXPECT_EQ(gst_harness_push(video, GreyPicture(64, 48, 0, 20 * kFrame)), GST_FLOW_EOS);
  const ProbedFile file = Probe(folder_ / "a.mkv");
  EXPECT_EQ(file.Pictures().lumaMeans, Ramp(0, 20));
  EXPECT_EQ(file.Sound().samples, 20 * 1920);
}

// A lost picture, a gap that is told, a picture that stands long, a late first stamp: each picture
// is seen at its time.
TEST_F(XvwriterSink, RunningTimeBecomesFrameTime) {
  for (const bool withSound : {false, true}) {
    SinkBench bench(To(folder_ / "a.mkv"));
    GstHarness* video = bench.Feed("video", kPictures);
    GstHarness* sound = withSound ? bench.Feed("audio_0", kSound + "2") : nullptr;
    // Running time is half a second behind the stamps.
    StartSegment(video, 12 * kFrame);
    if (withSound) StartSegment(sound, 12 * kFrame);
    for (int n = 0; withSound && n < 35; ++n) {
      ASSERT_EQ(PushSound(sound, n, 2, 1000), GST_FLOW_OK);
    }
    for (const int n : {10, 11, 12, 13, 15, 16}) {  // two are outside of the segment
      ASSERT_EQ(PushPicture(video, n, Luma(n)), GST_FLOW_OK);
    }
    gst_harness_push_event(video, gst_event_new_gap(17 * kFrame, 5 * kFrame));
    ASSERT_EQ(PushPicture(video, 22, Luma(22)), GST_FLOW_OK);
    ASSERT_EQ(PushPicture(video, 34, Luma(34)), GST_FLOW_OK);
    EXPECT_TRUE(bench.Finish().ended);
    std::vector<int> shown = {12, 13, 13, 15, 16, 16, 16, 16, 16, 16};
    shown.insert(shown.end(), 12, 22);
    shown.push_back(34);
    std::vector<std::uint8_t> expected;
    for (const int n : shown) expected.push_back(static_cast<std::uint8_t>(Luma(n)));
    const ProbedFile file = Probe(folder_ / "a.mkv");
    EXPECT_EQ(file.Pictures().lumaMeans, expected) << withSound;
    if (withSound) {
      EXPECT_EQ(file.Sound().samples, 23 * 1920);
    }
  }
}

// Sound that starts late, sound with a hole, sound ahead of the first picture.
TEST_F(XvwriterSink, EachPadIsATrackAndItsHolesAreSilence) {
  SinkBench bench(To(folder_ / "a.mkv"));
  GstHarness* video = bench.Feed("video", kPictures);
  GstHarness* first = bench.Feed("audio_0", kSound + "2");
  GstHarness* second = bench.Feed("audio_1", kSound + "1");
  gst_harness_push_event(second, gst_event_new_gap(0, 10 * kFrame));
  for (int n = 0; n < 20; ++n) {
    if (n >= 2) {
      ASSERT_EQ(PushPicture(video, n, Luma(n)), GST_FLOW_OK);
    }
    if (n != 12) {
      ASSERT_EQ(PushSound(first, n, 2, 100 + n), GST_FLOW_OK);
    }
    if (n >= 10) {
      ASSERT_EQ(PushSound(second, n, 1, 1000 + n), GST_FLOW_OK);
    }
  }
  EXPECT_TRUE(bench.Finish().ended);
  const ProbedFile file = Probe(folder_ / "a.mkv");
  EXPECT_EQ(file.Pictures().lumaMeans, Ramp(2, 20));
  ASSERT_EQ(file.Count(AVMEDIA_TYPE_AUDIO), 2);
  const std::vector<int> right = file.Sound(0).SamplesOf(1);
  const std::vector<int> mono = file.Sound(1).SamplesOf(0);
  ASSERT_EQ(right.size(), 18u * 1920);
  ASSERT_EQ(mono.size(), 18u * 1920);
  for (int n = 2; n < 20; ++n) {
    const auto middle = static_cast<std::size_t>((n - 2) * 1920 + 960);
    EXPECT_EQ(right[middle], n == 12 ? 0 : 100 + n);
    EXPECT_EQ(mono[middle], n < 10 ? 0 : 1000 + n);
  }
}

TEST_F(XvwriterSink, SoundAloneAndItsPadsGoTogether) {
  SinkBench bench(To(folder_ / "a.mkv"));
  GstHarness* sound = bench.Feed("audio_%u", kSound + "30,channel-mask=(bitmask)0");
  GstHarness* other = gst_harness_new_with_element(bench.Element(), "audio_%u", nullptr);
  GstPad* pad = gst_element_get_static_pad(bench.Element(), "audio_1");
  const GstPtr<GstCaps> caps(gst_pad_query_caps(pad, nullptr));
  const GstPtr<GstCaps> expected(gst_caps_from_string(
      "audio/x-raw,format=S16LE,rate=48000,layout=interleaved,channels=[1,2]"));
  EXPECT_TRUE(gst_caps_is_equal(caps.get(), expected.get()));
  gst_object_unref(pad);
  gst_harness_teardown(other);
  for (int n = 0; n < 10; ++n) {
    ASSERT_EQ(PushSound(sound, n, 30, n), GST_FLOW_OK);
  }
  EXPECT_TRUE(bench.Finish().ended);
  const ProbedFile file = Probe(folder_ / "a.mkv");
  EXPECT_EQ(file.Count(AVMEDIA_TYPE_VIDEO), 0);
  EXPECT_EQ(file.Sound().channels, 30);
  EXPECT_EQ(file.Sound().samples, 10 * 1920);
}

// Captions in the four forms that buffers have them in, and the time code of the first picture.
TEST_F(XvwriterSink, MetasBecomeFrameItems) {
  const std::vector<guint8> constructs = {0xFC, 0x94, 0x2C, 0xFD, 0x80, 0x80};
  struct Form {
    GstVideoCaptionType type;
    std::vector<guint8> bytes;
    std::string expected;
  };
  const std::string pair = "\xFC\x94\x2C";
  const std::string both = pair + "\xFD\x80\x80";
  const Form forms[] = {
      {GST_VIDEO_CAPTION_TYPE_CEA608_RAW, {0x94, 0x2C}, pair},
      {GST_VIDEO_CAPTION_TYPE_CEA608_S334_1A, {0x80, 0x94, 0x2C, 0x00, 0x80, 0x80}, both},
      {GST_VIDEO_CAPTION_TYPE_CEA708_RAW, constructs, both},
      {GST_VIDEO_CAPTION_TYPE_CEA708_CDP,
       {0x96, 0x69, 0x13, 0x3F, 0x43, 0x00, 0x00, 0x72, 0xE2, 0xFC, 0x94, 0x2C, 0xFD, 0x80, 0x80,
        0x74, 0x00, 0x00, 0xEB},
       both},
  };
  for (const Form& form : forms) {
    SinkBench bench("location=" + (folder_ / "a.mov") +
                    " attributes=\"video::codec=libx264 video::preset=ultrafast\"");
    GstHarness* video = bench.Feed("video", kPictures);
    for (int n = 0; n < 8; ++n) {
      GstBuffer* buffer = GreyPicture(64, 48, 100, static_cast<guint64>(n) * kFrame);
      gst_buffer_add_video_caption_meta(buffer, form.type, form.bytes.data(), form.bytes.size());
      gst_buffer_add_video_time_code_meta_full(buffer, 25, 1, nullptr,
                                               GST_VIDEO_TIME_CODE_FLAGS_NONE, 10, 11, 12,
                                               static_cast<guint>(n + 13), 0);
      ASSERT_EQ(gst_harness_push(video, buffer), GST_FLOW_OK);
    }
    const BusWords words = bench.Finish();
    ASSERT_FALSE(words.statistics.empty());
    EXPECT_THAT(words.statistics.back(), HasSubstr("captions-embedded=(gint64)8"));
    const ProbedFile file = Probe(folder_ / "a.mov");
    EXPECT_EQ(file.timecode, "10:11:12:13");
    ASSERT_EQ(file.Pictures().captions.size(), 8u);
    EXPECT_EQ(file.Pictures().captions[3].constructs, form.expected);
  }
}

// The picture's memory is the writer's for as long as it needs it; one that lies otherwise is
// copied, and the buffer is free at once.
TEST_F(XvwriterSink, PicturesAreLentWhereTheyLieAsWanted) {
  for (const int width : {64, 66}) {
    SinkBench bench(To(folder_ / "a.mkv"));
    GstVideoInfo info;
    gst_video_info_set_format(&info, GST_VIDEO_FORMAT_I420, static_cast<guint>(width), 48);
    GstHarness* video =
        bench.Feed("video", "video/x-raw,format=I420,width=" + std::to_string(width) +
                                ",height=48,framerate=25/1,interlace-mode=progressive");
    GstBuffer* buffer = gst_buffer_new_allocate(nullptr, info.size, nullptr);
    gst_buffer_memset(buffer, 0, 99, info.size);
    GST_BUFFER_PTS(buffer) = 0;
    gst_buffer_ref(buffer);
    ASSERT_EQ(gst_harness_push(video, buffer), GST_FLOW_OK);
    EXPECT_EQ(GST_MINI_OBJECT_REFCOUNT_VALUE(buffer) > 1, width == 64);
    EXPECT_TRUE(bench.Finish().ended);
    EXPECT_EQ(GST_MINI_OBJECT_REFCOUNT_VALUE(buffer), 1);
    gst_buffer_unref(buffer);
    EXPECT_THAT(Probe(folder_ / "a.mkv").Pictures().lumaMeans, ElementsAre(99));
  }
}

// Colours of the caps are told, full range becomes video range, r210 the writer's words.
TEST_F(XvwriterSink, PicturesKeepTheirColours) {
  SinkBench full(To(folder_ / "full.mkv"));
  GstHarness* video = full.Feed("video", kPictures + ",colorimetry=1:3:5:1");
  for (const int luma : {0, 128, 255}) ASSERT_EQ(PushPicture(video, luma / 100, luma), GST_FLOW_OK);
  EXPECT_TRUE(full.Finish().ended);
  const ProbedStream narrow = Probe(folder_ / "full.mkv").Pictures();
  EXPECT_THAT(narrow.lumaMeans, ElementsAre(16, 126, 235));
  EXPECT_EQ(narrow.first.at(1).At(5, 5), 128);
  EXPECT_THAT(narrow.tags, testing::StartsWith("bt709/bt709/bt709"));

  std::vector<ProbedStream> recorded;
  for (const std::string format : {"BGRx", "r210"}) {
    const std::string path = folder_ / (format + ".mov");
    EXPECT_TRUE(
        RunPipeline("videotestsrc num-buffers=2 ! video/x-raw,width=322,height=242,format=" +
                    format + " ! xvwritersink attributes=video::codec=png location=" + path)
            .ended);
    recorded.push_back(Probe(path).Pictures());
  }
  for (std::size_t component = 0; component < 3; ++component) {
    for (int x = 0; x < 322; ++x) {
      EXPECT_NEAR(recorded[0].first.at(component).At(x, 200),
                  recorded[1].first.at(component).At(x, 200), 1);
    }
  }
}

// Codes of the first group as the file has them.
TEST_F(XvwriterSink, TenBitsOfFullRangeBecomeVideoRange) {
  const std::string path = folder_ / "a.mov";
  SinkBench bench("location=" + path + " attributes=video::codec=v210");
  GstHarness* video = bench.Feed("video",
                                 "video/x-raw,format=v210,width=48,height=2,framerate=25/1,"
                                 "colorimetry=1:3:5:1");
  GstBuffer* picture = Stamped(256, 0, kFrame);
  // U Y V, Y U Y: darkest and brightest codes, and those of grey.
  const guint32 words[2] = {1023U | 0U << 10 | 0U << 20, 1023U | 512U << 10 | 512U << 20};
  for (gsize at = 0; at < 256; at += 8) gst_buffer_fill(picture, at, words, 8);
  EXPECT_EQ(gst_harness_push(video, picture), GST_FLOW_OK);
  EXPECT_TRUE(bench.Finish().ended);
  guint32 written[2];
  std::memcpy(written, Probe(path).Pictures().packets.at(0).bytes.data(), 8);
  EXPECT_EQ(written[0], 960U | 64U << 10 | 64U << 20);
  EXPECT_EQ(written[1], 940U | 512U << 10 | 502U << 20);
}

// Of the file by the program and by events, of the tracks by events; those that come late are not.
TEST_F(XvwriterSink, TagsBecomeMetadata) {
  const std::string path = folder_ / "a.mkv";
  SinkBench bench(To(path));
  gst_tag_setter_add_tags(GST_TAG_SETTER(bench.Element()), GST_TAG_MERGE_REPLACE, GST_TAG_TITLE,
                          "It's \"on\"", GST_TAG_TRACK_NUMBER, 7U, nullptr);
  GstHarness* video = bench.Feed("video", kPictures);
  GstHarness* sound[] = {bench.Feed("audio_0", kSound + "2"), bench.Feed("audio_1", kSound + "2")};
  const auto tell = [](GstHarness* pad, GstTagScope scope, const char* tag, const char* text) {
    GstTagList* tags = gst_tag_list_new(tag, text, nullptr);
    gst_tag_list_set_scope(tags, scope);
    gst_harness_push_event(pad, gst_event_new_tag(tags));
  };
  tell(video, GST_TAG_SCOPE_GLOBAL, GST_TAG_ARTIST, "somebody");
  tell(sound[0], GST_TAG_SCOPE_STREAM, GST_TAG_LANGUAGE_CODE, "de");
  tell(sound[0], GST_TAG_SCOPE_STREAM, GST_TAG_TITLE, "stage");
  tell(sound[1], GST_TAG_SCOPE_STREAM, GST_TAG_TITLE, "hall");
  for (int i = 0; i < 3; ++i) {
    for (GstHarness* pad : sound) EXPECT_EQ(PushSound(pad, i, 2, 5), GST_FLOW_OK);
    EXPECT_EQ(PushPicture(video, i, 99), GST_FLOW_OK);
  }
  tell(video, GST_TAG_SCOPE_GLOBAL, GST_TAG_ALBUM, "late");
  const BusWords words = bench.Finish();
  EXPECT_TRUE(words.ended);
  EXPECT_THAT(words.warnings, ElementsAre(HasSubstr("behind the first frame")));
  const std::string told =
      RunProgram({"ffprobe", "-v", "error", "-show_entries", "format_tags:stream_tags", path}).out;
  for (const char* line : {"TAG:title=It's \u201Don\u201D", "TAG:track=7", "TAG:ARTIST=somebody",
                           "TAG:language=ger", "TAG:title=stage", "TAG:title=hall"}) {
    EXPECT_THAT(told, HasSubstr(line));
  }
  EXPECT_THAT(told, testing::Not(HasSubstr("late")));
  EXPECT_EQ(told.find("TAG:language=ger"), told.rfind("TAG:language=ger"));
}

// By the caps, and picture by picture by the flags of the buffers.
TEST_F(XvwriterSink, FieldsKeepTheirOrder) {
  const char* top = "interleaved,field-order=top-field-first";
  const char* bottom = "interleaved,field-order=bottom-field-first";
  const int flags = GST_VIDEO_BUFFER_FLAG_INTERLACED | GST_VIDEO_BUFFER_FLAG_TFF;
  const std::tuple<std::string, int, bool, bool> cases[] = {
      {top, 0, true, true},       {bottom, flags, true, false},     {"mixed", flags, true, true},
      {"mixed", 0, false, false}, {"progressive", 0, false, false},
  };
  for (const auto& [mode, bufferFlags, interlaced, topFirst] : cases) {
    SinkBench bench("location=" + (folder_ / "a.mpg") + " attributes=video::codec=mpeg2video");
    GstHarness* video = bench.Feed(
        "video",
        "video/x-raw,format=I420,width=64,height=48,framerate=25/1,interlace-mode=" + mode);
    for (int n = 0; n < 5; ++n) {
      GstBuffer* buffer = GreyPicture(64, 48, Luma(n), static_cast<guint64>(n) * kFrame);
      GST_BUFFER_FLAG_SET(buffer, bufferFlags);
      ASSERT_EQ(gst_harness_push(video, buffer), GST_FLOW_OK);
    }
    EXPECT_TRUE(bench.Finish().ended);
    const ProbedStream pictures = Probe(folder_ / "a.mpg").Pictures();
    EXPECT_EQ(pictures.interlaced, interlaced) << mode << bufferFlags;
    if (interlaced) {
      EXPECT_EQ(pictures.topFirst, topFirst) << mode << bufferFlags;
    }
  }
}

// A pad that waits gives its thread back when it is released, in PAUSED too.
TEST_F(XvwriterSink, AWaitingPadCanBeReleased) {
  const GstPtr<GstElement> pipeline(gst_parse_launch(
      ("videotestsrc name=v ! xvwritersink name=s " + To(folder_ / "a.mkv")).c_str(), nullptr));
  gst_element_set_state(pipeline.get(), GST_STATE_PAUSED);
  (void)gst_element_get_state(pipeline.get(), nullptr, nullptr, 10 * GST_SECOND);
  GstElement* sink = gst_bin_get_by_name(GST_BIN(pipeline.get()), "s");
  GstPad* pad = gst_element_get_static_pad(sink, "video");
  gst_element_release_request_pad(sink, pad);  // would hang
  EXPECT_EQ(gst_element_get_static_pad(sink, "video"), nullptr);
  gst_object_unref(pad);
  gst_object_unref(sink);
}

TEST_F(XvwriterSink, AReleasedPadSettlesNoFormat) {
  SinkBench bench(To(folder_ / "a.mkv"));
  bench.Feed("audio_0", kSound + "2");
  GstPad* first = gst_element_get_static_pad(bench.Element(), "audio_0");
  gst_element_release_request_pad(bench.Element(), first);
  gst_object_unref(first);
  bench.Feed("audio_1", "audio/x-raw,format=S16LE,layout=interleaved,rate=44100,channels=1");
  GstPad* second = gst_element_get_static_pad(bench.Element(), "audio_1");
  EXPECT_TRUE(gst_pad_has_current_caps(second));
  gst_object_unref(second);
}

TEST_F(XvwriterSink, PicturesMayChangeTheirCapsAndSoundMayNot) {
  SinkBench bench(To(folder_ / "a.mkv"));
  GstHarness* video = bench.Feed("video", kPictures);
  GstHarness* sound = bench.Feed("audio_0", kSound + "2");
  PushBoth(video, sound, 0, 5);
  gst_harness_set_src_caps_str(
      video,
      "video/x-raw,format=I420,width=128,height=96,framerate=25/1,interlace-mode=progressive");
  for (int n = 5; n < 10; ++n) {
    const auto time = static_cast<guint64>(n) * kFrame;
    ASSERT_EQ(gst_harness_push(video, GreyPicture(128, 96, Luma(n), time)), GST_FLOW_OK);
    ASSERT_EQ(PushSound(sound, n, 2, 1), GST_FLOW_OK);
  }
  GstPad* pad = gst_element_get_static_pad(bench.Element(), "audio_0");
  const GstPtr<GstCaps> other(gst_caps_from_string((kSound + "1").c_str()));
  EXPECT_FALSE(gst_pad_send_event(pad, gst_event_new_caps(other.get())));
  gst_object_unref(pad);
  EXPECT_THAT(bench.Words(5).error, HasSubstr("Sound must have one rate"));
  gst_element_set_state(bench.Element(), GST_STATE_NULL);  // the file is closed
  const ProbedFile file = Probe(folder_ / "a.mkv");
  EXPECT_EQ(file.Pictures().width, 64);
  EXPECT_EQ(file.Pictures().lumaMeans, Ramp(0, 10));
}

// What came ahead of the flush stays, and what comes behind it follows at once.
TEST_F(XvwriterSink, AFlushingSeekGoesOnWithTheRecording) {
  SinkBench bench(To(folder_ / "a.mkv"));
  GstHarness* video = bench.Feed("video", kPictures);
  GstHarness* sound = bench.Feed("audio_0", kSound + "2");
  PushBoth(video, sound, 0, 10);
  for (GstHarness* feed : {video, sound}) {
    gst_harness_push_event(feed, gst_event_new_flush_start());
  }
  for (GstHarness* feed : {video, sound}) {
    gst_harness_push_event(feed, gst_event_new_flush_stop(TRUE));
    StartSegment(feed);
  }
  PushBoth(video, sound, 0, 5);
  EXPECT_TRUE(bench.Finish().ended);
  std::vector<std::uint8_t> expected = Ramp(0, 10);
  for (const std::uint8_t level : Ramp(0, 5)) expected.push_back(level);
  EXPECT_EQ(Probe(folder_ / "a.mkv").Pictures().lumaMeans, expected);
}

TEST_F(XvwriterSink, StatesRestartWithAnotherLocation) {
  SinkBench bench(To(folder_ / "first.mkv"));
  GstHarness* video = bench.Feed("video", kPictures);
  PushBoth(video, nullptr, 0, 5);
  gst_element_set_state(bench.Element(), GST_STATE_READY);  // without EOS
  EXPECT_EQ(Probe(folder_ / "first.mkv").Pictures().lumaMeans, Ramp(0, 5));

  g_object_set(bench.Element(), "location", (folder_ / "second.mkv").c_str(), nullptr);
  gst_element_set_state(bench.Element(), GST_STATE_PLAYING);
  gst_harness_push_event(video, gst_event_new_stream_start("again"));
  gst_harness_set_src_caps_str(video, kPictures.c_str());
  StartSegment(video);
  PushBoth(video, nullptr, 3, 9);
  EXPECT_TRUE(bench.Finish().ended);
  EXPECT_EQ(Probe(folder_ / "second.mkv").Pictures().lumaMeans, Ramp(3, 9));
  EXPECT_EQ(Probe(folder_ / "first.mkv").Pictures().lumaMeans, Ramp(0, 5));
}

// Data of a pipeline that never plays is not recorded, and an older file stays.
TEST_F(XvwriterSink, PausedWritesNothing) {
  const std::string path = folder_.Write("a.mkv", "old");
  const GstPtr<GstElement> pipeline(
      gst_parse_launch(("videotestsrc ! xvwritersink " + To(path)).c_str(), nullptr));
  gst_element_set_state(pipeline.get(), GST_STATE_PAUSED);
  EXPECT_EQ(gst_element_get_state(pipeline.get(), nullptr, nullptr, 10 * GST_SECOND),
            GST_STATE_CHANGE_SUCCESS);
  gst_element_set_state(pipeline.get(), GST_STATE_NULL);
  EXPECT_EQ(folder_.Read("a.mkv"), "old");
}

TEST_F(XvwriterSink, FailuresSayWhatAndWhy) {
  SinkBench nowhere("");
  EXPECT_EQ(gst_element_set_state(nowhere.Element(), GST_STATE_PAUSED), GST_STATE_CHANGE_FAILURE);
  EXPECT_THAT(nowhere.Words().error, HasSubstr("no location"));

  SinkBench lost(To(folder_ / "missing/\"x\"/a.mkv"));
  GstHarness* video = lost.Feed("video", kPictures);
  (void)PushPicture(video, 0, 1);
  EXPECT_EQ(PushPicture(video, 1, 1), GST_FLOW_ERROR);
  const BusWords words = lost.Words(5);
  EXPECT_GE(words.status, 0x80000000U);
  EXPECT_THAT(words.error, HasSubstr("a.mkv"));

  SinkBench odd(To(folder_ / "a.mkv"));
  GstPadTemplate* one =
      gst_element_class_get_pad_template(GST_ELEMENT_GET_CLASS(odd.Element()), "video");
  GstPad* pad = gst_element_request_pad(odd.Element(), one, nullptr, nullptr);
  EXPECT_EQ(gst_element_request_pad(odd.Element(), one, nullptr, nullptr), nullptr);
  gst_element_set_state(odd.Element(), GST_STATE_PLAYING);
  gst_pad_send_event(pad, gst_event_new_stream_start("s"));
  const GstPtr<GstCaps> sizeless(gst_caps_from_string("video/x-raw,format=v210,framerate=25/1"));
  EXPECT_FALSE(gst_pad_send_event(pad, gst_event_new_caps(sizeless.get())));
  EXPECT_THAT(odd.Words(5).error, HasSubstr("no pictures of this kind"));
  GstSegment segment;
  gst_segment_init(&segment, GST_FORMAT_TIME);
  segment.rate = -1;
  EXPECT_FALSE(gst_pad_send_event(pad, gst_event_new_segment(&segment)));
  EXPECT_THAT(odd.Words(5).error, HasSubstr("normal speed"));
  gst_object_unref(pad);

  const BusWords unknown = RunPipeline("videotestsrc num-buffers=3 ! xvwritersink format=nothing " +
                                       To(folder_ / "b.mkv"));
  EXPECT_EQ(unknown.status, static_cast<guint>(XV_E_NOT_FOUND));
  const BusWords unused = RunPipeline(
      "videotestsrc num-buffers=3 ! xvwritersink video-crf=20 location=" + (folder_ / "b.mkv") +
      " attributes=\"video::codec=mpeg4 vidoe::b=1M\"");
  EXPECT_TRUE(unused.ended);
  EXPECT_THAT(unused.warnings, testing::Contains(HasSubstr("vidoe::b")));
  EXPECT_THAT(unused.warnings, testing::Contains(HasSubstr("video::crf")));
}

// A live source without data does not hold the others up.
TEST_F(XvwriterSink, LiveSourcesAreNotWaitedForForEver) {
  const BusWords words = RunPipeline(
      "videotestsrc is-live=true num-buffers=60 ! video/x-raw,width=64,height=48,framerate=30/1 ! "
      "s.video audiotestsrc is-live=true num-buffers=10 ! audio/x-raw,channels=2 ! valve "
      "drop=true drop-mode=forward-sticky-events ! s.audio_0 xvwritersink name=s "
      "max-wait=100000000 " +
      To(folder_ / "a.mkv"));
  EXPECT_TRUE(words.ended) << words.error;
  EXPECT_EQ(Probe(folder_ / "a.mkv").Pictures().frames, 60);
}

// Pictures that the writer drops are told to the bus.
TEST_F(XvwriterSink, DropsAreToldAsQuality) {
  const BusWords words = RunPipeline(
      "videotestsrc num-buffers=60 pattern=snow ! video/x-raw,width=320,height=240 ! xvwritersink "
      "location=" +
      (folder_ / "a.mkv") +
      " attributes=\"video::codec=libx264 video::preset=slow video.drop_frames=true "
      "video.buffers=1\"");
  EXPECT_TRUE(words.ended) << words.error;
  EXPECT_GT(words.qos, 0);
}

}  // namespace
}  // namespace xv::test
