#include <atomic>
#include <map>
#include <thread>

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
                         testing::Values("cuInit", "cuDeviceGetCount", "cuDeviceGet",
                                         "cuDeviceGetName", "cuCtxCreate", "cuCtxPushCurrent",
                                         "NvEncodeAPICreateInstance", "nvEncOpenEncodeSessionEx",
                                         "nvEncGetEncodeGUIDCount", "nvEncGetEncodeGUIDs",
                                         "nvEncGetEncodePresetCount", "nvEncGetEncodePresetGUIDs",
                                         "nvEncGetEncodePresetConfig", "nvEncGetInputFormatCount",
                                         "nvEncGetInputFormats", "nvEncInitializeEncoder",
                                         "nvEncCreateInputBuffer", "nvEncCreateBitstreamBuffer"));

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

using NvencSweep = WithVendor;

// A recording of a few pictures. What was taken is in the file, but for the picture that met the
// fault and, at the end or where the device is lost, those that wait for another one.
void ExpectWhole(const std::string& target, const std::string& fault) {
  SCOPED_TRACE(fault);
  vendor::Reset();
  vendor::Configure("delay=0 " + fault);
  host::Writer writer;
  ASSERT_EQ(writer.Start(target, "video::codec=n264 video::bf=2 video.buffers=0"), S_OK);
  int taken = 0;
  HRESULT put = S_OK;
  while (taken < 12 && (put = writer.Put(MakeFrame(kSmall, taken))) == S_OK) ++taken;
  const HRESULT stopped = writer.Stop();
  if (put != S_OK) {
    EXPECT_EQ(stopped, put);
    EXPECT_FALSE(writer.LastError().empty());
  }
  EXPECT_THAT(vendor::BrokenRules(), testing::IsEmpty());
  EXPECT_THAT(vendor::Held(), testing::IsEmpty());
  const bool atEnd = put == S_OK || fault.rfind("lose", 0) == 0;
  const int lost = stopped == S_OK ? 0 : atEnd ? 3 : 1;
  if (taken <= lost) return;
  const ProbedStream video = Probe(target).Pictures();
  EXPECT_EQ(video.errors, 0);
  EXPECT_GE(video.frames, taken - lost);
}

// Each call of a whole recording fails once; with each of them the device is lost.
TEST_F(NvencSweep, FaultsCostNoMoreThanThePicturesThatTheyMeet) {
  TemporaryFolder folder;
  ExpectWhole(folder / "a.mp4", "");
  const std::vector<vendor::Call> calls = vendor::Calls();
  std::map<std::string, int> numbers;
  for (std::size_t i = 0; i < calls.size() && !HasFailure(); ++i) {
    const std::string call = calls[i].name + ":" + std::to_string(++numbers[calls[i].name]);
    ExpectWhole(folder / "a.mp4",
                "fail=" + call + (calls[i].name.rfind("cu", 0) == 0 ? ":201" : ":20"));
    ExpectWhole(folder / "a.mp4", "lose=" + call);
  }
}

// The card has taken all pictures and only the end of the stream fails, or one access unit.
TEST_F(NvencSweep, FaultAtTheEndKeepsWhatTheCardHas) {
  TemporaryFolder folder;
  for (const char* fault : {"fail=nvEncEncodePicture:13:20", "fail=nvEncUnlockBitstream:11:20"}) {
    vendor::Reset();
    vendor::Configure(std::string("delay=2 ") + fault);
    host::Writer writer;
    EXPECT_EQ(Record(writer, folder / "a.mp4", "video::codec=n264 video::bf=0", kSmall, 12),
              E_FAIL);
    const ProbedStream video = Probe(folder / "a.mp4").Pictures();
    EXPECT_EQ(video.frames, 12) << fault;
    EXPECT_EQ(video.errors, 0) << fault;
  }
}

using NvencHang = WithVendor;

void ExpectFirst(const std::string& path, int count) {
  const ProbedStream video = Probe(path).Pictures();
  EXPECT_EQ(video.frames, count);
  EXPECT_EQ(video.errors, 0);
}

TEST_F(NvencHang, FullRingIsAFailureAndAStopAtOnceGivesUp) {
  vendor::Configure("stuck=10");
  TemporaryFolder folder;
  host::Writer writer;
  ASSERT_EQ(writer.Start(folder / "a.mp4", "video::codec=n264 video::bf=0 video.buffers=0"), S_OK);
  HRESULT put = S_OK;
  for (int i = 0; i < 60 && put == S_OK; ++i) put = writer.Put(MakeFrame(kSmall, i));
  EXPECT_EQ(put, E_FAIL);
  EXPECT_THAT(writer.LastError(), HasSubstr("within 3 seconds"));
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_TRUE(Failed(writer.StopAtOnce()));
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2));
  ExpectFirst(folder / "a.mp4", 9);
}

TEST_F(NvencHang, DrainEndsWithWhatThereIs) {
  vendor::Configure("stuck=10");
  TemporaryFolder folder;
  host::Writer writer;
  EXPECT_EQ(Record(writer, folder / "a.mp4", "video::codec=n264 video::bf=0", kSmall, 12),
            XV_E_TIMEOUT);
  EXPECT_THAT(writer.LastError(), HasSubstr("nothing for 10 seconds"));
  ExpectFirst(folder / "a.mp4", 9);
}

// A stop beside a put that waits for the encoder, from another thread.
TEST_F(NvencHang, StopWhilePuttingIsNeverLong) {
  vendor::Configure("late_ms=5");
  TemporaryFolder folder;
  for (int round = 0; round < 4; ++round) {
    const std::string target = folder / (std::to_string(round) + ".mp4");
    host::Writer writer;
    ASSERT_EQ(writer.Start(target, "video::codec=n264 video::bf=2 video.buffers=2"), S_OK);
    std::atomic<int> taken{0};
    std::thread putter([&] {
      for (int i = 0; writer.Put(MakeFrame(kSmall, i)) == S_OK; ++i) ++taken;
    });
    while (taken < 10 + round) std::this_thread::yield();
    EXPECT_EQ(writer.Stop(), S_OK) << writer.LastError();
    putter.join();
    ExpectFirst(target, taken);
  }
}

}  // namespace
}  // namespace xv::test
