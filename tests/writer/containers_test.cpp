#include <gmock/gmock.h>

#include "support/host_frames.h"
#include "support/media_probe.h"
#include "support/peer_process.h"
#include "support/temporary_folder.h"

// What single containers ask of a recording.
namespace xv::test {
namespace {

// The sound of `sounding` frames of 87.
ProbedFile RecordShortSound(const std::string& target, const std::string& attributes,
                            const std::string& read, int sounding) {
  TemporaryFolder folder;
  host::Writer writer;
  EXPECT_EQ(writer.Start(folder / target, attributes + " second_encoder=" + (folder / "b.mxf")),
            S_OK);
  const Feed silent{.channels = 0};
  EXPECT_EQ(PushFrames(writer, Feed(), std::max(sounding, 1)), S_OK);
  EXPECT_EQ(PushFrames(writer, silent, 87 - std::max(sounding, 1), std::max(sounding, 1)), S_OK);
  EXPECT_EQ(writer.Stop(), S_OK);
  return Probe(folder / read);
}

TEST(Containers, PicturesBehindTheEndOfTheSoundStay) {
  const std::string mpeg = "video::codec=mpeg2video audio::codec=pcm_s16le";
  for (const auto& [target, attributes, read] : {std::tuple{"a.mxf", mpeg, "a.mxf"},
                                                 {"a.dv", std::string(), "a.dv"},
                                                 {"a.mov", mpeg, "b.mxf"}}) {
    for (const int sounding : {84, 1}) {
      const ProbedFile file = RecordShortSound(target, attributes, read, sounding);
      EXPECT_EQ(file.Pictures().frames, 87) << target << ' ' << read << sounding;
      EXPECT_NEAR(file.Sound().seconds, 3.48, 0.02) << target << ' ' << read << sounding;
    }
  }
}

TEST(Containers, FileOfDvIsWhatPlayersKnow) {
  struct Case {
    const char* target;
    std::uint32_t layout;
    int height;
    eXvInterlace order;
    const char* attributes;
    const char* sampling;
    bool topFirst;
  };
  for (const Case& c :
       {Case{"a.dv", kFccUYVY, 576, eXvI_TopFirst, "", "yuv420p", true},
        Case{"a.dv", kFccI420, 576, eXvI_BottomFirst, "", "yuv420p", false},
        Case{"a.dv", kFccUYVY, 480, eXvI_BottomFirst, "", "yuv411p", false},
        Case{"a.dv", kFccUYVY, 576, eXvI_TopFirst, "video::dv_format=dv50", "yuv422p", true},
        Case{"a.mov", kFccUYVY, 480, eXvI_BottomFirst, "video::codec=dvvideo", "yuv422p", false}}) {
    TemporaryFolder folder;
    const Feed feed{.layout = c.layout,
                    .height = c.height,
                    .rate = c.height == 480 ? 30000.0 / 1001 : 25,
                    .interlace = c.order};
    ASSERT_EQ(Record(folder / c.target, c.attributes, feed, 5), S_OK);
    const ProbedFile file = Probe(folder / c.target);
    const ProbedStream& video = file.Pictures();
    EXPECT_EQ(video.pixelFormat, c.sampling) << c.target << c.attributes;
    EXPECT_TRUE(video.interlaced);
    EXPECT_EQ(video.topFirst, c.topFirst) << c.target << c.attributes;
  }
}

// Where a packet has one stamp, readers would show pictures two frames apart: B pictures are for
// those who ask.
TEST(Containers, SoundStandsAtItsPictures) {
  for (const auto& [file, attributes, reorders] : {std::tuple{"a.asf", "", false},
                                                   {"a.avi", "", false},
                                                   {"a.avi", "video::bf=-1", false},
                                                   {"a.ismv", "", false},
                                                   {"a.avi", "video::bf=2", true},
                                                   {"a.mp4", "", true},
                                                   {"a.mkv", "", true},
                                                   {"a.ts", "", true},
                                                   {"a.mp4",
                                                    "second_encoder=/dev/null "
                                                    "second_encoder::format=avi",
                                                    false}}) {
    TemporaryFolder folder;
    const std::string text = std::string(
                                 "video::codec=libx264 video::preset=veryfast "
                                 "video::b_strategy=0 audio::codec=aac ") +
                             attributes;
    ASSERT_EQ(Record(folder / file, text, {.width = 96, .height = 64}, 40), S_OK) << text;
    const ProbedFile probed = Probe(folder / file);
    const ProbedStream& video = probed.Pictures();
    EXPECT_EQ(video.pictureTypes.find('B') != std::string::npos, reorders) << file << attributes;
    if (reorders) continue;
    EXPECT_NEAR(video.start, probed.Sound().start, 0.0215) << file << attributes;
  }
}

TEST(Containers, FirstTrackOfAKindIsTheDefault) {
  TemporaryFolder folder;
  const Feed feed{.width = 96, .height = 64, .channels = 4};
  ASSERT_EQ(
      Record(folder / "a.mkv", "video::codec=mpeg4 audio::codec=mp2 split_channels=2", feed, 10),
      S_OK);
  const auto read = RunProgram({"ffprobe", "-v", "error", "-of", "csv=p=0", "-show_entries",
                                "stream_disposition=default", folder / "a.mkv"});
  EXPECT_EQ(read.out, "1\n1\n0\n");
}

}  // namespace
}  // namespace xv::test
