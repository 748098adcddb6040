#include <gmock/gmock.h>

#include "codec/audio_format_pick.h"
#include "codec/codec_choice.h"
#include "codec/dv_family.h"
#include "codec/pixel_format_pick.h"
#include "codec/setup_stream.h"
#include "codec/video_geometry.h"
#include "picture/pixel_formats.h"
#include "support/needed.h"

namespace xv {
namespace {

using XMLParse::CoXMLNode;
using XMLParse::MergeMode;
using XMLParse::XMLNodePtr;

XMLNodePtr Options(const char* name, const char* text) {
  const XMLNodePtr node = CoXMLNode::Create(name);
  node->MergeText(text, MergeMode::kReplace);
  return node;
}

AvPtr<AVFormatContext> Output(const char* format, const char* url) {
  AVFormatContext* context = nullptr;
  avformat_alloc_output_context2(&context, nullptr, format, url);
  return AvPtr<AVFormatContext>(context);
}

XV_VID_PROPS Raster(int width, int height, double rate,
                    std::uint32_t interlace = eXvI_Progressive) {
  XV_VID_PROPS vid{};
  vid.fccColor = kFccUYVY;
  vid.nWidth = width;
  vid.nHeight = height;
  vid.dblRate = rate;
  vid.eInterlace = interlace;
  return vid;
}

TEST(CodecChoice, VendorNamesPresetTheirOptions) {
  const auto mp4 = Output("mp4", "a.mp4");
  for (const auto& [text, code, key, value] :
       {std::tuple{"codec=l264", PseudoCodec::kNvenc264, "preset", "lossless"},
        {"codec=L264 preset=slow", PseudoCodec::kNvenc264, "preset", "slow"},
        {"codec=q264sw force_gpu=1", PseudoCodec::kQuick264, "force_gpu", "-1"},
        {"codec=q264hw force_gpu=1", PseudoCodec::kQuick264, "force_gpu", "1"},
        {"codec=q264hw", PseudoCodec::kQuick264, "force_gpu", "0"},
        {"codec=c264", PseudoCodec::kCuda264, "force_gpu", ""}}) {
    const XMLNodePtr node = Options("video", text);
    EXPECT_EQ(ChooseCodec(*node, *mp4, AV_CODEC_ID_H264).pseudo, code) << text;
    EXPECT_EQ(node->Text(key), value) << text;
  }
}

TEST(VideoGeometry, TimeBasesOfTheRates) {
  for (const auto& [rate, num, den] : {std::tuple{25.0, 1, 25},
                                       {29.97, 1001, 30000},
                                       {60000.0 / 1001, 1001, 60000},
                                       {23.976, 1001, 24000},
                                       {23.98, 1001, 24000},
                                       {12.345, 10000, 123450},
                                       {0.0, 1, 25}}) {
    const AVRational base = TimeBaseFromRate(rate);
    EXPECT_TRUE(base.num == num && base.den == den) << rate;
  }
}

TEST(VideoGeometry, LettersOfTheSizeRuleTheFieldOrder) {
  const XV_VID_PROPS hd = Raster(1920, 1080, 25, eXvI_TopFirst);
  for (const auto& [size, order] : {std::pair{"720x576I", eXvI_TopFirst},
                                    {"720x480I", eXvI_BottomFirst},
                                    {"720x486I", eXvI_BottomFirst},
                                    {"720x576b", eXvI_BottomFirst},
                                    {"720x480T", eXvI_TopFirst},
                                    {"1920x1080P", eXvI_Progressive},
                                    {"640x360", eXvI_Progressive},
                                    {"1920x1080", eXvI_TopFirst}}) {
    const XMLNodePtr node = Options("video", (std::string("size=") + size).c_str());
    EXPECT_EQ(ResolveVideoGeometry(hd, *node, AV_CODEC_ID_H264).vid.eInterlace, order) << size;
  }
}

TEST(VideoGeometry, TopHasNoSayForDv) {
  const XMLNodePtr node = Options("video", "dv_format=dv25 top=0");
  EXPECT_EQ(ResolveVideoGeometry(Raster(720, 576, 25), *node, AV_CODEC_ID_DVVIDEO).vid.eInterlace,
            eXvI_TopFirst);
}

TEST(DvFamily, RastersFollowRateAndSize) {
  for (const auto& [width, height, rate, index, outWidth, outHeight, outFormat] :
       {std::tuple{720, 576, 25.0, -1, 720, 576, AV_PIX_FMT_YUYV422},
        {720, 486, 29.97, 0, 720, 480, AV_PIX_FMT_YUV411P},
        {720, 576, 25, 0, 720, 576, AV_PIX_FMT_YUV420P},
        {720, 576, 25, 1, 720, 576, AV_PIX_FMT_YUV411P},
        {1920, 1080, 25, -1, 1440, 1080, AV_PIX_FMT_YUYV422},
        {1920, 1080, 29.97, -1, 1280, 1080, AV_PIX_FMT_YUYV422},
        {1280, 720, 50, -1, 960, 720, AV_PIX_FMT_YUYV422}}) {
    int format = AV_PIX_FMT_NONE;
    const XV_VID_PROPS vid = DvRaster(Raster(width, height, rate), index, &format);
    EXPECT_TRUE(vid.nWidth == outWidth && vid.nHeight == outHeight && format == outFormat)
        << width << "x" << height << "@" << rate;
  }
}

TEST(PixelFormatPick, WalksFromTheSourceDown) {
  using Formats = std::vector<AVPixelFormat>;
  const Formats x264 = {AV_PIX_FMT_YUV422P, AV_PIX_FMT_YUV420P, AV_PIX_FMT_NV12};
  for (const auto& [codec, formats, source, mode422, wanted] :
       {std::tuple{AV_CODEC_ID_H264, x264, kFccUYVY, false, AV_PIX_FMT_YUV420P},
        {AV_CODEC_ID_H264, x264, kFccUYVY, true, AV_PIX_FMT_YUV422P},
        {AV_CODEC_ID_H264, x264, kFccARGB32, false, AV_PIX_FMT_YUV420P},
        {AV_CODEC_ID_HUFFYUV, Formats{AV_PIX_FMT_RGB24, AV_PIX_FMT_BGRA}, kFccRGB32, false,
         AV_PIX_FMT_BGRA},
        {AV_CODEC_ID_DPX, Formats(), kFccR210, false, AV_PIX_FMT_RGB48LE},
        {AV_CODEC_ID_RAWVIDEO, Formats(), kFccHDYC, false, AV_PIX_FMT_UYVY422}}) {
    Formats offered = formats;
    offered.push_back(AV_PIX_FMT_NONE);
    const AVPixelFormat* list = formats.empty() ? nullptr : offered.data();
    EXPECT_EQ(PickPixelFormat(codec, list, source, mode422).format, wanted) << codec << source;
  }
  EXPECT_EQ(PickPixelFormat(AV_CODEC_ID_RAWVIDEO, nullptr, kFccHDYC, false).tag, kFccHDYC);
}

TEST(AudioFormatPick, DepthAndRate) {
  const AVCodec& aac = test::Needed(avcodec_find_encoder_by_name("aac"));
  const AVCodec& flac = test::Needed(avcodec_find_encoder_by_name("flac"));
  const AVCodec& mp2 = test::Needed(avcodec_find_encoder_by_name("mp2"));
  EXPECT_EQ(PickSampleFormat(aac, 16), AV_SAMPLE_FMT_FLTP);
  EXPECT_EQ(PickSampleFormat(flac, 24), AV_SAMPLE_FMT_S32);
  EXPECT_EQ(PickSampleFormat(flac, 16), AV_SAMPLE_FMT_S16);
  EXPECT_EQ(PickSampleRate(SampleRatesOf(mp2), 48000), 48000);
  EXPECT_EQ(PickSampleRate(SampleRatesOf(mp2), 40000), 44100);
  EXPECT_EQ(PickSampleRate(SampleRatesOf(mp2), 96000), 48000);
  EXPECT_EQ(
      PickSampleRate(SampleRatesOf(test::Needed(avcodec_find_encoder_by_name("pcm_s16le"))), 12345),
      12345);
}

// One track through SetupStream, with the encoder open.
struct OpenTrack {
  AvPtr<AVFormatContext> oc;
  StreamHolder holder;
  Status status;

  OpenTrack(const char* format, const char* kind, const char* options, const XV_AV_PROPS& props)
      : oc(Output(format, "a.x")) {
    status = SetupStream(holder, {oc.get(), nullptr, &props, 0, Options(kind, options),
                                  AV_CODEC_ID_NONE, 0, "", false});
  }
};

XV_AV_PROPS Media() {
  XV_AV_PROPS props{};
  props.vid = Raster(720, 576, 25);
  props.aud = {2, 48000, 16, 0};
  return props;
}

TEST(SetupStream, MpegRateLimitsComeFromTheBitRate) {
  const OpenTrack set("mpegts", "video", "codec=mpeg2video b=5M", Media());
  ASSERT_EQ(set.status.code(), S_OK);
  EXPECT_EQ(set.holder.codec->rc_max_rate, 5'000'000);
  EXPECT_EQ(set.holder.codec->rc_buffer_size, 2'500'000);
  const OpenTrack unset("mpegts", "video", "codec=mpeg2video", Media());
  EXPECT_EQ(unset.holder.codec->rc_max_rate, 1048576);
  EXPECT_EQ(unset.holder.codec->rc_buffer_size, 524288);
  const OpenTrack none("mpegts", "video", "codec=mpeg2video b=5M maxrate=0", Media());
  EXPECT_EQ(none.holder.codec->rc_max_rate, 0);
  EXPECT_EQ(none.holder.codec->rc_buffer_size, 0) << "no limit needs no buffer";
}

TEST(SetupStream, TagOfTheWrongLengthIsNone) {
  EXPECT_NE(OpenTrack("mov", "video", "codec=mpeg4 vtag=abc", Media()).holder.codec->codec_tag,
            FourCC("abc\0"));
}

}  // namespace
}  // namespace xv
