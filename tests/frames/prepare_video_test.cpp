#include "frames/prepare_video.h"

#include <gmock/gmock.h>

#include "frames/frames.h"
#include "picture/pictures.h"
#include "picture/pixel_formats.h"

namespace xv {
namespace {

using test::FrameOf;
using test::Picture;
using ::testing::ElementsAre;
using XMLParse::CoXMLNode;

VideoPreparation Preparation(const XV_VID_PROPS& target, int format,
                             AVCodecID codec = AV_CODEC_ID_H264) {
  VideoPreparation preparation;
  preparation.target = target;
  preparation.codec = {false,  {1, 25}, target.nWidth, std::abs(target.nHeight),
                       format, codec,   false};
  preparation.streamNode = CoXMLNode::Create("video");
  preparation.sessionNode = CoXMLNode::Create("session");
  return preparation;
}

Status Prepare(VideoPreparation& preparation, const Ref<IXvFrame>& frame, Ref<XvFrameFFM>* out,
               std::int64_t* missing = nullptr) {
  const Ref<IXfFrame> view = Query<IXfFrame>(frame.get());
  return PrepareVideoFrame(preparation, nullptr, view.get(), out, missing);
}

// What becomes of a frame at that time over the picture.
const AVFrame& Prepared(VideoPreparation& preparation, const Picture& source, Ref<XvFrameFFM>* out,
                        std::int64_t start = 0) {
  if (!Prepare(preparation, FrameOf(source, start), out).Ok() || !*out) {
    throw std::runtime_error("no picture");
  }
  return *(*out)->picture();
}

constexpr std::int64_t kFrameTime = 400'000;

// One picture through an encoder of FFmpeg's.
AvPtr<AVPacket> EncodeOne(AVCodecID id, const AVFrame& picture) {
  AvPtr<AVCodecContext> codec(avcodec_alloc_context3(avcodec_find_encoder(id)));
  codec->width = picture.width;
  codec->height = picture.height;
  codec->pix_fmt = static_cast<AVPixelFormat>(picture.format);
  codec->time_base = {1, 25};
  AvPtr<AVPacket> packet(av_packet_alloc());
  EXPECT_GE(avcodec_open2(codec.get(), nullptr, nullptr), 0);
  EXPECT_GE(avcodec_send_frame(codec.get(), &picture), 0);
  EXPECT_GE(avcodec_receive_packet(codec.get(), packet.get()), 0);
  return packet;
}

// `at`: starts in ticks of 40 ms. Gives "." for a tick in step, the number of empty ticks ahead of
// one, "x" for a picture without a tick.
std::string Steps(PtsClock& clock, const std::vector<double>& at, double length = 1) {
  std::string steps;
  for (const double tick : at) {
    const auto start = std::llround(tick * kFrameTime);
    const PtsClock::Place place =
        clock.Take(start, start + std::llround(length * kFrameTime), {1, 25}, 25);
    steps += place.missing < 0 ? "x" : place.missing == 0 ? "." : std::to_string(place.missing);
  }
  return steps;
}

TEST(PtsClock, TremblingStampsKeepTheirTicksAndGapsAreExact) {
  PtsClock clock;
  EXPECT_EQ(Steps(clock, {0, 1.5, 1.5, 3.4, 3.5, 5.3}), "......");
  EXPECT_EQ(Steps(clock, {7, 8, 19}), "1.10") << "one tick, and ten";
  EXPECT_EQ(Steps(clock, {19, 19.2, 20}), "xx.") << "no tick left";
  EXPECT_EQ(clock.lastPts(), 20);
  // A long picture says where the next one is; what is passed leaves its ticks empty.
  EXPECT_EQ(Steps(clock, {21}, 4), ".");
  EXPECT_EQ(clock.End(), 25);
  clock.Pass(25 * kFrameTime, 26 * kFrameTime, {1, 25}, 25);
  EXPECT_EQ(clock.End(), 26);
  EXPECT_EQ(Steps(clock, {26}), "4");
  // Another rate than the ticks' leaves the stamps alone, another base starts anew.
  EXPECT_EQ(clock.Take(4 * kFrameTime, 0, {1, 25}, 50).pts, 4);
  EXPECT_EQ(clock.Take(0, 0, {1, 50}, 50).pts, 0);
  EXPECT_EQ(clock.Take(0, 0, {0, 1}, 50).pts, AV_NOPTS_VALUE);
  EXPECT_EQ(AVTimeFromRefTime(200'000, {1, 25}), 1) << "half a tick goes away from zero";
  EXPECT_EQ(AVTimeFromRefTime(10, {0, 0}), 1);
}

// At 60 pictures a second 10 ms are more than half a tick.
TEST(PtsClock, FollowsTheMeanWhereTicksAreShort) {
  PtsClock clock;
  std::int64_t shift = 0;
  int steps = 0;
  for (int i = 0; i < 6000; ++i) {
    if (i == 3000) shift = 1;                                             // a picture is lost
    const std::int64_t off = i == 0 ? 0 : (i * 7919 % 201 - 100) * 1000;  // 10 ms at most
    const std::int64_t start = (i + shift) * 10'000'000 / 60 + off;
    const PtsClock::Place place = clock.Take(start, start + 166'667, {1, 60}, 60);
    steps += place.missing != 0 ? 1 : 0;
    if (i < 3000 || i > 3020) {
      ASSERT_EQ(place.pts, i + shift) << i;
    }
  }
  EXPECT_EQ(steps, 1);
}

TEST(ScalingQuality, FollowsKindAndRatio) {
  const auto props = [](int height, std::uint32_t order, double rate) {
    XV_VID_PROPS vid = test::VidProps(kFccUYVY, 720, height, order);
    vid.dblRate = rate;
    return vid;
  };
  const auto top = eXvI_TopFirst;
  const auto frame = eXvI_Progressive;
  EXPECT_EQ(ResolveScalingQuality(5, props(576, top, 25), props(288, top, 25), -1), 5);
  EXPECT_EQ(ResolveScalingQuality(0, props(1080, top, 25), props(576, top, 25), -1), 18);
  EXPECT_EQ(ResolveScalingQuality(0, props(1080, top, 25), props(720, top, 25), -1), 16);
  EXPECT_EQ(ResolveScalingQuality(0, props(576, top, 25), props(1080, top, 25), 0), 18);
  EXPECT_EQ(ResolveScalingQuality(0, props(1080, top, 25), props(720, frame, 50), -1), 16);
  EXPECT_EQ(ResolveScalingQuality(0, props(1080, frame, 25), props(480, frame, 25), -1), 8);
  EXPECT_EQ(ResolveScalingQuality(0, props(1080, frame, 25), props(720, frame, 25), -1), 4);
}

TEST(PrepareVideo, SameFormatIsWrappedWithoutACopy) {
  const Picture source(kFccI420, 64, 48);
  VideoPreparation preparation = Preparation(source.vid, AV_PIX_FMT_YUV420P);
  Ref<XvFrameFFM> frame;
  const AVFrame& planar = Prepared(preparation, source, &frame, 2 * kFrameTime);
  EXPECT_EQ(planar.data[0], source.bytes.data());
  EXPECT_EQ(planar.data[1], source.bytes.data() + 64 * 48);
  EXPECT_EQ(planar.pts, 2);
  const Picture deep(kFccV210, 96, 8);
  preparation = Preparation(deep.vid, AV_PIX_FMT_YUV422P10LE, AV_CODEC_ID_V210);
  const AVFrame& packed = Prepared(preparation, deep, &frame);
  EXPECT_EQ(packed.data[0], deep.bytes.data());
  EXPECT_EQ(packed.format, kPixFmtV210);
  // Whole pictures become fields where they lie; fields of the other order lie on other lines.
  const Picture fields(kFccI420, 64, 48, eXvI_BottomFirst);
  const Picture exchanged(kFccI420, 64, 48, eXvI_TopFirst);
  preparation = Preparation(fields.vid, AV_PIX_FMT_YUV420P);
  for (const Picture* one : {&source, &exchanged}) {
    const AVFrame& woven = Prepared(preparation, *one, &frame, one == &source ? 0 : kFrameTime);
    EXPECT_EQ(woven.data[0] == one->bytes.data(), one == &source);
    EXPECT_TRUE(woven.interlaced_frame == 1 && woven.top_field_first == 0);
  }
}

// The bytes that FFmpeg's encoder makes of the same picture, whatever the width.
TEST(PrepareVideo, EightBitsBecomeTenAndV210AsTheEncoderWouldPackThem) {
  for (const int width : {96, 98, 100, 134}) {
    for (const std::uint32_t layout : {kFccUYVY, kFccHDYC, kFccYUY2}) {
      Picture source(layout, width, 4);
      for (std::size_t i = 0; i < source.bytes.size(); ++i) {
        source.bytes[i] = static_cast<std::uint8_t>(i * 37 + i / 255);
      }
      Ref<XvFrameFFM> frames[3];
      const auto prepared = [&](int i, AVPixelFormat format, AVCodecID codec) -> const AVFrame& {
        VideoPreparation preparation = Preparation(source.vid, format, codec);
        return Prepared(preparation, source, &frames[i]);
      };
      const AVFrame& packed = prepared(0, AV_PIX_FMT_YUV422P10LE, AV_CODEC_ID_V210);
      const AVFrame& eight = prepared(1, AV_PIX_FMT_YUV422P, AV_CODEC_ID_FFV1);
      const AVFrame& ten = prepared(2, AV_PIX_FMT_YUV422P10LE, AV_CODEC_ID_PRORES);
      ASSERT_EQ(packed.format, kPixFmtV210);
      ASSERT_EQ(packed.linesize[0], (width + 47) / 48 * 128);
      for (int plane = 0; plane < 3; ++plane) {
        const int columns = plane == 0 ? width : width / 2;
        for (int i = 0; i < 4 * columns; ++i) {
          const int x = i % columns, y = i / columns;
          const auto* row =
              reinterpret_cast<const std::uint16_t*>(ten.data[plane] + y * ten.linesize[plane]);
          ASSERT_EQ(row[x], 4 * eight.data[plane][y * eight.linesize[plane] + x]);
        }
      }
      const AvPtr<AVPacket> packet = EncodeOne(AV_CODEC_ID_V210, eight);
      ASSERT_EQ(packet->size, packed.linesize[0] * 4);
      EXPECT_TRUE(std::equal(packet->data, packet->data + packet->size, packed.data[0]))
          << width << " " << layout;
    }
  }
}

TEST(PrepareVideo, ShortOrInvalidFramesAreNothingAndMoveTheClock) {
  Picture source(kFccUYVY, 64, 48);
  VideoPreparation preparation = Preparation(source.vid, AV_PIX_FMT_YUV420P);
  Ref<XvFrameFFM> frame;
  Picture cut = source;
  cut.bytes.resize(3);
  EXPECT_EQ(Prepare(preparation, FrameOf(cut), &frame), S_FALSE);
  EXPECT_EQ(preparation.clock.End(), 1);
  EXPECT_EQ(Prepare(preparation, FrameOf(cut), &frame), S_FALSE);
  std::int64_t missing = 0;
  EXPECT_EQ(Prepare(preparation, FrameOf(source, 3 * kFrameTime), &frame, &missing), S_OK);
  EXPECT_EQ(missing, 0) << "nothing was encoded ahead of it";
  EXPECT_EQ(Prepare(preparation, FrameOf(source), &frame), XV_S_SKIP_FRAME);
  cut.bytes.resize(64 * 2 * 47);
  EXPECT_EQ(Prepare(preparation, FrameOf(cut, 9 * kFrameTime), &frame), E_INVALIDARG);
  preparation.codec.closed = true;
  EXPECT_EQ(Prepare(preparation, FrameOf(source), &frame), E_UNEXPECTED);
}

TEST(PrepareVideo, AnotherAspectOfTheSameSizeIsOnlyRewritten) {
  Picture source(kFccUYVY, 720, 576);
  source.vid.nAspectX = 16;
  source.vid.nAspectY = 9;
  XV_VID_PROPS target = source.vid;
  target.nAspectX = 4;
  target.nAspectY = 3;
  VideoPreparation preparation = Preparation(target, AV_PIX_FMT_UYVY422);
  Ref<XvFrameFFM> frame;
  const AVFrame& told = Prepared(preparation, source, &frame);
  EXPECT_EQ(told.data[0], source.bytes.data());
  EXPECT_EQ(av_cmp_q(told.sample_aspect_ratio, {16, 15}), 0);
  preparation.target.eAspectFit = eXvAF_LetterBox;
  EXPECT_NE(Prepared(preparation, source, &frame, kFrameTime).data[0], source.bytes.data());
}

TEST(PrepareVideo, GeometryAndEditsGoThroughTheConverter) {
  const Picture source = test::Filled(kFccUYVY, 64, 48, 0xFF202020);
  ASSERT_EQ(FillBackground(RegionView(source.View(), 16, 12, 32, 24), 0xFFE0E0E0, 1.0), S_OK);
  VideoPreparation preparation = Preparation(test::VidProps(kFccI420, 32, 24), AV_PIX_FMT_YUV420P);
  Ref<XvFrameFFM> frame;
  EXPECT_EQ(Prepared(preparation, source, &frame).width, 32);
  EXPECT_NEAR(frame->picture()->data[0][1], 44, 3);

  // The stream's crop leaves the bright middle; the frame's own comes first.
  ASSERT_EQ(preparation.streamNode->SetText("crop", "16,12"), S_OK);
  EXPECT_NEAR(Prepared(preparation, source, &frame, kFrameTime).data[0][1], 208, 3);
  const Ref<IXvFrame> own = FrameOf(source, 2 * kFrameTime);
  const auto node = CoXMLNode::Create("frame");
  ASSERT_EQ(node->SetText("crop", "0"), S_OK);
  Query<IXvFrameExtras>(own.get())->NodeSet(node.get());
  ASSERT_EQ(Prepare(preparation, own, &frame), S_OK);
  EXPECT_NEAR(frame->picture()->data[0][1], 44, 3);
}

TEST(PrepareVideo, AttachedMaskBecomesAlpha) {
  const Picture source = test::Filled(kFccRGB32, 16, -8, 0xFFFFFFFF);
  const Picture mask(test::VidProps(kFccRGB8, 16, 8), 51);
  for (const auto& [codec, colour] : {std::pair{AV_CODEC_ID_QTRLE, 51}, {AV_CODEC_ID_PNG, 255}}) {
    VideoPreparation preparation = Preparation(source.vid, AV_PIX_FMT_RGBA, codec);
    const Ref<IXvFrame> frame = FrameOf(source);
    const Ref<IXvFrame> maskFrame = FrameOf(mask);
    Query<IXvFrameExtras>(frame.get())->ObjectSet(u"mask8", maskFrame.get());
    Ref<XvFrameFFM> prepared;
    ASSERT_EQ(Prepare(preparation, frame, &prepared), S_OK);
    const std::uint8_t* pixel = prepared->picture()->data[0];
    EXPECT_THAT(std::vector<int>(pixel, pixel + 4), ElementsAre(colour, colour, colour, 51));
  }
}

TEST(PrepareVideo, PlaceholderIsBlackAndNeverLooksAtTheFrame) {
  VideoPreparation preparation = Preparation(test::VidProps(kFccNV12, 96, 64), AV_PIX_FMT_NV12);
  preparation.synthetic = true;
  Picture empty(kFccUYVY, 8, 8);
  empty.bytes.clear();
  Ref<XvFrameFFM> frame;
  ASSERT_EQ(Prepare(preparation, FrameOf(empty, 3 * kFrameTime), &frame), S_OK);
  EXPECT_EQ(frame->picture()->data[0][95], 0);
  EXPECT_EQ(frame->picture()->data[1][95], 0x80);
  EXPECT_EQ(frame->picture()->pts, 3);
}

}  // namespace
}  // namespace xv
