#include <gmock/gmock.h>

#include <array>
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

// Each call of a whole recording fails once.
TEST_F(CudaTest, FaultsCostNoMoreThanThePicturesThatTheyMeet) {
  const auto record = [](const std::string& fault) {
    ExpectWhole(fault, With("video::bf=1 video.buffers=0"), 6, [](HRESULT) { return 3; });
  };
  record("");
  ForEachCall(8, [&](const std::string&, const std::string& call) {
    record("fail=" + call + ":-2147024882");
  });
}

// Width, height, pitch, layout, structure, top field first, repeat, progressive, last.
TEST_F(CudaTest, FramesTellTheirFieldsAndPitch) {
  const Feed fields{.width = 64, .height = 46, .interlace = eXvI_TopFirst, .channels = 0};
  ASSERT_EQ(Record(files_ / "a.mp4", With(""), fields, 1), S_OK);
  const auto frames = vendor::Calls("NVEncodeFrame");
  ASSERT_EQ(frames.size(), 2u);
  using Numbers = std::array<std::int32_t, 9>;
  EXPECT_EQ(frames[0].As<Numbers>(), (Numbers{64, 40, 128, 0, 1, 1, 0, 0, 0}));
  EXPECT_EQ(frames[1].As<Numbers>()[8], 1);
}

TEST_F(CudaTest, CallbacksBehindACloseReachNothing) {
  for (const char* kind : {"1", "2"}) {
    vendor::Reset();
    vendor::Configure(std::string("after_close=") + kind);
    for (const int recordings : {1, 2}) {
      ExpectPicturesInOrder(RecordAndProbe("a.mp4", With(""), feed_, 4).Pictures(), 4);
      while (vendor::CallCount("late callbacks") < recordings) std::this_thread::yield();
    }
  }
}

TEST_F(CudaTest, LibrariesAreFoundByTheirNamesOrNamed) {
  for (const auto& [target, name, told] :
       {std::tuple{"", "", "libcuvidenc.so"},
        {"/control/libxvvendorcontrol.so", "libnvcuvenc.so", "NVCreateEncoder"},
        {"/libnvcuvenc.so", "libcuvidenc.so", ""}}) {
    const TemporaryFolder folder;
    if (*name != 0) {
      std::filesystem::create_symlink(std::string(VENDOR_FOLDER) + target, folder / name);
    }
    const ScopedVariable libraries("XVWRITER_VENDOR_FOLDER", folder.Path());
    host::Writer writer;
    EXPECT_EQ(Record(writer, files_ / "a.mp4", With(""), feed_, 3),
              *told == 0 ? S_OK : XV_E_VENDOR_LIBRARY);
    EXPECT_THAT(writer.LastError(), HasSubstr(told));
  }
}

}  // namespace
}  // namespace xv::test
