#pragma once

#include <algorithm>
#include <cstdlib>

#include "hw/hw_encoder.h"
#include "support/media_probe.h"
#include "support/vendor/vendor_fixture.h"

namespace xv::test {

constexpr Feed kSmallNv12{.layout = kFccNV12, .width = 90, .height = 60};

inline XV_VID_PROPS PropsOf(const Feed& feed) {
  XV_VID_PROPS vid{};
  vid.fccColor = feed.layout;
  vid.nWidth = feed.width;
  vid.nHeight = feed.height;
  vid.nRowBytes = static_cast<std::int32_t>(FlatPicture(feed, 0).size()) / std::abs(feed.height);
  if (IsPlanar420(feed.layout) || feed.layout == kFccNV12) vid.nRowBytes = feed.width;
  vid.eInterlace = static_cast<std::uint32_t>(feed.interlace);
  vid.dblRate = feed.rate;
  return vid;
}

// A vendor's encoder on the stand-ins, and what came out of it. Picture `number` has the luma that
// MakeFrame gives it, and twice its number as its stamp.
template <class Encoder>
class EncoderTest : public WithQuick {
 protected:
  EncoderTest() { av_log_set_level(AV_LOG_ERROR); }
  void TearDown() override {
    encoder_ = nullptr;
    WithQuick::TearDown();
  }

  Status Open(const std::string& attributes = {}, const Feed& feed = kSmallNv12,
              bool hevc = false) {
    feed_ = feed;
    hevc_ = hevc;
    EXPECT_EQ(NodeFromText("video", attributes, &node_), Status(S_OK));
    packets_.clear();
    return encoder_->Open({PropsOf(feed), node_.get(), hevc, {1, 50}}, &report_);
  }
  Status Put(int number) {
    auto bytes = FlatPicture(feed_, static_cast<std::uint8_t>(40 + 5 * (number % 32)));
    return PutBytes(bytes, 2 * number);
  }
  Status PutBytes(std::vector<std::uint8_t>& bytes, std::int64_t pts) {
    const ImageView view = MakeImageView(PropsOf(feed_), bytes.data());
    const Status status = Encode(&view, pts);
    std::ranges::fill(bytes, std::uint8_t{0});  // the encoder has its copy
    return status;
  }
  // Takes what is ready.
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
  // Ends the stream; the status that ended it.
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
  // The bytes of GetHeaders.
  std::string Headers() {
    std::string headers(1024, '\0');
    std::size_t size = headers.size();
    EXPECT_EQ(encoder_->GetHeaders(reinterpret_cast<std::uint8_t*>(headers.data()), &size),
              Status(S_OK));
    headers.resize(size);
    return headers;
  }
  // As a foreign reader sees the packets.
  ProbedStream Decode() {
    std::string stream;
    for (const auto& packet : packets_) {
      stream.append(reinterpret_cast<const char*>(packet->data()), packet->size());
    }
    return Probe(folder_.Write(hevc_ ? "a.hevc" : "a.h264", stream)).Pictures();
  }
  // All of `count` pictures are there, in their order, with stamps that a muxer takes.
  void ExpectWholeStream(int count) {
    ASSERT_THAT(packets_, testing::SizeIs(count));
    EXPECT_TRUE(packets_.front()->key);
    std::vector<std::int64_t> shown;
    for (std::size_t i = 0; i < packets_.size(); ++i) {
      shown.push_back(packets_[i]->pts);
      EXPECT_LE(packets_[i]->dts, packets_[i]->pts);
      EXPECT_TRUE(i == 0 || packets_[i]->dts > packets_[i - 1]->dts) << i;
    }
    std::ranges::sort(shown);
    for (int i = 0; i < count; ++i) EXPECT_EQ(shown[static_cast<std::size_t>(i)], 2 * i);
    const ProbedStream decoded = Decode();
    ASSERT_THAT(decoded.lumaMeans, testing::SizeIs(count));
    for (const int row : {0, 14, 29}) {
      EXPECT_NEAR(decoded.first.at(1).At(feed_.width / 2 - 1, row), 128, 6) << row;
      EXPECT_NEAR(decoded.first.at(2).At(0, row), 128, 6) << row;
    }
    for (int i = 0; i < count; ++i) {
      EXPECT_NEAR(decoded.lumaMeans[static_cast<std::size_t>(i)], 40 + 5 * i, 3) << i;
    }
  }

  const TemporaryFolder folder_;
  XMLParse::XMLNodePtr node_;
  Ref<Encoder> encoder_ = MakeRef<Encoder>();
  Feed feed_;
  bool hevc_ = false;
  HwOpenReport report_;
  std::vector<Ref<HwPacket>> packets_;
};

}  // namespace xv::test
