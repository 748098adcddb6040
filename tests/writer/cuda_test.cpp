#include <gmock/gmock.h>

#include <chrono>
#include <thread>

#include "support/recorded_pictures.h"
#include "writer/vendor_faults.h"

// Recordings of the codec "c264", through a stand-in for the vendor's library.
namespace xv::test {
namespace {

using testing::HasSubstr;

constexpr int kPictures = 30;

class CudaTest : public WithVendor {
 protected:
  static std::string With(const std::string& more) {
    return "video::codec=c264 video::b=2M " + more;
  }

  const TemporaryFolder files_;
  Feed feed_{.width = 320, .height = 240};
};

TEST_F(CudaTest, RecordingsPlay) {
  struct Case {
    const char* name;
    const char* stand;
    const char* attributes;
    eXvInterlace interlace;
  };
  for (const Case& one :
       {Case{"a.mp4", "delay=4", "video::bf=3 video::g=9", eXvI_Progressive},
        Case{"b.mov", "delay=0 chunk=99", "video::bf=2 video::profile=High", eXvI_TopFirst},
        Case{"c.ts", "begins=2", "video::rc_type=cqp video::qp_level_p=20", eXvI_BottomFirst},
        Case{"d.flv", "late_ms=4", "video::bf=1 video::level=3.0", eXvI_Progressive}}) {
    SCOPED_TRACE(one.name);
    vendor::Reset();
    vendor::Configure(one.stand);
    feed_.interlace = one.interlace;
    const ProbedFile file = RecordAndProbe(one.name, With(one.attributes), feed_, kPictures);
    const AVFieldOrder order = one.interlace == eXvI_TopFirst      ? AV_FIELD_TT
                               : one.interlace == eXvI_BottomFirst ? AV_FIELD_BB
                                                                   : AV_FIELD_PROGRESSIVE;
    ExpectRecording(file, {"h264", 240, std::string(one.name) != "d.flv", order}, kPictures);
  }
}

TEST_F(CudaTest, SecondOutputGrowingFileAndPresetComeOutOfTheSamePackets) {
  const std::string second = files_ / "second.ts";
  host::Writer writer;
  ASSERT_EQ(Record(writer, files_ / "first.mp4",
                   With("video::preset=\"Zune HD\" video::profile=High play_while_rec=true "
                        "second_encoder=" +
                        second),
                   feed_, kPictures),
            S_OK)
      << writer.LastError();
  EXPECT_THAT(writer.Get("quality::unused_options"), HasSubstr("video::profile"));
  for (const ProbedFile& file : {Probe(files_ / "first.mp4"), Probe(second)}) {
    ExpectPicturesInOrder(file.Pictures(), kPictures);
    EXPECT_EQ(file.Pictures().width, 720);
    EXPECT_EQ(file.Pictures().height, 480);
  }
}

TEST_F(CudaTest, WhatIsChangedOrNotReadIsNamed) {
  host::Writer writer;
  ASSERT_EQ(Record(writer, files_ / "a.mp4",
                   With("video::bf=40 video::g=15 video::maxrate=1M video::qp_level_i=3 "
                        "video::level=1.0b video::crf=20"),
                   feed_, 3),
            S_OK);
  const std::string bad = writer.Get("quality::bad_values");
  EXPECT_THAT(bad, HasSubstr("bf=40 (1 to g - 1: 14 is used)"));
  EXPECT_THAT(bad, HasSubstr("maxrate=1M (below b: 4000000 is used)"));
  EXPECT_THAT(bad, HasSubstr("level=1.0b"));
  const std::string unused = writer.Get("quality::unused_options");
  EXPECT_THAT(unused, HasSubstr("qp_level_i"));
  EXPECT_THAT(unused, HasSubstr("crf"));
}

TEST_F(CudaTest, FailuresReachTheHostAndLeaveAPlayableFile) {
  ExpectRefusal("fail=NVCreateHWEncoder:1+:-2147024882", "NVCreateHWEncoder", With(""));
  ExpectRefusal("fail=NVSetParamValue:7+:-2147024809", "NVSetParamValue", With(""));
  ExpectRefusal("devices=0", "adapter", With(""));
  for (const VendorFault& one :
       {VendorFault{"fail=NVEncodeFrame:12:-2147467259", E_FAIL, "NVEncodeFrame", 11},
        VendorFault{"lose=NVEncodeFrame:12", E_FAIL, "NVEncodeFrame", 6},
        VendorFault{"stuck=9", E_FAIL, "held back", 8}}) {
    SCOPED_TRACE(one.words);
    vendor::Reset();
    ExpectKept(one, With("video::bf=2 video.buffers=0"));
  }
}

TEST_F(CudaTest, StopAtOnceGivesUpWhatTheVendorHolds) {
  vendor::Configure("stuck=5");
  host::Writer writer;
  ASSERT_EQ(writer.Start(files_ / "a.mp4", With("video::bf=1")), S_OK);
  ASSERT_EQ(PushFrames(writer, feed_, kPictures), S_OK);
  while (vendor::CallCount("NVEncodeFrame") < kPictures) std::this_thread::yield();
  const auto before = std::chrono::steady_clock::now();
  EXPECT_EQ(writer.StopAtOnce(), XV_E_ABORTED);
  EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(2));
  const ProbedFile file = Probe(files_ / "a.mp4");
  EXPECT_EQ(file.Pictures().errors, 0);
  EXPECT_THAT(file.Pictures().frames, testing::AllOf(testing::Ge(1), testing::Le(4)));
}

TEST_F(CudaTest, WithoutTheLibraryTheRefusalSaysSo) {
  const ScopedVariable nowhere("XVWRITER_VENDOR_FOLDER", files_.Path());
  host::Writer writer;
  EXPECT_EQ(Record(writer, files_ / "a.mp4", With(""), feed_, 3), XV_E_VENDOR_LIBRARY);
  EXPECT_THAT(writer.LastError(), HasSubstr("libcuvidenc.so"));
}

}  // namespace
}  // namespace xv::test
