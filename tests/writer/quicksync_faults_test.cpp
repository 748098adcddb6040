#include <sys/file.h>
#include <unistd.h>

#include <csignal>
#include <optional>
#include <thread>

#include "support/fixtures.h"
#include "support/peer_process.h"
#include "support/recorded_pictures.h"
#include "writer/vendor_faults.h"

// Intel's runtime fails, hangs or loses its device, and other processes hold their mutex.
namespace xv::test {
namespace {

using testing::IsEmpty;

constexpr const char* kEncode = "MFXVideoENCODE_EncodeFrameAsync";
constexpr const char* kSync = "MFXVideoCORE_SyncOperation";
constexpr const char* kMutexFile = "/dev/shm/_QZ_QSEncoder_Reinit_Mutext_";

using QuickFaults = InFolder<WithQuick>;

// All calls of a name fail: the first frame is refused in words, and the writer can be used again.
TEST_F(QuickFaults, RefuseTheFirstFrameInWords) {
  struct Call {
    const char* words;
    const char* told;
    const char* options = "";
  };
  for (const Call& one :
       {Call{"hardware=0 software=0", "vaInitialize"}, Call{"fail=MFXInit:1+:-1", "MFXInit"},
        Call{"fail=vaInitialize:1+:1 software=0", "vaInitialize"},
        Call{"fail=MFXVideoCORE_SetHandle:1+:-17 software=0", "SetHandle"},
        Call{"fail=MFXVideoENCODE_QueryIOSurf:1+:-15", "QueryIOSurf"},
        Call{"fail=MFXVideoENCODE_Init:1+:-15", "MFXVideoENCODE_Init"},
        Call{"fail=MFXVideoENCODE_GetVideoParam:1+:-1", "GetVideoParam"},
        Call{"fail=MFXVideoENCODE_GetVideoParam:2+:-1", ""},
        Call{"fail=MFXVideoCORE_SetFrameAllocator:1+:-1", "SetFrameAllocator",
             " video::gpu_memory=true"},
        Call{"fail=vaCreateSurfaces:1+:2", "surfaces", " video::gpu_memory=true"}}) {
    ExpectRefusal(one.words, one.told, std::string("video::codec=q264") + one.options);
  }
}

std::string Repeated(const std::string& call, int first, int count, int code) {
  std::string words;
  for (int i = first; i < first + count; ++i) {
    words += " fail=" + call + ":" + std::to_string(i) + ":" + std::to_string(code);
  }
  return words;
}

// What the device loses is given to a new session: no picture is lost, and none comes twice.
TEST_F(QuickFaults, NewSessionsLoseNoPictureAndKeepTheOrder) {
  struct Loss {
    std::string words;
    int sessions;
  };
  for (const Loss& one :
       {Loss{Repeated(kEncode, 20, 1, -13), 2}, Loss{Repeated(kEncode, 20, 1, -17), 2},
        Loss{Repeated(kEncode, 41, 1, -12), 2}, Loss{Repeated(kSync, 20, 1, -13), 2},
        Loss{Repeated(kSync, 20, 1, -17), 2}, Loss{Repeated(kSync, 20, 1, -1), 2},
        Loss{Repeated(kEncode, 12, 1, -13) + Repeated(kEncode, 35, 1, -17), 3},
        Loss{Repeated(kEncode, 20, 128, 2), 2}, Loss{Repeated(kEncode, 20, 127, 2), 1}}) {
    for (const char* memory : {"", " video::gpu_memory=true"}) {
      if (one.words.size() > 1000 && *memory != '\0') continue;
      SCOPED_TRACE(one.words.substr(0, 80) + memory);
      vendor::Reset();
      vendor::Configure("late_ms=5" + one.words);
      EXPECT_EQ(Record(folder_ / "a.mp4", std::string("video::codec=q264 video::g=12") + memory,
                       kFaultFeed, 60),
                S_OK);
      EXPECT_EQ(vendor::CallCount("MFXVideoENCODE_Init"), one.sessions);
      ExpectPicturesInOrder(Probe(folder_ / "a.mp4").Pictures(), 60);
      EXPECT_THAT(vendor::BrokenRules(), IsEmpty());
      EXPECT_THAT(vendor::Held(), IsEmpty());
    }
  }
}

class QuickStreamFaults : public WithQuick, public testing::WithParamInterface<VendorFault> {};

TEST_P(QuickStreamFaults, KeepWhatWasEncoded) {
  ExpectKept(GetParam(), "video::codec=q264 video.buffers=0", std::chrono::milliseconds(2));
}

INSTANTIATE_TEST_SUITE_P(
    Calls, QuickStreamFaults,
    testing::Values(
        // None of the surfaces comes back, or one of them.
        VendorFault{"stuck=20", E_FAIL, "keeps all", 17},
        VendorFault{"keep_locked=20", S_OK, "", 60},
        // At the end there is nothing that a wait could bring.
        VendorFault{"stuck=58", E_FAIL, "MFXVideoCORE_SyncOperation", 54},
        VendorFault{"fail=MFXVideoENCODE_EncodeFrameAsync:20:-1", E_FAIL,
                    "MFXVideoENCODE_EncodeFrameAsync", 17},
        VendorFault{"fail=MFXVideoENCODE_EncodeFrameAsync:20+:-13", E_FAIL, "", 10},
        VendorFault{"fail=MFXVideoENCODE_EncodeFrameAsync:20:-13 fail=MFXInit:2+:-1", E_FAIL,
                    "MFX -", 10},
        VendorFault{"fail=MFXVideoENCODE_EncodeFrameAsync:20:-13 fail=MFXVideoENCODE_Init:2:-15",
                    E_FAIL, "MFXVideoENCODE_Init", 10},
        VendorFault{"lose=MFXVideoENCODE_EncodeFrameAsync:20", E_FAIL, "", 10},
        // Failures of the end change nothing in what is recorded.
        VendorFault{"fail=MFXVideoENCODE_Close:1+:-17", S_OK, "", 60},
        VendorFault{"fail=MFXClose:1+:-1", S_OK, "", 60},
        VendorFault{"fail=vaTerminate:1+:1", S_OK, "", 60},
        // Late is not lost.
        VendorFault{"late_ms=30", S_OK, "", 60}));

// Another process that holds the machine's mutex, until it is killed.
class Holder {
 public:
  Holder() {
    int ready[2];
    if (pipe(ready) != 0) throw std::runtime_error("no pipe");
    child_ = fork();
    if (child_ == 0) Hold(ready[1]);
    char byte = 0;
    if (read(ready[0], &byte, 1) != 1) throw std::runtime_error("the mutex cannot be held");
    close(ready[0]);
    close(ready[1]);
  }
  ~Holder() { Kill(); }
  void Kill() {
    if (child_ > 0) {
      kill(child_, SIGKILL);
      waitpid(child_, nullptr, 0);
    }
    child_ = -1;
  }

 private:
  [[noreturn]] static void Hold(int ready) {
    const int file = open(kMutexFile, O_RDONLY);
    if (flock(file, LOCK_EX) == 0) (void)!write(ready, "", 1);
    while (true) pause();
  }
  pid_t child_ = -1;
};

TEST_F(QuickFaults, ProcessThatHoldsTheMutexHoldsSubmissionsUntilItIsKilled) {
  host::Writer writer;
  ASSERT_EQ(writer.Start(folder_ / "a.mp4", "video::codec=q264"), S_OK);
  ASSERT_EQ(PushFrames(writer, kFaultFeed, 5), S_OK);
  ASSERT_TRUE(Eventually(5, [] { return vendor::CallCount(kEncode) == 5; }));
  Holder holder;
  std::thread host([&] { EXPECT_EQ(PushFrames(writer, kFaultFeed, 20, 5), S_OK); });
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  EXPECT_EQ(vendor::CallCount(kEncode), 5) << "pictures are given while another process restarts";
  holder.Kill();
  host.join();
  EXPECT_EQ(writer.Stop(), S_OK) << writer.LastError();
  ExpectPicturesInOrder(Probe(folder_ / "a.mp4").Pictures(), 25);
}

// For the runtime, for a surface, and for the mutex of all processes.
TEST_F(QuickFaults, StopAtOnceEndsEveryWait) {
  for (const bool held : {false, true}) {
    vendor::Reset();
    vendor::Configure(held ? "" : "stuck=1");
    host::Writer writer;
    ASSERT_EQ(writer.Start(folder_ / "a.mp4", "video::codec=q264"), S_OK);
    ASSERT_EQ(PushFrames(writer, kFaultFeed, 3), S_OK);
    ASSERT_TRUE(Eventually(5, [] { return vendor::CallCount(kEncode) >= 3; }));
    const std::optional<Holder> holder = held ? std::optional<Holder>(std::in_place) : std::nullopt;
    (void)PushFrames(writer, kFaultFeed, 3, 3);
    EXPECT_EQ(writer.StopAtOnce(), XV_E_ABORTED) << held;
    EXPECT_LT(vendor::CallCount(kEncode), 6) << held;
  }
}

TEST_F(QuickFaults, ProcessesThatRestartAtOnceRecordAllTheirPictures) {
  const ScopedVariable words("XV_VENDOR", "late_ms=3 report=" + (folder_ / "report") +
                                              Repeated(kEncode, 10, 1, -13) +
                                              Repeated(kEncode, 30, 1, -17));
  {
    std::vector<std::unique_ptr<PeerProcess>> recorders;
    for (const char* name : {"a.mp4", "b.ts"}) {
      recorders.push_back(std::make_unique<PeerProcess>(
          std::vector<std::string>{XVRECORD, "--quiet", "-a", "video::codec=q264",
                                   "test:size=320x240,rate=25,seconds=2", folder_ / name},
          folder_ / (std::string(name) + ".log")));
    }
    for (const auto& one : recorders) {
      ASSERT_TRUE(one->WaitForEnd(30));
      EXPECT_EQ(one->ExitStatus(), 0) << folder_.Read("a.mp4.log") << folder_.Read("b.ts.log");
    }
  }
  for (const char* name : {"a.mp4", "b.ts"}) {
    EXPECT_EQ(Probe(folder_ / name).Pictures().frames, 50);
    EXPECT_EQ(Probe(folder_ / name).Pictures().errors, 0);
  }
  EXPECT_EQ(folder_.Read("report"), "");
}

// Each call of a recording fails once, and with what it waits for the device. That costs the
// picture that meets the fault and those that wait for another one.
TEST_F(QuickFaults, CostNoMoreThanThePicturesThatTheyMeet) {
  const auto record = [](const std::string& words) {
    ExpectWhole(words, "video::codec=q264 video::bf=1 video::gpu_memory=true video.buffers=0", 6,
                [](HRESULT) { return 2; });
  };
  record("");
  EXPECT_GT(vendor::Calls().size(), 60U);
  ForEachCall(8, [&](const std::string& name, const std::string& call) {
    record("fail=" + call + (name.rfind("va", 0) == 0 ? ":1" : name == kSync ? ":-17" : ":-16"));
  });
}

}  // namespace
}  // namespace xv::test
