#include <atomic>
#include <thread>

#include "support/fixtures.h"
#include "writer/vendor_faults.h"

// NVENC's library fails, hangs or loses its card.
namespace xv::test {
namespace {

using testing::HasSubstr;

constexpr char kEncode[] = "video::codec=n264 video::bf=2 video.buffers=0";

class NvencFaults : public WithVendor, public testing::WithParamInterface<VendorFault> {};

TEST_P(NvencFaults, InMidStreamKeepWhatWasEncoded) {
  vendor::Configure("delay=0");  // each lock brings an access unit
  ExpectKept(GetParam(), kEncode);
}

INSTANTIATE_TEST_SUITE_P(
    Calls, NvencFaults,
    testing::Values(VendorFault{"fail=nvEncEncodePicture:20:10", E_FAIL, "nvEncEncodePicture", 19},
                    VendorFault{"fail=nvEncEncodePicture:20+:20", E_FAIL, "nvEncEncodePicture", 13},
                    VendorFault{"fail=nvEncLockBitstream:20+:20", E_FAIL, "nvEncLockBitstream", 19},
                    VendorFault{"fail=nvEncUnlockBitstream:20+:20", E_FAIL, "nvEncUnlockBitstream",
                                19},
                    VendorFault{"fail=cuCtxPushCurrent:40+:201", E_FAIL, "cuCtxPushCurrent", 5},
                    // Failures of the end change nothing in what is recorded.
                    VendorFault{"fail=nvEncDestroyInputBuffer:1+:20", S_OK, "", 60},
                    VendorFault{"fail=nvEncDestroyBitstreamBuffer:1+:20", S_OK, "", 60},
                    VendorFault{"fail=nvEncDestroyEncoder:1+:20", S_OK, "", 60},
                    VendorFault{"fail=cuCtxDestroy:1+:201", S_OK, "", 60},
                    VendorFault{"fail=nvEncGetSequenceParams:1+:20", S_OK, "", 60},
                    // Late is not lost.
                    VendorFault{"fail=nvEncEncodePicture:20:18", S_OK, "", 60},
                    VendorFault{"late_ms=20", S_OK, "", 60}));

using NvencSweep = InFolder<WithVendor>;

// Each call of a whole recording fails once; with each of them the device is lost. That costs the
// picture that meets the fault and, at the end or where the device is lost, those that wait for
// another one.
TEST_F(NvencSweep, FaultsCostNoMoreThanThePicturesThatTheyMeet) {
  const auto record = [](const std::string& fault) {
    const bool device = fault.rfind("lose", 0) == 0;
    ExpectWhole("delay=0 " + fault, kEncode, 12,
                [&](HRESULT put) { return put == S_OK || device ? 3 : 1; });
  };
  record("");
  bool opening = true;
  ForEachCall(INT_MAX, [&](const std::string& name, const std::string& call) {
    opening = opening && name != "nvEncEncodePicture";
    const std::string code = name.rfind("cu", 0) == 0 ? ":201" : ":20";
    record("fail=" + call + code);
    record("lose=" + call);
    if (opening) record("fail=" + call + "+" + code);
  });
}

// The card has taken all pictures and only the end of the stream fails, or one access unit.
TEST_F(NvencSweep, FaultAtTheEndKeepsWhatTheCardHas) {
  for (const char* fault : {"fail=nvEncEncodePicture:13:20", "fail=nvEncUnlockBitstream:11:20"}) {
    vendor::Reset();
    vendor::Configure(std::string("delay=2 ") + fault);
    host::Writer writer;
    EXPECT_EQ(Record(writer, folder_ / "a.mp4", "video::codec=n264 video::bf=0", kFaultFeed, 12),
              E_FAIL);
    const ProbedStream video = Probe(folder_ / "a.mp4").Pictures();
    EXPECT_EQ(video.frames, 12) << fault;
    EXPECT_EQ(video.errors, 0) << fault;
  }
}

using NvencHang = InFolder<WithVendor>;

void ExpectFirst(const std::string& path, int count) {
  const ProbedStream video = Probe(path).Pictures();
  EXPECT_EQ(video.frames, count);
  EXPECT_EQ(video.errors, 0);
}

// A wait for the encoder's memory ends at once, and the next recording does not know of it.
TEST_F(NvencHang, StopAtOnceEndsTheWait) {
  vendor::Configure("stuck=1");
  host::Writer writer;
  constexpr char kLatency[] = "video::codec=n264 video::preset=low_latency";
  ASSERT_EQ(writer.Start(folder_ / "a.mp4", kLatency), S_OK);
  ASSERT_EQ(PushFrames(writer, kFaultFeed, 5), S_OK);
  while (vendor::CallCount("nvEncLockBitstream") < 8) std::this_thread::yield();
  EXPECT_TRUE(Failed(writer.StopAtOnce()));
  EXPECT_THAT(writer.LastError(), testing::Not(HasSubstr("within 3 seconds")));
  vendor::Configure("stuck=0");
  EXPECT_EQ(Record(writer, folder_ / "b.mp4", kLatency, kFaultFeed, 3), S_OK);
}

TEST_F(NvencHang, FullRingIsAFailureAndAStopAtOnceGivesUp) {
  vendor::Configure("stuck=10");
  host::Writer writer;
  ASSERT_EQ(writer.Start(folder_ / "a.mp4", "video::codec=n264 video::bf=0 video.buffers=0"), S_OK);
  HRESULT put = S_OK;
  for (int i = 0; i < 60 && put == S_OK; ++i) put = writer.Put(MakeFrame(kFaultFeed, i));
  EXPECT_EQ(put, E_FAIL);
  EXPECT_THAT(writer.LastError(), HasSubstr("within 3 seconds"));
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_TRUE(Failed(writer.StopAtOnce()));
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2));
  ExpectFirst(folder_ / "a.mp4", 9);
}

TEST_F(NvencHang, DrainEndsWithWhatThereIs) {
  vendor::Configure("stuck=10");
  host::Writer writer;
  EXPECT_EQ(Record(writer, folder_ / "a.mp4", "video::codec=n264 video::bf=0", kFaultFeed, 12),
            XV_E_TIMEOUT);
  EXPECT_THAT(writer.LastError(), HasSubstr("nothing for 10 seconds"));
  ExpectFirst(folder_ / "a.mp4", 9);
}

// A stop beside a put that waits for the encoder, from another thread.
TEST_F(NvencHang, StopWhilePuttingIsNeverLong) {
  vendor::Configure("late_ms=5");
  for (int round = 0; round < 4; ++round) {
    const std::string target = folder_ / (std::to_string(round) + ".mp4");
    host::Writer writer;
    ASSERT_EQ(writer.Start(target, "video::codec=n264 video::bf=2 video.buffers=2"), S_OK);
    std::atomic<int> taken{0};
    std::thread putter([&] {
      for (int i = 0; writer.Put(MakeFrame(kFaultFeed, i)) == S_OK; ++i) ++taken;
    });
    while (taken < 10 + round) std::this_thread::yield();
    EXPECT_EQ(writer.Stop(), S_OK) << writer.LastError();
    putter.join();
    ExpectFirst(target, taken);
  }
}

}  // namespace
}  // namespace xv::test
