#include "hw/cuda/cuda_encoder.h"

#include <filesystem>
#include <map>
#include <thread>

#include "hw/encoder_fixture.h"

namespace xv {
namespace {

using test::Feed;
using test::ScopedVariable;
using test::TemporaryFolder;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr Feed kSmall{.width = 64, .height = 60};

class CudaEncoderTest : public test::EncoderTest<CUDAEncoder> {
 protected:
  Status Open(const std::string& attributes = "b=1M g=12 bf=3", const Feed& feed = kSmall) {
    return EncoderTest::Open(attributes, feed);
  }
  void Put(int first, int end) {
    for (int i = first; i < end; ++i) ASSERT_GE(EncoderTest::Put(i).code(), 0) << i;
  }
};

TEST_F(CudaEncoderTest, EverythingComesOutWithTheHostsStamps) {
  struct Case {
    const char* stand;
    const char* attributes;
    eXvInterlace interlace;
    std::uint32_t layout;
  };
  for (const Case& one :
       {Case{"delay=0", "", eXvI_Progressive, kFccUYVY},
        Case{"delay=5 late_ms=3 chunk=100", "b=1M bf=3 g=6", eXvI_Progressive, kFccYUY2},
        Case{"delay=2 begins=2", "rc_type=cqp bf=1", eXvI_TopFirst, kFccHDYC},
        Case{"late_ms=5 begins=2 chunk=50", "bf=4 profile=High level=4.1", eXvI_BottomFirst,
             kFccUYVY}}) {
    SCOPED_TRACE(std::string(one.stand) + " / " + one.attributes);
    vendor::Configure(one.stand);
    Feed feed = kSmall;
    feed.layout = one.layout;
    feed.interlace = one.interlace;
    ASSERT_EQ(Open(one.attributes, feed), S_OK) << encoder_->Failure();
    EXPECT_EQ(Open(one.attributes, feed), S_FALSE);
    Put(0, 25);
    EXPECT_EQ(Drain(), XV_E_NOTHING_MORE);
    ExpectWholeStream(25);
    EXPECT_FALSE(packets_.at(1)->key);
    encoder_->Close();
    vendor::Reset();
  }
}

TEST_F(CudaEncoderTest, HeadersAreAnnexB) {
  std::array<std::uint8_t, 1024> bytes{};
  std::size_t size = bytes.size();
  EXPECT_EQ(encoder_->GetHeaders(bytes.data(), &size), E_UNEXPECTED);
  ASSERT_EQ(Open(), S_OK);
  size = bytes.size();
  ASSERT_EQ(encoder_->GetHeaders(bytes.data(), &size), S_OK);
  const std::string sets(reinterpret_cast<const char*>(bytes.data()), size);
  EXPECT_EQ(sets.substr(0, 5), std::string("\0\0\0\1\x67", 5));
  EXPECT_NE(sets.find(std::string("\0\0\0\1\x68", 5)), std::string::npos);
  std::size_t rawSize = bytes.size();
  ASSERT_EQ(encoder_->GetRawHeaders(bytes.data(), &rawSize), S_OK);
  EXPECT_EQ(rawSize, size - 4);
  vendor::Configure("fail=NVGetSPSPPS:1+:-1");
  EXPECT_EQ(encoder_->GetHeaders(bytes.data(), &size), E_FAIL);
  EXPECT_EQ(size, 0u);
}

TEST_F(CudaEncoderTest, FramesTellTheirFieldsAndPitch) {
  ASSERT_EQ(Open("", {.width = 64, .height = 46, .interlace = eXvI_TopFirst}), S_OK);
  Put(0, 1);
  (void)Drain();
  const auto frames = vendor::Calls("NVEncodeFrame");
  ASSERT_EQ(frames.size(), 2u);
  const auto frame = frames[0].As<CudaFrame>();
  EXPECT_THAT((std::vector{frame.width, frame.height, frame.pitch, frame.layout, frame.structure,
                           frame.topFieldFirst, frame.progressive, frame.last}),
              ElementsAre(64, 40, 128, 0, 1, 1, 0, 0));
  EXPECT_EQ(frames[1].As<CudaFrame>().last, 1);
}

TEST_F(CudaEncoderTest, ReadPacketTellsWhatIsReady) {
  EXPECT_EQ(encoder_->ReadPacket(false, nullptr), E_POINTER);
  Ref<HwPacket> packet;
  EXPECT_EQ(encoder_->EncodeFrame(nullptr, 0, &packet), E_UNEXPECTED);
  vendor::Configure("delay=0");
  ASSERT_EQ(Open("bf=1"), S_OK);
  EXPECT_EQ(encoder_->ReadPacket(&packet), S_FALSE);
  EXPECT_EQ(encoder_->ReadPacket(true, &packet), XV_E_NOTHING_MORE);
  auto pixels = test::FlatPicture(feed_, 100);
  const ImageView view = MakeImageView(test::PropsOf(feed_), pixels.data());
  EXPECT_EQ(encoder_->EncodeFrame(&view, 7, nullptr), S_OK);
  for (int pts = 8; pts < 12; ++pts) {
    EXPECT_EQ(encoder_->EncodeFrame(&view, pts, nullptr), S_OK);
  }
  while (encoder_->ReadPacket(false, &packet) != Status(S_OK)) std::this_thread::yield();
  EXPECT_EQ(packet->pts, 7);
}

// Each call of an open in turn, with its code; then the encoder opens after all.
TEST_F(CudaEncoderTest, EachCallOfAnOpenMayFail) {
  ASSERT_EQ(Open(), S_OK);
  encoder_->Close();
  std::map<std::string, int> calls;
  for (const vendor::Call& call : vendor::Calls()) ++calls[call.name];
  calls.erase("NVDestroyEncoder");
  EXPECT_EQ(calls.size(), 8u);
  for (const auto& [name, count] : calls) {
    for (int number = 1; number <= count; ++number) {
      vendor::Reset();
      vendor::Configure("fail=" + name + ":" + std::to_string(number) + ":-2147024882");
      const Status status = Open();
      const bool test = name == "NVCreateEncoder" && number == 1;
      const bool adapters = name == "NVGetParamValue" && number == 1;
      EXPECT_EQ(status, test       ? Status(E_FAIL)
                        : adapters ? Status(XV_E_VENDOR_LIBRARY)
                                   : Status(E_OUTOFMEMORY))
          << name << number;
      EXPECT_THAT(encoder_->Failure(), adapters ? HasSubstr("adapter") : HasSubstr(name));
      EXPECT_THAT(vendor::Held(), IsEmpty()) << name << number;
    }
  }
  vendor::Reset();
  EXPECT_EQ(Open(), S_OK);
}

TEST_F(CudaEncoderTest, CallbacksBehindACloseReachNothing) {
  for (const char* kind : {"1", "2"}) {
    encoder_ = MakeRef<CUDAEncoder>();
    vendor::Reset();
    vendor::Configure(std::string("after_close=") + kind);
    ASSERT_EQ(Open(), S_OK);
    Put(0, 4);
    encoder_->Close();
    ASSERT_EQ(Open(), S_OK);
    Put(0, 4);
    while (vendor::CallCount("late callbacks") < 1) std::this_thread::yield();
    EXPECT_EQ(Drain(), XV_E_NOTHING_MORE);
    ExpectWholeStream(4);
    encoder_ = nullptr;  // and the library with it, as far as it goes
    while (vendor::CallCount("late callbacks") < 2) std::this_thread::yield();
  }
}

TEST_F(CudaEncoderTest, MachinesWithoutTheLibraryOrAnAdapterSayWhy) {
  vendor::Configure("devices=0");
  EXPECT_EQ(Open(), XV_E_VENDOR_LIBRARY);
  EXPECT_THAT(encoder_->Failure(), HasSubstr("no adapter"));
  EXPECT_TRUE(CUDAEncoder::IsSupported());
  EXPECT_EQ(Open("", {.width = 0}), E_INVALIDARG);
  const TemporaryFolder empty;
  const ScopedVariable other("XVWRITER_VENDOR_FOLDER", empty.Path());
  encoder_ = MakeRef<CUDAEncoder>();
  EXPECT_EQ(Open(), XV_E_VENDOR_LIBRARY);
  EXPECT_THAT(encoder_->Failure(), HasSubstr("libcuvidenc.so"));
  EXPECT_FALSE(CUDAEncoder::IsSupported());
  Ref<HwPacket> packet;
  EXPECT_EQ(encoder_->ReadPacket(&packet), XV_E_VENDOR_LIBRARY);
  EXPECT_EQ(CudaLibrary().Load(), XV_E_FILE_NOT_FOUND);
  std::filesystem::create_symlink(std::string(VENDOR_FOLDER) + "/control/libxvvendorcontrol.so",
                                  empty / "libnvcuvenc.so");
  CudaLibrary incomplete;
  EXPECT_EQ(incomplete.Load(), E_UNEXPECTED);
  EXPECT_THAT(incomplete.Words(), HasSubstr("NVCreateEncoder"));
  const TemporaryFolder second;
  std::filesystem::create_symlink(std::string(VENDOR_FOLDER) + "/libnvcuvenc.so",
                                  second / "libcuvidenc.so");
  const ScopedVariable another("XVWRITER_VENDOR_FOLDER", second.Path());
  EXPECT_TRUE(CUDAEncoder::IsSupported());
}

}  // namespace
}  // namespace xv
