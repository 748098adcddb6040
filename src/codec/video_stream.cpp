#include "codec/video_stream.h"

#include <algorithm>
#include <cinttypes>
#include <cmath>
#include <cstdlib>

#include "base/text.h"
#include "codec/d10.h"
#include "codec/ffmpeg.h"
#include "codec/hardware.h"
#include "codec/open_codec.h"
#include "codec/option_dictionary.h"
#include "codec/pixel_format_pick.h"
#include "codec/setup_stream.h"
#include "codec/stream_attributes.h"
#include "codec/video_geometry.h"
#include "frames/colour_choice.h"
#include "media/normalise.h"
#include "media/pixel_layout.h"
#include "media/validity.h"
#include "picture/pixel_formats.h"
#include "platform/warning.h"
#include "platform/work_items.h"
#include "values/value_syntax.h"

extern "C" {
#include <libavutil/avstring.h>
#include <libavutil/pixdesc.h>
}

namespace xv {
namespace {

constexpr int kSyntheticWidth = 96;
constexpr int kSyntheticHeight = 64;
// Faster than any raster; above it a "rate" is a mistake that would overflow time bases.
constexpr double kHighestRate = 1000.0;

// Everything that the contexts of the ladder's attempts are built from.
struct VideoPlan {
  const AVCodec* codec = nullptr;
  CodecChoice choice;
  XV_VID_PROPS vid{};
  XV_VID_PROPS input{};  // as the host gives pictures
  MatrixRule matrixRule = MatrixRule::kAuto;
  Matrix matrix = Matrix::kBt601;
  PixelFormatPick pick;
  VideoGeometry geometry;
  std::int64_t d10Rate = 0;  // 0: no D-10
  unsigned d10Tag = 0;
  bool globalHeader = false;
  bool interlacedCoding = false;
};

AVFieldOrder FieldOrderOf(const XV_VID_PROPS& vid) {
  const int order = InterlaceOrder(vid);
  if (order == 0) return AV_FIELD_PROGRESSIVE;
  return order > 0 ? AV_FIELD_TT : AV_FIELD_BB;
}

struct ColourTags {
  AVColorSpace matrix;
  AVColorPrimaries primaries;
};

// Smaller rasters of BT.601 are tagged as SMPTE 170M, which has the same matrix.
ColourTags TagsOf(Matrix matrix) {
  switch (matrix) {
    case Matrix::kBt709:
      return {AVCOL_SPC_BT709, AVCOL_PRI_BT709};
    case Matrix::kBt2020:
      return {AVCOL_SPC_BT2020_NCL, AVCOL_PRI_BT2020};
    case Matrix::kBt601:
      break;
  }
  return {AVCOL_SPC_SMPTE170M, AVCOL_PRI_SMPTE170M};
}

// What the stream says of its colours: what our own matrix makes of RGB is known, HDYC is BT.709,
// and so is high definition but by the classic rule. Of other pictures a rule tells the matrix
// alone. All have one curve, for which QuickTime knows BT.709's name alone.
void TagColours(const VideoPlan& plan, AVCodecContext& context) {
  const AVPixFmtDescriptor* desc = av_pix_fmt_desc_get(context.pix_fmt);
  // A vendor's encoder makes YCbCr of the RGB that it gets.
  const bool vendor = plan.choice.pseudo != PseudoCodec::kNone;
  const bool ycbcr = vendor || (desc != nullptr && (desc->flags & AV_PIX_FMT_FLAG_RGB) == 0);
  if (plan.pick.fullRange) context.color_range = AVCOL_RANGE_JPEG;
  if (!ycbcr) return;
  const bool classic = plan.matrixRule == MatrixRule::kClassic;
  const bool made = IsRgb(plan.input.fccColor);
  const bool known =
      made || plan.input.fccColor == kFccHDYC || (!classic && IsHighDefinition(plan.input));
  const bool ruled = !classic && plan.matrixRule != MatrixRule::kAuto;
  if (!known && !ruled) return;
  ColourTags tags = TagsOf(plan.matrix);
  if (plan.pick.fullRange) tags.matrix = TagsOf(Matrix::kBt601).matrix;
  context.colorspace = tags.matrix;
  if (!plan.pick.fullRange) context.color_range = AVCOL_RANGE_MPEG;
  if (!made && ruled) return;
  context.color_primaries = tags.primaries;
  context.color_trc = AVCOL_TRC_BT709;
}

AvPtr<AVCodecContext> BuildContext(const VideoPlan& plan) {
  AvPtr<AVCodecContext> context(avcodec_alloc_context3(plan.codec));
  if (!context) return nullptr;
  context->codec_type = AVMEDIA_TYPE_VIDEO;
  context->codec_id = plan.choice.id;
  context->width = plan.vid.nWidth;
  const int blank = plan.geometry.linesAbove + plan.geometry.linesBelow;
  context->height = std::abs(plan.vid.nHeight) + blank;
  if (plan.choice.pseudo != PseudoCodec::kNone) {
    context->height = HardwareHeight(plan.choice.pseudo, plan.vid);
  }
  context->time_base = TimeBaseFromRate(plan.vid.dblRate);
  context->framerate = av_inv_q(context->time_base);
  context->pix_fmt = static_cast<AVPixelFormat>(plan.pick.format);
  if (plan.pick.tag != 0) context->codec_tag = plan.pick.tag;
  if (plan.d10Tag != 0) context->codec_tag = plan.d10Tag;
  XV_VID_PROPS coded = plan.vid;
  coded.nHeight = context->height;
  context->sample_aspect_ratio = SampleAspect(coded);
  context->field_order = plan.geometry.codedOrder != AV_FIELD_UNKNOWN ? plan.geometry.codedOrder
                                                                      : FieldOrderOf(plan.vid);
  TagColours(plan, *context);
  if (plan.interlacedCoding) {
    context->flags |= AV_CODEC_FLAG_INTERLACED_DCT | AV_CODEC_FLAG_INTERLACED_ME;
  }
  if (plan.choice.id == AV_CODEC_ID_MPEG1VIDEO) context->mb_decision = 2;
  if (plan.globalHeader) context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  return context;
}

void SetRateLimits(const XMLParse::CoXMLNode& node, AvDictionary& options) {
  std::int64_t rate = ReadRate(node.Get(kBitrate));
  if (rate == 0) rate = node.Get(kB);
  if (rate == 0) rate = 0x100000;
  options.Set("maxrate", std::to_string(rate).c_str(), AV_DICT_DONT_OVERWRITE);
  if (ReadRate(options.Find("maxrate")) == 0) return;  // no limit, so that it needs no buffer
  options.Set("bufsize", std::to_string(rate / 2).c_str(), AV_DICT_DONT_OVERWRITE);
}

// "auto" counts the cores. The fewer of those that session and process may have.
std::string ThreadsOf(const StreamHolder& holder) {
  const std::string told = holder.node->Get(kEncoderThreads);
  if (!EqualsNoCase(told, "auto") && told != "0") return told;
  int most = ThreadsOfEnvironment();
  if (holder.threads > 0) most = most > 0 ? std::min(most, holder.threads) : holder.threads;
  return most > 0 ? std::to_string(std::min(most, kMostEncoderThreads)) : "auto";
}

// The encoder's options, in the order in which one rules over another.
AvDictionary BuildOptions(const StreamHolder& holder, const VideoPlan& plan,
                          const std::string& gopTimecode) {
  const XMLParse::CoXMLNode& node = *holder.node;
  AvDictionary options;
  const AVCodecID id = plan.choice.id;
  const bool dv = id == AV_CODEC_ID_DVVIDEO;
  const std::string bitrate = node.Get(kBitrate);
  const std::string gopSize = node.Get(kGopSize);
  if (!bitrate.empty() && !dv) options.Set("b", bitrate.c_str());
  if (!gopSize.empty() && !dv) options.Set("g", gopSize.c_str());
  DictForFFmpeg(node, VideoAttributes(), options, AV_DICT_DONT_OVERWRITE);
  const bool mpeg =
      id == AV_CODEC_ID_MPEG1VIDEO || id == AV_CODEC_ID_MPEG2VIDEO || id == AV_CODEC_ID_MPEG4;
  if (mpeg) SetRateLimits(node, options);
  KeepFlagsOfContext(options);
  options.Set("threads", ThreadsOf(holder).c_str());
  // With frames side by side this encoder is slower at 2160 lines than on one core, and holds two
  // and a half times as much.
  if (id == AV_CODEC_ID_DNXHD) options.Set("thread_type", "slice", AV_DICT_DONT_OVERWRITE);
  if (!gopTimecode.empty())
    options.Set("gop_timecode", gopTimecode.c_str(), AV_DICT_DONT_OVERWRITE);
  if (const auto slices = node.Find(kSlices)) {
    options.Set("slices", slices->c_str());
  } else if (plan.codec != nullptr &&
             (plan.codec->capabilities & AV_CODEC_CAP_SLICE_THREADS) != 0 &&
             id != AV_CODEC_ID_MJPEG && !dv) {
    options.Remove("slices");
  }
  if (id == AV_CODEC_ID_SNOW) {
    options.Set("strict", "-2");
  } else if (node.Has(kTag)) {
    options.Set("strict", "-1");
  }
  if (const int dc = node.Get(kIntraDc); dc > 8) options.Set("dc", std::to_string(dc - 8).c_str());
  if (id == AV_CODEC_ID_DNXHD || id == AV_CODEC_ID_MPEG1VIDEO) {
    options.Set("ibias", "0", AV_DICT_DONT_OVERWRITE);
  }
  if (plan.d10Rate > 0) {
    SetD10Options(plan.d10Rate, TimeBaseFromRate(plan.vid.dblRate), options);
  }
  return options;
}

// These encoders have no B pictures and refuse to open when a preset asks for some.
void DropRefusedOptions(AVCodecID id, AvDictionary& options) {
  if (id == AV_CODEC_ID_FLV1 || id == AV_CODEC_ID_MJPEG || id == AV_CODEC_ID_WMV1 ||
      id == AV_CODEC_ID_WMV2) {
    options.Remove("bf");
  }
}

// These containers have one stamp for a packet, or none: readers differ by the frames that B
// pictures hold back, and show them earlier or later than their sound.
bool HasOneStamp(const AVFormatContext* oc) {
  constexpr const char* kNames = "asf,asf_stream,avi,ismv,smoothstreaming";
  return oc != nullptr && av_match_name(oc->oformat->name, kNames) != 0;
}

// Unless the user asks for B pictures; a negative number leaves it to the encoder.
void KeepCodingOrder(AvDictionary& options) {
  const char* asked = options.Find("bf");
  if (asked == nullptr || *asked == '-') options.Set("bf", "0");
}

// The picture that stands in where a format needs a video track and there is no video.
XV_VID_PROPS SyntheticProps(const XV_VID_PROPS& input) {
  XV_VID_PROPS vid{};
  vid.fccColor = kFccNV12;
  vid.nWidth = kSyntheticWidth;
  vid.nHeight = kSyntheticHeight;
  vid.nRowBytes = kSyntheticWidth * 2;
  vid.eInterlace = eXvI_Progressive;
  vid.dblRate = input.dblRate > 0 ? input.dblRate : 30.0;
  return vid;
}

CodecChoice SyntheticChoice() {
  CodecChoice choice;
  choice.name = avcodec_find_encoder_by_name("libx264") != nullptr ? "libx264" : "mpeg4";
  choice.id = avcodec_find_encoder_by_name(choice.name.c_str())->id;
  return choice;
}

// DV takes planar pictures only: 4:2:2 material is prepared in planes. Everything else: the pick.
PixelFormatPick PickFor(const VideoPlan& plan, bool mode422) {
  if (plan.choice.id == AV_CODEC_ID_DVVIDEO) {
    const int format = plan.geometry.dvPixelFormat;
    return {format == AV_PIX_FMT_YUYV422 ? AV_PIX_FMT_YUV422P : format};
  }
  if (plan.choice.pseudo != PseudoCodec::kNone) {
    return {HardwarePixelFormat(plan.choice.pseudo, plan.vid.fccColor, mode422)};
  }
  if (plan.d10Rate > 0) return {AV_PIX_FMT_YUV422P};
  return PickPixelFormat(plan.choice.id, plan.codec->pix_fmts, plan.vid.fccColor, mode422);
}

// The record of what the encoder gets, brought into line with the context.
XV_VID_PROPS AlignedProps(const VideoPlan& plan, const AVCodecContext& context) {
  XV_VID_PROPS vid = plan.vid;
  const bool v210 = vid.fccColor == kFccV210 && plan.choice.id == AV_CODEC_ID_V210;
  if (!v210) {
    const std::uint32_t fourcc = FourCCFromPixelFormat(context.pix_fmt, vid.nHeight);
    if (fourcc != 0) vid.fccColor = fourcc;
  }
  vid.nWidth = context.width;
  vid.nHeight = IsRgb(vid.fccColor) ? -std::abs(vid.nHeight) : std::abs(vid.nHeight);
  vid.nRowBytes = NaturalRowBytes(vid.fccColor, vid.nWidth);
  return vid;
}

Status OpenOnHardware(StreamHolder& holder, const VideoPlan& plan) {
  holder.codec = BuildContext(plan);
  if (!holder.codec) return E_OUTOFMEMORY;
  holder.vid = AlignedProps(plan, *holder.codec);
  return OpenHardwareCodec(holder);
}

// Readers take the full range of JPEG pictures for BT.601; pictures that come with another matrix
// are changed on their way.
void ChooseColours(const XV_VID_PROPS& input, const XMLParse::CoXMLNode& node, VideoPlan& plan) {
  plan.input = VideoPropsValid(input, true) ? input : plan.vid;
  NormaliseVideoProps(&plan.input, true);
  const bool jpeg = plan.pick.fullRange && IsRgb(plan.input.fccColor);
  plan.matrixRule = jpeg ? MatrixRule::kBt601 : MatrixRuleOf(node);
  plan.matrix = ChooseMatrix(plan.matrixRule, plan.input);
}

std::uint32_t TagFromText(const XMLParse::CoXMLNode& node) {
  std::string text = node.Get(kVTag);
  if (text.empty()) text = node.Get(kTag);
  if (text.size() < 4) return 0;
  std::uint32_t tag = 0;
  for (int i = 3; i >= 0; --i)
    tag = tag << 8 | static_cast<unsigned char>(text[static_cast<std::size_t>(i)]);
  return tag;
}

Status FinishVideoStreams(StreamHolder& holder, AVFormatContext* oc, AVFormatContext* oc2) {
  RETURN_IF_FAILED(AddStreams(holder, oc, oc2, "Could not alloc stream\n"));
  for (AVStream* stream : {holder.stream, holder.twin}) {
    if (stream == nullptr) continue;
    stream->avg_frame_rate = holder.codec->framerate;
    stream->sample_aspect_ratio = holder.codec->sample_aspect_ratio;
  }
  const std::uint32_t tag = TagFromText(*holder.node);
  if (tag != 0) {
    holder.codec->codec_tag = tag;
    // A muxer refuses a tag that its tables do not know unless it is told to be lenient.
    if (holder.node->Has(kTag)) {
      oc->strict_std_compliance = -1;
      if (oc2 != nullptr) oc2->strict_std_compliance = -1;
    }
  }
  ApplyStreamId(holder, -1);
  ApplyStreamMetadata(holder);
  return FillStreamParameters(holder) < 0 ? Status(E_OUTOFMEMORY) : Status(S_OK);
}

}  // namespace

Status SetupVideoStream(StreamHolder& holder, AVFormatContext* oc, AVFormatContext* oc2,
                        const XV_VID_PROPS& input, CodecChoice choice,
                        const std::string& gopTimecode) {
  VideoPlan plan;
  if (VideoPropsValid(input, true)) {
    XV_VID_PROPS normal = input;
    NormaliseVideoProps(&normal, true);
    if (!std::isfinite(input.dblRate) || normal.dblRate > kHighestRate) return E_INVALIDARG;
    plan.choice = std::move(choice);
    plan.geometry = ResolveVideoGeometry(normal, *holder.node, plan.choice.id,
                                         EqualsNoCase(oc->oformat->name, "dv"));
    if (IsD10(*holder.node, plan.choice.id, *oc->oformat)) {
      RETURN_IF_FAILED(ReadD10Rate(*holder.node, &plan.d10Rate, &holder.failure));
      plan.geometry = D10Geometry(plan.geometry.vid);
      plan.d10Tag = D10Tag(plan.d10Rate, plan.geometry.vid.dblRate, *oc->oformat);
    }
  } else {
    plan.choice = SyntheticChoice();
    plan.geometry.vid = SyntheticProps(input);
    holder.synthetic = true;
    (void)holder.node->SetText(kB.name, "16K");
  }
  plan.vid = plan.geometry.vid;
  const bool hardware = plan.choice.pseudo != PseudoCodec::kNone;
  if (!hardware) plan.codec = FindEncoder(plan.choice, AVMEDIA_TYPE_VIDEO);
  if (plan.codec == nullptr && !hardware) {
    Warn("codec not found\n");
    return E_FAIL;
  }
  if (plan.choice.nameUnknown) holder.unusedOptions.emplace_back(kCodec.name);

  const bool mode422 = holder.node->Get(kV422) || holder.node->Get(kUseVpp);
  plan.pick = PickFor(plan, mode422);
  if (plan.pick.format == AV_PIX_FMT_NONE) return E_FAIL;
  ChooseColours(input, *holder.node, plan);
  plan.globalHeader = WantsHeadersApart(*oc, oc2);
  const int interlace = holder.node->Get(kInterlace);
  plan.interlacedCoding =
      interlace == 1 || plan.d10Rate > 0 || (interlace == -1 && InterlaceOrder(plan.vid) != 0);

  holder.type = AVMEDIA_TYPE_VIDEO;
  holder.pseudo = plan.choice.pseudo;
  const FFmpegGuard lock(FFmpegLock());
  if (hardware) {
    RETURN_IF_FAILED(OpenOnHardware(holder, plan));
  } else {
    AvDictionary options = BuildOptions(holder, plan, gopTimecode);
    const bool delays = (plan.codec->capabilities & AV_CODEC_CAP_DELAY) != 0;
    if (delays && (HasOneStamp(oc) || HasOneStamp(oc2))) KeepCodingOrder(options);
    DropRefusedOptions(plan.choice.id, options);
    RETURN_IF_FAILED(OpenVideoCodec(
        holder, *plan.codec, [&] { return BuildContext(plan); }, options));
  }
  if (plan.d10Rate > 0) {
    holder.packetBytes = D10PictureBytes(plan.d10Rate, holder.codec->time_base);
    holder.codec->bit_rate = plan.d10Rate;  // as containers name it
  }
  holder.vid = AlignedProps(plan, *holder.codec);
  holder.pixelFormat = plan.pick.format;
  holder.fullRange = plan.pick.fullRange;
  holder.linesAbove = plan.geometry.linesAbove;
  holder.linesBelow = plan.geometry.linesBelow;
  holder.rgbMatrix = plan.matrix;
  return FinishVideoStreams(holder, oc, oc2);
}

}  // namespace xv
