#include "hw/quicksync/quick_encoder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <future>

#include "hw/quicksync/quick_ladder.h"
#include "hw/quicksync/quick_offer.h"
#include "support/host_frames.h"
#include "support/media_probe.h"
#include "support/temporary_folder.h"
#include "support/vendor/vendor_fixture.h"

namespace xv {
namespace {

using test::Feed;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using Clock = std::chrono::steady_clock;

const Feed kSmall{.layout = kFccNV12, .width = 90, .height = 60};
constexpr const char* kMutexName = "_QZ_QSEncoder_Reinit_Mutext_";

XV_VID_PROPS PropsOf(const Feed& feed) {
  XV_VID_PROPS vid{};
  vid.fccColor = feed.layout;
  vid.nWidth = feed.width;
  vid.nHeight = feed.height;
  vid.nRowBytes = feed.width;
  vid.eInterlace = static_cast<std::uint32_t>(feed.interlace);
  vid.dblRate = feed.rate;
  return vid;
}

double SecondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// An encoder on the stand-ins, and what came out of it.
class QuickEncoderTest : public test::WithVendor {
 protected:
  QuickEncoderTest() { av_log_set_level(AV_LOG_ERROR); }
  void TearDown() override {
    encoder_ = nullptr;
    WithVendor::TearDown();
  }

  Status Open(const std::string& attributes = {}, const Feed& feed = kSmall) {
    feed_ = feed;
    XMLParse::XMLNodePtr node;
    EXPECT_EQ(NodeFromText("video", attributes, &node), Status(S_OK));
    packets_.clear();
    return encoder_->Open({PropsOf(feed), node.get(), false, {1, 50}}, &report_);
  }
  Status Put(int number) {
    auto bytes = test::FlatPicture(feed_, static_cast<std::uint8_t>(40 + 5 * number));
    const ImageView view = MakeImageView(PropsOf(feed_), bytes.data());
    const Status status = Encode(&view, 2 * number);
    std::ranges::fill(bytes, std::uint8_t{0});  // the encoder has its copy
    return status;
  }
  Status Encode(const ImageView* picture, std::int64_t pts) {
    Ref<HwPacket> packet;
    Status status = encoder_->EncodeFrame(picture, pts, &packet);
    while (packet) {
      packets_.push_back(packet);
      packet = nullptr;
      if (status.Ok()) (void)encoder_->ReadPacket(&packet);
    }
    return status;
  }
  Status Drain() {
    while (true) {
      const Status status = Encode(nullptr, 0);
      if (status.Failed()) return status;
    }
  }
  void EncodeAll(int count) {
    for (int i = 0; i < count; ++i) ASSERT_TRUE(Put(i).Ok()) << i << encoder_->Failure();
    EXPECT_EQ(Drain(), Status(XV_E_NOTHING_MORE)) << encoder_->Failure();
  }
  // All of `count` pictures are there, in their order, with stamps that a muxer takes.
  void ExpectWholeStream(int count) {
    ASSERT_THAT(packets_, SizeIs(count));
    EXPECT_TRUE(packets_.front()->key);
    std::vector<std::int64_t> shown;
    for (std::size_t i = 0; i < packets_.size(); ++i) {
      shown.push_back(packets_[i]->pts);
      EXPECT_LE(packets_[i]->dts, packets_[i]->pts);
      EXPECT_TRUE(i == 0 || packets_[i]->dts > packets_[i - 1]->dts) << i;
    }
    std::ranges::sort(shown);
    for (int i = 0; i < count; ++i) EXPECT_EQ(shown[static_cast<std::size_t>(i)], 2 * i);
    std::string stream;
    for (const auto& packet : packets_) {
      stream.append(reinterpret_cast<const char*>(packet->data()), packet->size());
    }
    const auto decoded = test::Probe(folder_.Write("a.h264", stream)).Pictures();
    ASSERT_THAT(decoded.lumaMeans, SizeIs(count));
    for (const int row : {0, 14, 29}) {
      EXPECT_NEAR(decoded.first.at(1).At(44, row), 128, 6) << row;
      EXPECT_NEAR(decoded.first.at(2).At(0, row), 128, 6) << row;
    }
    for (int i = 0; i < count; ++i) {
      EXPECT_NEAR(decoded.lumaMeans[static_cast<std::size_t>(i)], 40 + 5 * i, 3) << i;
    }
  }

  const test::TemporaryFolder folder_;
  const test::ScopedVariable runtime_{"INTEL_MEDIA_RUNTIME", "MSDK"};
  const test::ScopedVariable node_{"XVWRITER_RENDER_NODE", "/dev/null"};
  Ref<QSEncoder> encoder_ = MakeRef<QSEncoder>();
  Feed feed_;
  HwOpenReport report_;
  std::vector<Ref<HwPacket>> packets_;
};

std::vector<mfxIMPL> Asked() {
  std::vector<mfxIMPL> asked;
  for (const auto& call : vendor::Calls("MFXInit")) {
    asked.push_back(call.As<mfxInitParam>().Implementation);
  }
  return asked;
}

// --- sessions ---

TEST(QuickLadder, PutsTheChoiceAheadOfAllOthers) {
  const std::vector<mfxIMPL> listed{0x404, 0x402, 0x405, 0x406, 0x407, 4, 2, 5, 6, 7, 3, 1};
  EXPECT_EQ(ImplementationOrder(-2), listed);
  for (const auto& [choice, first] : {std::pair(0, 0x402), {3, 0x407}, {-1, 1}}) {
    const std::vector<mfxIMPL> order = ImplementationOrder(choice);
    EXPECT_EQ(order.front(), first);
    EXPECT_EQ(std::vector(order.begin() + 1, order.end()), listed);
  }
}

TEST_F(QuickEncoderTest, FallsFromHardwareToSoftwareAndBack) {
  ASSERT_EQ(Open("force_gpu=0"), Status(S_OK)) << encoder_->Failure();
  EXPECT_EQ(Open(), Status(S_FALSE));
  EXPECT_THAT(Asked(), ElementsAre(0x402));
  encoder_->Close();

  vendor::Reset();
  vendor::Configure("hardware=0");
  ASSERT_EQ(Open("force_gpu=0 gpu_memory=1"), Status(S_OK)) << encoder_->Failure();
  EXPECT_THAT(report_.adjusted, ElementsAre(HasSubstr("gpu_memory=1 (the software runtime")));
  EncodeAll(6);
  ExpectWholeStream(6);
  encoder_->Close();

  vendor::Configure("hardware=1 software=0");
  EXPECT_EQ(Open("force_gpu=-1"), Status(S_OK)) << encoder_->Failure();
  encoder_->Close();
  vendor::Configure("hardware=0");
  EXPECT_EQ(Open(), Status(E_FAIL));
  EXPECT_THAT(encoder_->Failure(), HasSubstr("vaInitialize on /dev/null"));
}

TEST_F(QuickEncoderTest, HardwareWithoutADisplayIsPassedOver) {
  const test::ScopedVariable nowhere("XVWRITER_RENDER_NODE", folder_.Path("no_such_node"));
  EXPECT_FALSE(ProbeQuick().hardware);
  EXPECT_TRUE(ProbeQuick().software);
  vendor::Configure("software=0");
  EXPECT_THAT(ProbeQuick().problem, HasSubstr("no_such_node"));
  EXPECT_EQ(Open(), Status(E_FAIL));
}

TEST_F(QuickEncoderTest, TheOfferTellsOfBothSessions) {
  const QuickOffer offer = ProbeQuick();
  EXPECT_EQ(offer.problem, "");
  EXPECT_TRUE(offer.hardware && offer.software);
  EXPECT_EQ(offer.major, 1);
  EXPECT_EQ(offer.implementation, 0x402u);
  EXPECT_NE(offer.driver, "");
}

// --- the way through ---

TEST_F(QuickEncoderTest, EveryMemoryEncodesAllPicturesInOrder) {
  for (const char* attributes :
       {"bf=2 g=12", "bf=0", "gpu_memory=1", "use_vpp=1", "gpu_memory=1 use_vpp=1 bf=4",
        "force_gpu=-1 use_vpp=1", "async_depth=1", "interlace=top"}) {
    SCOPED_TRACE(attributes);
    ASSERT_EQ(Open(attributes), Status(S_OK)) << encoder_->Failure();
    std::vector<std::uint8_t> headers(1024);
    std::size_t size = headers.size();
    EXPECT_EQ(encoder_->GetHeaders(headers.data(), &size), Status(S_OK));
    ASSERT_GT(size, 10u);
    EXPECT_THAT(std::vector(headers.begin(), headers.begin() + 5), ElementsAre(0, 0, 0, 1, 0x67));
    std::size_t small = size - 1;
    EXPECT_EQ(encoder_->GetHeaders(headers.data(), &small), Status(E_OUTOFMEMORY));
    EncodeAll(30);
    ExpectWholeStream(30);
    encoder_->Close();
    EXPECT_THAT(vendor::Held(), IsEmpty());
  }
}

TEST_F(QuickEncoderTest, BuffersGrowUntilAnAccessUnitFits) {
  vendor::Configure("room_for=300000");
  ASSERT_EQ(Open(), Status(S_OK));
  EncodeAll(8);
  ExpectWholeStream(8);
  vendor::Configure("room_for=2000000000");
  EXPECT_TRUE(Open().Ok());
  EXPECT_EQ(Put(0), Status(E_OUTOFMEMORY));
}

TEST_F(QuickEncoderTest, RefusesPicturesOfAnotherKind) {
  Feed other = kSmall;
  other.layout = kFccUYVY;
  EXPECT_EQ(Open("", other), Status(E_INVALIDARG));
  Ref<HwPacket> packet;
  EXPECT_EQ(encoder_->EncodeFrame(nullptr, 0, &packet), Status(E_UNEXPECTED));
  ASSERT_EQ(Open(), Status(S_OK));
  feed_.width = 96;
  EXPECT_EQ(Put(0), Status(E_INVALIDARG));
  EXPECT_EQ(Drain(), Status(XV_E_NOTHING_MORE));
}

// --- faults ---

TEST_F(QuickEncoderTest, ANewSessionLosesNoPictureAndKeepsTheOrder) {
  for (const char* memory : {"bf=2", "bf=3 gpu_memory=1", "use_vpp=1", "force_gpu=-1 bf=0"}) {
    for (const char* fault :
         {"fail=MFXVideoCORE_SyncOperation:9:-13", "fail=MFXVideoCORE_SyncOperation:1:-17",
          "fail=MFXVideoENCODE_EncodeFrameAsync:1:-17",
          "fail=MFXVideoENCODE_EncodeFrameAsync:14:-13",
          "fail=MFXVideoENCODE_EncodeFrameAsync:31:-12"}) {
      SCOPED_TRACE(std::string(memory) + " " + fault);
      vendor::Reset();
      vendor::Configure(fault);
      ASSERT_EQ(Open(memory), Status(S_OK)) << encoder_->Failure();
      EncodeAll(30);
      EXPECT_EQ(encoder_->Restarts(), 1);
      ExpectWholeStream(30);
      encoder_->Close();
    }
  }
}

TEST_F(QuickEncoderTest, ADeviceThatStaysBusyGetsANewSession) {
  vendor::Configure("busy=3");
  ASSERT_EQ(Open(), Status(S_OK));
  EncodeAll(4);
  EXPECT_EQ(encoder_->Restarts(), 0);
  ExpectWholeStream(4);
  encoder_->Close();
  vendor::Configure("busy=127");
  ASSERT_EQ(Open(), Status(S_OK));
  EXPECT_TRUE(Put(0).Ok());
  EXPECT_EQ(encoder_->Restarts(), 0);
  vendor::Configure("busy=128");
  EXPECT_TRUE(Put(1).Ok());
  EXPECT_EQ(encoder_->Restarts(), 1);
  vendor::Configure("busy=0");
  EXPECT_EQ(Drain(), Status(XV_E_NOTHING_MORE));
  ExpectWholeStream(2);
}

TEST_F(QuickEncoderTest, ADeviceThatFailsForGoodEndsTheStream) {
  vendor::Configure("fail=MFXVideoENCODE_EncodeFrameAsync:5+:-17");
  ASSERT_EQ(Open(), Status(S_OK));
  for (int i = 0; i < 4; ++i) EXPECT_TRUE(Put(i).Ok());
  EXPECT_EQ(Put(4), Status(E_FAIL));
  EXPECT_THAT(encoder_->Failure(), HasSubstr("the device failed (MFX -17)"));
  EXPECT_TRUE(Drain().Failed());
}

TEST_F(QuickEncoderTest, SurfacesThatStayLockedEndTheWaitAfterASecond) {
  vendor::Configure("stuck=1");
  ASSERT_EQ(Open(), Status(S_OK));
  Status status = S_OK;
  Clock::time_point start;
  for (int i = 0; i < 40 && status.Ok(); ++i) {
    start = Clock::now();
    status = Put(i);
  }
  EXPECT_EQ(status, Status(XV_E_STILL_LOCKED));
  EXPECT_NEAR(SecondsSince(start), 1, 0.3);
  start = Clock::now();
  EXPECT_EQ(Drain(), Status(E_FAIL));
  EXPECT_NEAR(SecondsSince(start), 3, 0.5);
  EXPECT_EQ(Drain(), Status(XV_E_NOTHING_MORE));
  EXPECT_THAT(packets_, IsEmpty());
}

TEST_F(QuickEncoderTest, ASurfaceThatStaysLockedIsNotGivenAgain) {
  for (const char* memory : {"bf=1", "gpu_memory=1"}) {
    vendor::Reset();
    vendor::Configure("keep_locked=3");
    ASSERT_EQ(Open(memory), Status(S_OK));
    EncodeAll(30);
    ExpectWholeStream(30);
    encoder_->Close();
  }
}

TEST_F(QuickEncoderTest, AnInterruptEndsEveryWait) {
  vendor::Configure("stuck=1");
  ASSERT_EQ(Open(), Status(S_OK));
  for (int i = 0; i < 3; ++i) EXPECT_TRUE(Put(i).Ok());
  auto drained = std::async(std::launch::async, [&] { return Drain(); });
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  const auto start = Clock::now();
  encoder_->Interrupt();
  EXPECT_EQ(drained.get(), Status(E_ABORT));
  EXPECT_LT(SecondsSince(start), 0.2);
}

// --- other processes ---

// A child that holds the mutex of all processes until it is killed.
class Holder {
 public:
  Holder() {
    int ready[2];
    EXPECT_EQ(pipe(ready), 0);
    child_ = fork();
    if (child_ == 0) {
      NamedMutex mutex;
      const bool held = mutex.Open(kMutexName).Ok() && mutex.TryLock();
      (void)!write(ready[1], held ? "y" : "n", 1);
      while (true) pause();
    }
    char held = 0;
    EXPECT_EQ(read(ready[0], &held, 1), 1);
    EXPECT_EQ(held, 'y');
    close(ready[0]);
    close(ready[1]);
  }
  ~Holder() { Kill(); }
  void Kill() {
    if (child_ < 0) return;
    kill(child_, SIGKILL);
    waitpid(child_, nullptr, 0);
    child_ = -1;
  }

 private:
  pid_t child_ = -1;
};

TEST_F(QuickEncoderTest, AnotherProcessHoldsSubmissionsUntilItDies) {
  ASSERT_EQ(Open(), Status(S_OK));
  Holder holder;
  auto put = std::async(std::launch::async, [&] { return Put(0); });
  EXPECT_EQ(put.wait_for(std::chrono::milliseconds(200)), std::future_status::timeout);
  EXPECT_EQ(vendor::CallCount("MFXVideoENCODE_EncodeFrameAsync"), 0);
  holder.Kill();
  EXPECT_TRUE(put.get().Ok());
  EXPECT_EQ(Drain(), Status(XV_E_NOTHING_MORE));
  ExpectWholeStream(1);

  Holder another;
  auto stopped = std::async(std::launch::async, [&] { return Put(1); });
  EXPECT_EQ(stopped.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
  encoder_->Interrupt();
  EXPECT_EQ(stopped.get(), Status(E_ABORT));
}

// --- memory ---

TEST(QuickAllocator, SharesASetOfADecoderAndFreesItOnce) {
  const auto allocator = MakeRef<XvQSAllocatorSW>();
  mfxFrameAllocator& record = *allocator->Record();
  mfxFrameAllocRequest request{};
  request.AllocId = 7;
  request.Type = MFX_MEMTYPE_EXTERNAL_FRAME | MFX_MEMTYPE_FROM_DECODE;
  request.NumFrameMin = request.NumFrameSuggested = 2;
  request.Info.FourCC = MFX_FOURCC_NV12;
  request.Info.Width = 32;
  request.Info.Height = 16;
  mfxFrameAllocResponse first{}, second{}, encoders{};
  ASSERT_EQ(record.Alloc(record.pthis, &request, &first), MFX_ERR_NONE);
  ASSERT_EQ(record.Alloc(record.pthis, &request, &second), MFX_ERR_NONE);
  EXPECT_EQ(first.mids, second.mids);
  request.Type = MFX_MEMTYPE_EXTERNAL_FRAME | MFX_MEMTYPE_FROM_ENCODE;
  ASSERT_EQ(record.Alloc(record.pthis, &request, &encoders), MFX_ERR_NONE);
  EXPECT_NE(encoders.mids, first.mids);

  EXPECT_EQ(record.Free(record.pthis, &first), MFX_ERR_NONE);
  mfxFrameData data{};
  ASSERT_EQ(record.Lock(record.pthis, second.mids[1], &data), MFX_ERR_NONE);
  EXPECT_EQ(data.Y, second.mids[1]);
  EXPECT_EQ(data.UV, data.Y + 32 * 16);
  EXPECT_EQ(data.Pitch, 32);
  const mfxMemId gone = second.mids[1];
  mfxFrameAllocResponse copy = second;
  EXPECT_EQ(record.Free(record.pthis, &second), MFX_ERR_NONE);
  EXPECT_EQ(record.Free(record.pthis, &copy), MFX_ERR_INVALID_HANDLE);
  EXPECT_EQ(record.Lock(record.pthis, gone, &data), MFX_ERR_INVALID_HANDLE);
  request.Info.FourCC = MFX_FOURCC_P010;
  EXPECT_EQ(record.Alloc(record.pthis, &request, &second), MFX_ERR_UNSUPPORTED);
}

TEST(QuickAllocator, MemoryIsTheIdentifierElseThePlane) {
  mfxU8 byte = 0;
  mfxU8* memory = nullptr;
  mfxFrameData data{};
  EXPECT_EQ(XvQSAllocatorSW::Memory(&byte, nullptr, &memory), MFX_ERR_NULL_PTR);
  EXPECT_EQ(XvQSAllocatorSW::Memory(nullptr, &data, nullptr), MFX_ERR_NONE);
  EXPECT_EQ(XvQSAllocatorSW::Memory(nullptr, &data, &memory), MFX_ERR_UNDEFINED_BEHAVIOR);
  data.Y = &byte;
  EXPECT_EQ(XvQSAllocatorSW::Memory(nullptr, &data, &memory), MFX_ERR_NONE);
  EXPECT_EQ(memory, &byte);
}

}  // namespace
}  // namespace xv
