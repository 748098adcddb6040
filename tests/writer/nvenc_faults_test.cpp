#include "support/media_probe.h"
#include "support/vendor/vendor_fixture.h"

// NVENC's library fails, hangs or loses its card: the host is told, what was encoded can be played,
// nothing is left behind.
namespace xv::test {
namespace {

using testing::HasSubstr;

constexpr Feed kSmall{.width = 192, .height = 128, .channels = 0};

class NvencOpenFaults : public WithVendor, public testing::WithParamInterface<const char*> {};

TEST_P(NvencOpenFaults, RefuseTheFirstFrameInWords) {
  const std::string call = GetParam();
  vendor::Configure("fail=" + call + ":1+:" + (call.rfind("cu", 0) == 0 ? "999" : "20"));
  TemporaryFolder folder;
  host::Writer writer;
  ASSERT_EQ(writer.Start(folder / "a.mp4", "video::codec=n264"), S_OK);
  const HRESULT result = writer.Put(MakeFrame(kSmall, 0));
  EXPECT_TRUE(result == E_FAIL || result == XV_E_VENDOR_LIBRARY) << std::hex << result;
  EXPECT_THAT(writer.LastError(), HasSubstr(call));
  EXPECT_EQ(writer.Stop(), result);
  EXPECT_FALSE(std::filesystem::exists(folder / "a.mp4"));
  EXPECT_GT(vendor::CallCount(call), 0);
  // The same writer works again with the library.
  vendor::Reset();
  EXPECT_EQ(Record(writer, folder / "b.mp4", "video::codec=n264", kSmall, 5), S_OK);
}

INSTANTIATE_TEST_SUITE_P(Calls, NvencOpenFaults,
                         testing::Values("cuInit", "cuDeviceGetCount", "cuDeviceGet", "cuCtxCreate",
                                         "NvEncodeAPICreateInstance", "nvEncOpenEncodeSessionEx",
                                         "nvEncGetEncodeGUIDCount", "nvEncGetEncodeGUIDs",
                                         "nvEncGetEncodePresetCount", "nvEncGetEncodePresetGUIDs",
                                         "nvEncGetInputFormatCount", "nvEncGetInputFormats",
                                         "nvEncInitializeEncoder", "nvEncCreateInputBuffer",
                                         "nvEncCreateBitstreamBuffer"));

struct Fault {
  const char* words;
  HRESULT status;
  const char* told;  // part of the failure's words; "" where none is told
  int least;         // pictures that must be in the file
};

void PrintTo(const Fault& fault, std::ostream* out) { *out << fault.words; }

class NvencFaults : public WithVendor, public testing::WithParamInterface<Fault> {};

TEST_P(NvencFaults, InMidStreamKeepWhatWasEncoded) {
  vendor::Configure("delay=0");  // each lock brings an access unit
  vendor::Configure(GetParam().words);
  TemporaryFolder folder;
  host::Writer writer;
  ASSERT_EQ(writer.Start(folder / "a.mp4", "video::codec=n264 video::bf=2 video.buffers=0"), S_OK);
  HRESULT put = S_OK;
  for (int i = 0; i < 60 && put == S_OK; ++i) put = writer.Put(MakeFrame(kSmall, i));
  const HRESULT stopped = writer.Stop();
  EXPECT_EQ(put == S_OK ? stopped : put, GetParam().status) << writer.LastError();
  EXPECT_EQ(stopped, GetParam().status);
  EXPECT_THAT(writer.LastError(), HasSubstr(GetParam().told));
  const ProbedStream video = Probe(folder / "a.mp4").Pictures();
  EXPECT_GE(video.frames, GetParam().least);
  EXPECT_EQ(video.errors, 0);
  for (std::size_t i = 0; i + 3 < video.lumaMeans.size(); ++i) {
    EXPECT_NEAR(video.lumaMeans[i], 40.0 + 5.0 * static_cast<double>(i % 32), 2) << i;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Calls, NvencFaults,
    testing::Values(Fault{"fail=nvEncLockInputBuffer:20:10", E_FAIL, "nvEncLockInputBuffer", 19},
                    Fault{"fail=nvEncUnlockInputBuffer:20:20", E_FAIL, "nvEncUnlockInputBuffer",
                          19},
                    Fault{"fail=nvEncEncodePicture:20:20", E_FAIL, "nvEncEncodePicture", 19},
                    Fault{"fail=nvEncEncodePicture:20:10", E_FAIL, "nvEncEncodePicture", 19},
                    Fault{"fail=nvEncEncodePicture:20+:20", E_FAIL, "nvEncEncodePicture", 13},
                    Fault{"fail=nvEncLockBitstream:20:20", E_FAIL, "nvEncLockBitstream", 19},
                    Fault{"fail=nvEncLockBitstream:20+:20", E_FAIL, "nvEncLockBitstream", 19},
                    Fault{"fail=nvEncUnlockBitstream:20:20", E_FAIL, "nvEncUnlockBitstream", 19},
                    Fault{"fail=nvEncUnlockBitstream:20+:20", E_FAIL, "nvEncUnlockBitstream", 19},
                    Fault{"fail=cuCtxPushCurrent:40+:201", E_FAIL, "cuCtxPushCurrent", 5},
                    Fault{"lose=nvEncEncodePicture:20", E_FAIL, "", 13},
                    Fault{"lose=nvEncLockBitstream:30", E_FAIL, "", 5},
                    Fault{"lose=cuCtxPushCurrent:40", E_FAIL, "", 5},
                    // Failures of the end change nothing in what is recorded.
                    Fault{"fail=nvEncDestroyInputBuffer:1+:20", S_OK, "", 60},
                    Fault{"fail=nvEncDestroyBitstreamBuffer:1+:20", S_OK, "", 60},
                    Fault{"fail=nvEncDestroyEncoder:1+:20", S_OK, "", 60},
                    Fault{"fail=cuCtxDestroy:1+:201", S_OK, "", 60},
                    Fault{"fail=nvEncGetSequenceParams:1+:20", S_OK, "", 60},
                    // Late is not lost.
                    Fault{"fail=nvEncEncodePicture:20:18", S_OK, "", 60},
                    Fault{"late_ms=20", S_OK, "", 60}));

}  // namespace
}  // namespace xv::test
