#include <gmock/gmock.h>

#include "support/media_probe.h"

// Values on which FFmpeg ends the process are refused with words, and the recording is whole.
namespace xv::test {
namespace {

struct Fatal {
  const char* target;
  const char* attributes;
  const char* told;  // of the bad values
};

const Fatal kFatal[] = {
    {"a.mpg", "video::codec=mpeg2video video::lmax=0",
     "video::lmax=0 (refused: lmin=236 is above lmax=0)"},
    {"a.mpg", "video::codec=mpeg2video video::lmin=5000",
     "video::lmin=5000 (refused: lmin=5000 is above lmax=3658)"},
    // Dropped one by one, one of them would be fatal.
    {"a.avi", "video::codec=mpeg4 video::lmin=4000 video::lmax=5000 video::qmin=60",
     "video::qmin=60 (refused: mpeg4: "},
    {"a.avi", "video::codec=mpeg4 video::qcomp=1e30",
     "video::qcomp=1e30 (refused: mpeg4 stands -10 to 10 only)"},
    {"a.avi", "video::codec=mjpeg video::qdiff=-7",
     "video::qdiff=-7 (refused: mjpeg stands 0 to 1024 only)"},
    {"a.flv", "video::codec=flv video::me_range=-32768", "video::me_range=-32768 (refused: flv "},
    {"a.mov", "video::codec=dnxhd video::b=120M video::size=1920x1080P video::trellis=1",
     "video::trellis=1 (refused: dnxhd stands 0 only)"},
    {"a.mov", "video::codec=mpeg4 movflags=rtphint+isml",
     "movflags=rtphint+isml (refused: rtphint and isml exclude each other)"},
    {"a.mpg", "video::codec=mpeg1video video::dc=9", "video::dc=9 (refused: mpeg1video: "},
};

TEST(FatalValues, AreRefusedWithWords) {
  for (const Fatal& fatal : kFatal) {
    SCOPED_TRACE(fatal.attributes);
    const TemporaryFolder folder;
    host::Writer writer;
    const Feed feed{.width = 160, .height = 128, .channels = 0};
    EXPECT_EQ(Record(writer, folder / fatal.target, fatal.attributes, feed, 12), S_OK);
    EXPECT_THAT(writer.Get("quality::bad_values"), testing::StartsWith(fatal.told));
    EXPECT_EQ(Probe(folder / fatal.target).Pictures().frames, 12);
  }
}

}  // namespace
}  // namespace xv::test
