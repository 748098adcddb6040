#include "hw/nvenc/nv_encoder_hw.h"

#include <chrono>
#include <future>

#include "hw/encoder_fixture.h"
#include "hw/nvenc/nvenc_offer.h"

namespace xv {
namespace {

using test::Feed;
using ::testing::Each;
using ::testing::HasSubstr;

constexpr Feed kSmall{.width = 96, .height = 64};

class NvencEncoderTest : public test::EncoderTest<NVEncoderHW> {
 protected:
  // The first picture of a stream of this one.
  test::ProbedStream CodedPicture(std::vector<std::uint8_t>& bytes) {
    EXPECT_TRUE(PutBytes(bytes, 0).Ok()) << encoder_->Failure();
    EXPECT_EQ(Drain(), Status(XV_E_NOTHING_MORE));
    return Decode();
  }
};

NV_ENC_OPEN_ENCODE_SESSION_EX_PARAMS LastSession() {
  return vendor::Calls("nvEncOpenEncodeSessionEx")
      .back()
      .As<NV_ENC_OPEN_ENCODE_SESSION_EX_PARAMS>();
}

struct DriverCase {
  const char* driver;
  bool hevc;
  std::uint32_t api;  // of the session
  int sessions;       // opened for it
};

TEST_F(NvencEncoderTest, EveryDriverEncodesAllPicturesInOrder) {
  constexpr std::uint32_t k111 = 11 | 1 << 24;
  for (const DriverCase& one :
       {DriverCase{"driver=7.0", false, 7, 1}, DriverCase{"driver=8.0 hevc_bframes=2", true, 7, 1},
        DriverCase{"driver=11.1 delay=0", false, 7, 1}, DriverCase{"driver=12.1", false, k111, 2},
        DriverCase{"driver=11.1 old_presets=0", false, k111, 2},
        DriverCase{"driver=12.1", true, k111, 2},
        DriverCase{"driver=11.1 oldest=10", false, k111, 2}}) {
    SCOPED_TRACE(one.driver);
    vendor::Reset();
    vendor::Configure(one.driver);
    encoder_ = MakeRef<NVEncoderHW>();
    ASSERT_EQ(Open("bf=2 g=12", kSmall, one.hevc), Status(S_OK)) << encoder_->Failure();
    EXPECT_EQ(Open({}, kSmall, one.hevc), Status(S_FALSE));
    EXPECT_EQ(LastSession().apiVersion, one.api);
    EXPECT_EQ(vendor::CallCount("nvEncOpenEncodeSessionEx"), one.sessions);
    EXPECT_GT(Headers().size(), 8U);
    EncodeAll(20);
    ExpectWholeStream(20);
    const bool reorders = !one.hevc || std::string(one.driver).find("hevc_b") != std::string::npos;
    EXPECT_EQ(packets_.at(0)->dts, reorders ? -4 : -2) << "two more than there are B pictures";
    EXPECT_EQ(std::ranges::count_if(packets_, [](const auto& p) { return p->key; }), 2);
    encoder_->Close();
  }
}

TEST_F(NvencEncoderTest, RingServesAnEncoderThatHoldsBackManyPictures) {
  vendor::Configure("bframes=12 delay=30");
  ASSERT_EQ(Open("bf=12 g=26", kSmall), Status(S_OK));
  EXPECT_EQ(vendor::CallCount("nvEncCreateInputBuffer"), 13);
  EncodeAll(40);
  EXPECT_EQ(Decode().frames, 40);
  encoder_->Close();
  // More than there are entries: it grows in place of waiting for what cannot come.
  vendor::Reset();
  vendor::Configure("fail=nvEncEncodePicture:1+:17");
  ASSERT_EQ(Open("preset=low_latency"), Status(S_OK));
  for (int i = 0; i < 12; ++i) EXPECT_EQ(Put(i), Status(S_FALSE));
  EXPECT_EQ(vendor::CallCount("nvEncCreateInputBuffer"), 12);
}

// Each layout arrives with its colours, for which lossless coding is the witness.
TEST_F(NvencEncoderTest, EveryLayoutIsWrittenIntoThePicturesMemory) {
  for (const std::uint32_t layout : {kFccUYVY, kFccHDYC, kFccYUY2, kFccNV12, kFccI420, kFccYV12}) {
    const Feed feed{.layout = layout, .width = 98, .height = 62};
    ASSERT_EQ(Open("preset=lossless", feed), Status(S_OK)) << encoder_->Failure();
    auto bytes = test::DrawPicture(feed, [](int component, int x, int y) {
      return component == 0 ? 30 + x + y : component == 1 ? 90 : 200;
    });
    const test::ProbedStream stream = CodedPicture(bytes);
    ASSERT_EQ(stream.first.size(), 3U) << layout;
    EXPECT_EQ(stream.first[0].At(5, 3), 38);
    EXPECT_EQ(stream.first[0].At(97, 61), 188);
    EXPECT_THAT(stream.first[1].samples, Each(90)) << layout;
    EXPECT_THAT(stream.first[2].samples, Each(200)) << layout;
    encoder_->Close();
  }
  for (const std::uint32_t layout : {kFccRGB24, kFccRGB32, kFccARGB32}) {
    const Feed feed{.layout = layout, .width = 98, .height = 62};
    ASSERT_EQ(Open("preset=lossless", feed), Status(S_OK)) << encoder_->Failure();
    auto bytes = test::DrawPicture(feed, [](int component, int, int y) {
      return component == 0 && y < 31 ? 255 : component == 3 ? 255 : 0;
    });
    const test::ProbedStream stream = CodedPicture(bytes);
    EXPECT_NEAR(stream.first.at(0).At(50, 3), 81, 1) << layout;  // red of BT.601, on top
    EXPECT_NEAR(stream.first.at(2).At(25, 3), 240, 1) << layout;
    EXPECT_NEAR(stream.first.at(0).At(50, 60), 16, 1) << layout;
    encoder_->Close();
  }
  EXPECT_EQ(Open({}, {.layout = kFccV210}), Status(E_INVALIDARG));
}

TEST_F(NvencEncoderTest, WhatTheAdapterCannotDoAtAllIsRefusedInWords) {
  vendor::Configure("max_width=1920 hevc=0");
  EXPECT_EQ(Open({}, {.width = 2048, .height = 64}), Status(E_FAIL));
  EXPECT_THAT(encoder_->Failure(), HasSubstr("up to 1920x4096"));
  EXPECT_EQ(Open({}, kSmall, true), Status(E_UNEXPECTED));
  EXPECT_THAT(encoder_->Failure(), HasSubstr("does not encode H.265"));
  EXPECT_EQ(Open("force_gpu=3"), Status(E_FAIL));
  EXPECT_THAT(encoder_->Failure(), HasSubstr("no adapter 3"));
}

TEST_F(NvencEncoderTest, OfferTellsWhatWorksOrWhyNothingDoes) {
  vendor::Configure("driver=12.1 bframes=3 fields=0 max_height=2304 hevc_bframes=0");
  NvencOffer offer = ProbeNvenc(0);
  EXPECT_TRUE(offer.Works()) << offer.problem;
  EXPECT_EQ(offer.driverApi, "12.1");
  EXPECT_EQ(offer.sessionApi, "11.1");
  EXPECT_FALSE(offer.device.empty());
  EXPECT_TRUE(offer.h264.listed && offer.h264.lossless && offer.hevc.listed);
  EXPECT_FALSE(offer.h264.fields);
  EXPECT_EQ(offer.h264.mostBPictures, 3);
  EXPECT_EQ(offer.hevc.mostBPictures, 0);
  EXPECT_EQ(offer.h264.mostHeight, 2304);
  EXPECT_EQ(offer.h264.leastWidth, 33);
  vendor::Configure("driver=7.0 hevc=0 lossless=0");
  offer = ProbeNvenc(0);
  EXPECT_TRUE(offer.Works() && offer.h264.listed) << offer.problem;
  EXPECT_FALSE(offer.hevc.listed || offer.h264.lossless);
  vendor::Configure("driver=11.1 old_presets=0");
  EXPECT_EQ(ProbeNvenc(0).sessionApi, "11.1");
  vendor::Configure("devices=0");
  EXPECT_THAT(ProbeNvenc(0).problem, HasSubstr("no"));
  const test::ScopedVariable nowhere("XVWRITER_VENDOR_FOLDER", "here");
  EXPECT_THAT(ProbeNvenc(0).problem, HasSubstr("not a full path: here"));
  EXPECT_EQ(Open(), Status(XV_E_VENDOR_LIBRARY));
}

TEST_F(NvencEncoderTest, ARefusedFirstCallIsTriedOnceMoreWithoutAChoiceOfAdapter) {
  vendor::Configure("fail=nvEncOpenEncodeSessionEx:1:20");
  EXPECT_EQ(Open(), Status(S_OK));
  encoder_->Close();
  vendor::Reset();
  vendor::Configure("fail=nvEncOpenEncodeSessionEx:1:20");
  EXPECT_EQ(Open("force_gpu=0"), Status(E_FAIL));
}

TEST_F(NvencEncoderTest, AnInterruptEndsAWaitAtOnceAndLasts) {
  vendor::Configure("stuck=1");
  ASSERT_EQ(Open("preset=low_latency"), Status(S_OK));
  for (int i = 0; i < 4; ++i) EXPECT_EQ(Put(i), Status(S_FALSE));
  const auto before = std::chrono::steady_clock::now();
  auto waiting = std::async(std::launch::async, [&] { return Put(4).code(); });
  while (vendor::CallCount("nvEncLockBitstream") < 8) std::this_thread::yield();
  encoder_->Interrupt();
  EXPECT_EQ(waiting.get(), E_ABORT);
  EXPECT_EQ(Drain(), Status(E_ABORT));
  EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(2));
  encoder_->Close();
  vendor::Configure("stuck=0");
  ASSERT_EQ(Open("preset=low_latency"), Status(S_OK));
  EncodeAll(3);
}

}  // namespace
}  // namespace xv
