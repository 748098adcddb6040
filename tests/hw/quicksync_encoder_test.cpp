#include "hw/quicksync/quick_encoder.h"

#include <chrono>
#include <future>

#include "hw/encoder_fixture.h"
#include "hw/quicksync/quick_ladder.h"
#include "hw/quicksync/quick_offer.h"

namespace xv {
namespace {

using test::Feed;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

using QuickEncoderTest = test::EncoderTest<QSEncoder>;

TEST(QuickLadder, PutsTheChoiceAheadOfAllOthers) {
  const std::vector<mfxIMPL> listed{0x404, 0x402, 0x405, 0x406, 0x407, 4, 2, 5, 6, 7, 3, 1};
  EXPECT_EQ(ImplementationOrder(-2), listed);
  for (const auto& [choice, first] : {std::pair(0, 0x402), {3, 0x407}, {-1, 1}}) {
    const std::vector<mfxIMPL> order = ImplementationOrder(choice);
    EXPECT_EQ(order.front(), first);
    EXPECT_EQ(std::vector(order.begin() + 1, order.end()), listed);
  }
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

TEST_F(QuickEncoderTest, EveryMemoryEncodesAllPicturesInOrder) {
  for (const char* attributes :
       {"bf=2 g=12", "bf=0", "gpu_memory=1", "use_vpp=1", "gpu_memory=1 use_vpp=1 bf=4",
        "force_gpu=-1 use_vpp=1", "async_depth=1", "interlace=top"}) {
    SCOPED_TRACE(attributes);
    ASSERT_EQ(Open(attributes), Status(S_OK)) << encoder_->Failure();
    std::string headers = Headers();
    EXPECT_EQ(headers.substr(0, 5), std::string("\0\0\0\1\x67", 5));
    std::size_t small = headers.size() - 1;
    EXPECT_EQ(encoder_->GetHeaders(reinterpret_cast<std::uint8_t*>(headers.data()), &small),
              Status(E_OUTOFMEMORY));
    EncodeAll(30);
    ExpectWholeStream(30);
    encoder_->Close();
    EXPECT_THAT(vendor::Held(), IsEmpty());
  }
}

TEST_F(QuickEncoderTest, ABufferThatNoMemoryHoldsIsToldSo) {
  vendor::Configure("room_for=2000000000");
  EXPECT_TRUE(Open().Ok());
  EXPECT_EQ(Put(0), Status(E_OUTOFMEMORY));
}

TEST_F(QuickEncoderTest, RefusesPicturesOfAnotherKind) {
  Feed other = test::kSmallNv12;
  other.layout = kFccUYVY;
  EXPECT_EQ(Open("", other), Status(E_INVALIDARG));
  Ref<HwPacket> packet;
  EXPECT_EQ(encoder_->EncodeFrame(nullptr, 0, &packet), Status(E_UNEXPECTED));
  ASSERT_EQ(Open(), Status(S_OK));
  feed_.width = 96;
  EXPECT_EQ(Put(0), Status(E_INVALIDARG));
  EXPECT_EQ(Drain(), Status(XV_E_NOTHING_MORE));
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
  const auto start = std::chrono::steady_clock::now();
  encoder_->Interrupt();
  EXPECT_EQ(drained.get(), Status(E_ABORT));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(200));
}

// As another process holds it.
TEST_F(QuickEncoderTest, AnInterruptEndsTheWaitForTheMutexOfAllProcesses) {
  ASSERT_EQ(Open(), Status(S_OK));
  NamedMutex theirs;
  ASSERT_TRUE(theirs.Open("_QZ_QSEncoder_Reinit_Mutext_").Ok() && theirs.TryLock());
  auto put = std::async(std::launch::async, [&] { return Put(0); });
  EXPECT_EQ(put.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
  EXPECT_EQ(vendor::CallCount("MFXVideoENCODE_EncodeFrameAsync"), 0);
  encoder_->Interrupt();
  EXPECT_EQ(put.wait_for(std::chrono::seconds(2)), std::future_status::ready);
  theirs.Unlock();
  EXPECT_EQ(put.get(), Status(E_ABORT));
}

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
