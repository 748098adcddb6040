#include "hw/nvenc/nv_encoder_hw.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <vector>

#include "hw/nvenc/nvenc_offer.h"
#include "support/host_frames.h"
#include "support/media_probe.h"
#include "support/temporary_folder.h"
#include "support/vendor/vendor_control.h"

namespace xv {
namespace {

using test::Feed;
using ::testing::AllOf;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

XV_VID_PROPS PropsOf(const Feed& feed) {
  XV_VID_PROPS vid{};
  vid.fccColor = feed.layout;
  vid.nWidth = feed.width;
  vid.nHeight = feed.height;
  vid.nRowBytes = 0;
  vid.eInterlace = static_cast<std::uint32_t>(feed.interlace);
  vid.dblRate = feed.rate;
  return vid;
}

const Feed kSmall{.width = 96, .height = 64};

// An encoder on the stand-ins, and what came out of it.
class NvencEncoderTest : public ::testing::Test {
 protected:
  void SetUp() override {
    av_log_set_level(AV_LOG_ERROR);
    vendor::Reset();
  }
  void TearDown() override {
    encoder_ = nullptr;
    EXPECT_THAT(vendor::BrokenRules(), IsEmpty());
    EXPECT_THAT(vendor::Held(), IsEmpty());
  }

  Status Open(const std::string& attributes = {}, const Feed& feed = kSmall, bool hevc = false) {
    feed_ = feed;
    XMLParse::XMLNodePtr node;
    EXPECT_EQ(NodeFromText("video", attributes, &node), Status(S_OK));
    packets_.clear();
    return encoder_->Open({PropsOf(feed), node.get(), hevc}, &report_);
  }

  // Picture `number`, with the luma that MakeFrame gives it.
  Status Put(int number) {
    auto bytes = test::FlatPicture(feed_, static_cast<std::uint8_t>(40 + 5 * (number % 32)));
    return PutBytes(bytes, 2 * number);
  }
  Status PutBytes(std::vector<std::uint8_t>& bytes, std::int64_t pts) {
    XV_VID_PROPS vid = PropsOf(feed_);
    vid.nRowBytes = static_cast<std::int32_t>(bytes.size()) / std::abs(feed_.height);
    if (IsPlanar420(vid.fccColor) || vid.fccColor == kFccNV12) vid.nRowBytes = feed_.width;
    const ImageView view = MakeImageView(vid, bytes.data());
    Ref<HwPacket> packet;
    const Status status = encoder_->EncodeFrame(&view, pts, &packet);
    if (packet) packets_.push_back(packet);
    return status;
  }
  // Ends the stream; the status that ended it.
  Status Drain() {
    while (true) {
      Ref<HwPacket> packet;
      const Status status = encoder_->EncodeFrame(nullptr, 0, &packet);
      if (packet) packets_.push_back(packet);
      if (!(status == Status(S_OK))) return status;
    }
  }
  void EncodeAll(int count) {
    for (int i = 0; i < count; ++i) ASSERT_TRUE(Put(i).Ok()) << i << encoder_->Failure();
    EXPECT_EQ(Drain(), Status(XV_E_NOTHING_MORE)) << encoder_->Failure();
  }
  // The first picture of a stream of this one.
  test::ProbedStream CodedPicture(std::vector<std::uint8_t>& bytes) {
    EXPECT_TRUE(PutBytes(bytes, 0).Ok()) << encoder_->Failure();
    EXPECT_EQ(Drain(), Status(XV_E_NOTHING_MORE));
    return Decode();
  }
  // As a foreign reader sees the packets.
  test::ProbedStream Decode(bool hevc = false) {
    std::string stream;
    for (const auto& packet : packets_) {
      stream.append(reinterpret_cast<const char*>(packet->data()), packet->size());
    }
    const std::string path = folder_.Write(hevc ? "a.hevc" : "a.h264", stream);
    return test::Probe(path).Pictures();
  }
  std::vector<std::int64_t> Stamps(std::int64_t HwPacket::*stamp) const {
    std::vector<std::int64_t> all;
    for (const auto& packet : packets_) all.push_back((*packet).*stamp);
    return all;
  }

  const test::TemporaryFolder folder_;
  const test::ScopedVariable vendors_{"XVWRITER_VENDOR_FOLDER", VENDOR_FOLDER};
  Ref<NVEncoderHW> encoder_ = MakeRef<NVEncoderHW>();
  Feed feed_;
  HwOpenReport report_;
  std::vector<Ref<HwPacket>> packets_;
};

NV_ENC_OPEN_ENCODE_SESSION_EX_PARAMS LastSession() {
  return vendor::Calls("nvEncOpenEncodeSessionEx")
      .back()
      .As<NV_ENC_OPEN_ENCODE_SESSION_EX_PARAMS>();
}

// --- the way through ---

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
    std::vector<std::uint8_t> headers(1024);
    std::size_t size = headers.size();
    EXPECT_EQ(encoder_->GetHeaders(headers.data(), &size), Status(S_OK));
    EXPECT_GT(size, 8U);
    EncodeAll(20);
    EXPECT_EQ(packets_.size(), 20U);
    const test::ProbedStream stream = Decode(one.hevc);
    ASSERT_EQ(stream.lumaMeans.size(), 20U);
    for (int i = 0; i < 20; ++i) {
      EXPECT_NEAR(stream.lumaMeans[static_cast<std::size_t>(i)], 40 + 5 * i, 2);
    }
    std::vector<std::int64_t> shown = Stamps(&HwPacket::pts);
    const std::vector<std::int64_t> decoded = Stamps(&HwPacket::dts);
    EXPECT_TRUE(std::is_sorted(decoded.begin(), decoded.end(), std::less_equal<>()));
    for (std::size_t i = 0; i < shown.size(); ++i) EXPECT_LE(decoded[i], shown[i]);
    EXPECT_TRUE(packets_[0]->key);
    EXPECT_EQ(std::count_if(packets_.begin(), packets_.end(), [](auto& p) { return p->key; }), 2);
    std::sort(shown.begin(), shown.end());
    for (int i = 0; i < 20; ++i) EXPECT_EQ(shown[static_cast<std::size_t>(i)], 2 * i);
    encoder_->Close();
    EXPECT_THAT(vendor::BrokenRules(), IsEmpty());
  }
}

TEST_F(NvencEncoderTest, RingServesAnEncoderThatHoldsBackManyPictures) {
  vendor::Configure("bframes=12 delay=30");
  ASSERT_EQ(Open("bf=12 g=26"), Status(S_OK));
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

// 6 of 486 lines go, at the top; fields have chroma of their own.
TEST_F(NvencEncoderTest, NtscLosesItsTopLinesAndFieldsKeepTheirChroma) {
  const Feed ntsc{.width = 720, .height = 486, .interlace = eXvI_BottomFirst};
  ASSERT_EQ(Open("preset=lossless", ntsc), Status(S_OK));
  auto bytes = test::DrawPicture(ntsc, [](int component, int, int y) {
    return component == 0 ? 16 + y / 4 : y % 2 == 0 ? 100 : 160;
  });
  const test::ProbedStream stream = CodedPicture(bytes);
  EXPECT_EQ(stream.height, 480);
  EXPECT_EQ(stream.first.at(0).At(0, 0), 17);
  EXPECT_EQ(stream.first.at(0).At(700, 479), 16 + 485 / 4);
  for (const int row : {0, 1, 118, 239}) {
    EXPECT_EQ(stream.first.at(1).At(300, row), row % 2 == 0 ? 100 : 160) << row;
  }
}

TEST_F(NvencEncoderTest, FieldsAreCodedInTheSourcesOrder) {
  for (const auto& [interlace, attributes, structure] :
       {std::tuple{eXvI_TopFirst, "", NV_ENC_PIC_STRUCT_FIELD_TOP_BOTTOM},
        std::tuple{eXvI_BottomFirst, "", NV_ENC_PIC_STRUCT_FIELD_BOTTOM_TOP},
        std::tuple{eXvI_Progressive, "interlace=top", NV_ENC_PIC_STRUCT_FIELD_TOP_BOTTOM},
        std::tuple{eXvI_TopFirst, "interlace=progressive", NV_ENC_PIC_STRUCT_FRAME}}) {
    vendor::Reset();
    ASSERT_EQ(Open(attributes, {.width = 96, .height = 64, .interlace = interlace}), Status(S_OK));
    EncodeAll(3);
    const auto picture = vendor::Calls("nvEncEncodePicture").front().As<NV_ENC_PIC_PARAMS>();
    EXPECT_EQ(picture.pictureStruct, structure) << attributes << interlace;
    encoder_->Close();
  }
}

// --- what an adapter lacks ---

TEST_F(NvencEncoderTest, WhatTheAdapterLacksIsBroughtDownAndNamed) {
  vendor::Configure("driver=11.1 bframes=0 fields=0 lossless=0");
  const Feed fields{.width = 96, .height = 64, .interlace = eXvI_TopFirst};
  ASSERT_EQ(Open("preset=lossless level=6.2 tier=main enableLTR=yes rc_type=cbr", fields),
            Status(S_OK))
      << encoder_->Failure();
  EXPECT_THAT(report_.adjusted,
              ElementsAre(HasSubstr("preset=lossless (the encoder has no lossless preset"),
                          "bf=7 (the encoder makes no B pictures)",
                          HasSubstr("interlace=auto (the encoder has no fields"),
                          HasSubstr("level=6.2 (the encoder has other levels")));
  EXPECT_THAT(report_.unused, ElementsAre("tier", "enableLTR"));
  EncodeAll(5);
  EXPECT_EQ(Decode().pictureTypes.find('B'), std::string::npos);
  encoder_->Close();

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

// --- faults ---

TEST_F(NvencEncoderTest, EveryCallThatFailsAtOpenIsToldAndLeavesNothing) {
  for (const char* call :
       {"cuInit", "cuDeviceGetCount", "cuDeviceGet", "cuDeviceGetName", "cuCtxCreate",
        "cuCtxPushCurrent", "NvEncodeAPICreateInstance", "nvEncOpenEncodeSessionEx",
        "nvEncGetEncodeGUIDCount", "nvEncGetEncodeGUIDs", "nvEncGetEncodePresetCount",
        "nvEncGetEncodePresetGUIDs", "nvEncGetEncodePresetConfig", "nvEncGetInputFormatCount",
        "nvEncGetInputFormats", "nvEncInitializeEncoder", "nvEncCreateInputBuffer",
        "nvEncCreateBitstreamBuffer"}) {
    SCOPED_TRACE(call);
    vendor::Reset();
    encoder_ = MakeRef<NVEncoderHW>();
    // 20: an internal error of NVENC; CUDA has numbers of its own.
    vendor::Configure(std::string("fail=") + call + ":1+:20");
    const Status status = Open();
    EXPECT_EQ(status, Status(call == std::string("NvEncodeAPICreateInstance") ? XV_E_VENDOR_LIBRARY
                                                                              : E_FAIL));
    EXPECT_THAT(encoder_->Failure(), AllOf(HasSubstr(call), HasSubstr("(20)")));
    EXPECT_THAT(vendor::Held(), IsEmpty());
    vendor::Reset();
    ASSERT_EQ(Open(), Status(S_OK)) << encoder_->Failure();
    EncodeAll(2);
    EXPECT_EQ(packets_.size(), 2U);
    encoder_->Close();
  }
}

TEST_F(NvencEncoderTest, ARefusedFirstCallIsTriedOnceMoreWithoutAChoiceOfAdapter) {
  vendor::Configure("fail=nvEncOpenEncodeSessionEx:1:20");
  EXPECT_EQ(Open(), Status(S_OK));
  encoder_->Close();
  vendor::Reset();
  vendor::Configure("fail=nvEncOpenEncodeSessionEx:1:20");
  EXPECT_EQ(Open("force_gpu=0"), Status(E_FAIL));
}

TEST_F(NvencEncoderTest, SessionLimitIsToldAndTheOthersGoOn) {
  vendor::Configure("sessions=1");
  // On a thread that ends: nothing of the device may stay with it.
  EXPECT_EQ(std::async(std::launch::async, [&] { return Open(); }).get(), Status(S_OK));
  const Ref<NVEncoderHW> first = std::exchange(encoder_, MakeRef<NVEncoderHW>());
  EXPECT_EQ(Open(), Status(E_FAIL));
  EXPECT_THAT(encoder_->Failure(), HasSubstr("no more encoding sessions at once"));
  encoder_ = first;
  EncodeAll(3);
  EXPECT_EQ(packets_.size(), 3U);
}

struct StreamFault {
  const char* call;
  int code;
  HRESULT status;       // of the picture
  std::size_t comeOut;  // access units, of 8
};

// One call fails in mid-stream: its picture is told of, all others come out, at once or late.
TEST_F(NvencEncoderTest, AFaultInMidStreamCostsNoOtherPicture) {
  for (const std::string delay : {"delay=0", "delay=9"}) {
    for (const StreamFault& one :
         {StreamFault{"nvEncLockInputBuffer:4", 20, E_FAIL, 7},
          StreamFault{"nvEncUnlockInputBuffer:4", 20, E_FAIL, 7},
          StreamFault{"nvEncEncodePicture:6", NV_ENC_ERR_OUT_OF_MEMORY, E_OUTOFMEMORY, 7},
          StreamFault{"nvEncEncodePicture:4", 8, E_FAIL, 7},
          StreamFault{"nvEncEncodePicture:4", NV_ENC_ERR_ENCODER_BUSY, S_OK, 8},
          StreamFault{"nvEncUnlockBitstream:2", 20, E_FAIL, delay == "delay=0" ? 8U : 7U},
          StreamFault{"nvEncLockBitstream:3", 20, E_FAIL, 8},
          StreamFault{"cuCtxPushCurrent:4", 20, E_FAIL, 7}}) {
      SCOPED_TRACE(delay + one.call);
      vendor::Reset();
      ASSERT_EQ(Open("preset=low_latency"), Status(S_OK));
      vendor::Reset();
      vendor::Configure(delay + " fail=" + one.call + ":" + std::to_string(one.code));
      Status worst;
      for (int i = 0; i < 8; ++i) worst.Update(Put(i));
      EXPECT_EQ(worst, Status(one.status));
      EXPECT_THAT(encoder_->Failure(), HasSubstr(worst.Failed() ? std::to_string(one.code) : ""));
      EXPECT_EQ(Drain(), Status(XV_E_NOTHING_MORE));
      EXPECT_EQ(packets_.size(), one.comeOut);
      encoder_->Close();
    }
  }
}

TEST_F(NvencEncoderTest, AnEndThatFailsGivesWhatWasReady) {
  vendor::Configure("fail=nvEncEncodePicture:7:20");
  ASSERT_EQ(Open("bf=2 g=30"), Status(S_OK));
  for (int i = 0; i < 6; ++i) EXPECT_TRUE(Put(i).Ok());
  EXPECT_EQ(Drain(), Status(E_FAIL));
  EXPECT_EQ(Drain(), Status(XV_E_NOTHING_MORE));
  EXPECT_EQ(packets_.size(), 4U);  // I, P, B, B; two B pictures wait for another P
}

TEST_F(NvencEncoderTest, ALostDeviceEndsTheStreamInTheEnd) {
  ASSERT_EQ(Open("bf=2"), Status(S_OK));
  vendor::Configure("lose=nvEncEncodePicture:9");
  Status worst;
  for (int i = 0; i < 12; ++i) worst.Update(Put(i));
  EXPECT_TRUE(worst.Failed());
  for (int i = 0; i < 20 && !(Drain() == Status(XV_E_NOTHING_MORE)); ++i) {
  }
  EXPECT_EQ(Drain(), Status(XV_E_NOTHING_MORE));
  EXPECT_FALSE(packets_.empty());
}

// --- waiting ---

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

TEST_F(NvencEncoderTest, ThreeSecondsWithoutAnOutputAreNothingYetOrAFullRing) {
  vendor::Configure("stuck=1");
  ASSERT_EQ(Open("preset=low_latency"), Status(S_OK));
  for (int i = 0; i < 4; ++i) EXPECT_EQ(Put(i), Status(S_FALSE));
  const auto before = std::chrono::steady_clock::now();
  EXPECT_EQ(Put(4), Status(E_UNEXPECTED));
  EXPECT_THAT(encoder_->Failure(), HasSubstr("3 seconds"));
  EXPECT_EQ(Drain(), Status(S_FALSE));
  EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(5900));
  vendor::Configure("stuck=0");
  EXPECT_EQ(Drain(), Status(XV_E_NOTHING_MORE));
  EXPECT_EQ(packets_.size(), 4U);
}

}  // namespace
}  // namespace xv
