#include "frames/prepare_video.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "contracts/frame_node.h"
#include "frames/converter_attributes.h"
#include "frames/owned_frame.h"
#include "media/normalise.h"
#include "media/pixel_layout.h"
#include "media/validity.h"
#include "media/video_format.h"
#include "picture/host_picture.h"
#include "picture/pixel_formats.h"
#include "platform/work_items.h"

extern "C" {
#include <libavutil/imgutils.h>
}

namespace xv {
namespace {

using XMLParse::CoXMLNode;
using XMLParse::XMLNodePtr;

constexpr double kAspectTolerance = 0.01;
constexpr std::uint32_t kSmallestPicture = 4;  // bytes
// High-definition DV has one fixed filter.
constexpr int kHighDvLines = 626;
constexpr const char* kHighDvQuality = "2";

// The black NV12 picture of a placeholder stream.
Status MakeSyntheticPicture(VideoPreparation& preparation, AvPtr<AVFrame>* out) {
  const CodecView& codec = preparation.codec;
  AvPtr<AVFrame> picture = preparation.pool.Get(codec.pixelFormat, codec.width, codec.height);
  if (!picture) return E_OUTOFMEMORY;
  const auto fill = [&](int plane, int value, int lines) {
    std::memset(
        picture->data[plane], value,
        static_cast<std::size_t>(picture->linesize[plane]) * static_cast<std::size_t>(lines));
  };
  fill(0, 0, codec.height);
  const int chromaPlanes = codec.pixelFormat == AV_PIX_FMT_NV12 ? 1 : 2;
  for (int plane = 1; plane <= chromaPlanes; ++plane) fill(plane, 0x80, codec.height / 2);
  *out = std::move(picture);
  return S_OK;
}

// A frame on its way, with complete properties.
struct WorkingFrame {
  Ref<IXvFrame> frame;
  FrameContents contents;
  const XV_VID_PROPS& vid() const { return contents.props.vid; }
};

// S_FALSE when the frame has no picture.
Status ReadSource(IXfFrame* frame, WorkingFrame* source) {
  source->frame = Query<IXvFrame>(frame);
  if (!source->frame) return E_NOINTERFACE;
  XV_AV_PROPS props{};
  std::uint32_t size = 0;
  const std::uint8_t* data = nullptr;
  RETURN_IF_FAILED(frame->FramePropsGet(&props, nullptr));
  RETURN_IF_FAILED(frame->FrameVideoGet(&size, &data));
  if (!VideoPropsValid(props.vid, true) || data == nullptr || size < kSmallestPicture) {
    return S_FALSE;
  }
  const Status read = ReadContents(source->frame.get(), &source->contents);
  return read == Status(XV_E_NO_PIXEL_FORMAT) ? Status(S_FALSE) : read;
}

bool SameGeometry(const XV_VID_PROPS& a, const XV_VID_PROPS& b) {
  return a.nWidth == b.nWidth && std::abs(a.nHeight) == std::abs(b.nHeight);
}

// The lines of a whole picture are those of two fields at one time: they stay where they are.
bool PassesAsFields(const XV_VID_PROPS& source, const XV_VID_PROPS& target) {
  return InterlaceOrder(source) == 0 && InterlaceOrder(target) != 0 &&
         (target.eVideoFormat & kStereoSplitMask) == 0;
}

bool GeometryDiffers(const XV_VID_PROPS& source, const XV_VID_PROPS& target) {
  if (!SameGeometry(source, target)) return true;
  if (InterlaceOrder(source) != InterlaceOrder(target) && !PassesAsFields(source, target)) {
    return true;
  }
  const bool aspectsDiffer =
      std::fabs(DisplayAspect(source) - DisplayAspect(target)) > kAspectTolerance;
  const bool fits = target.eAspectFit == eXvAF_LetterBox || target.eAspectFit == eXvAF_Crop;
  return aspectsDiffer && fits;
}

// What the nodes say of a key, the session's first.
std::string SaidOf(const VideoPreparation& preparation, const AttributeRow& key) {
  for (const XMLNodePtr& node : {preparation.sessionNode, preparation.streamNode}) {
    const auto text = node ? node->FindText(key.name) : std::nullopt;
    if (text && !text->empty()) return *text;
  }
  return {};
}

// "scaling_quality" for the converter.
std::string ChooseQuality(const VideoPreparation& preparation) {
  const std::string text = SaidOf(preparation, kScalingQuality);
  const bool highDv = preparation.codec.codecId == AV_CODEC_ID_DVVIDEO &&
                      std::abs(preparation.target.nHeight) >= kHighDvLines;
  return text == "auto" && highDv ? kHighDvQuality : text;
}

// What is done to a frame.
struct Edits {
  bool any = false;
  bool ownCrop = false;  // the frame's, which the stream's aspect knows nothing of
};

// "crop", "rotate" and "mirror": the frame's own, else the stream's.
Edits TakeEdits(const VideoPreparation& preparation, IUnknown* frame, CoXMLNode& props) {
  const XMLNodePtr own = NodeOfFrame(frame);
  Edits edits;
  for (const std::string_view name : {kCrop.name, kRotate.name, kMirror.name}) {
    std::optional<std::string> value = own ? own->FindText(name) : std::nullopt;
    if (!value && preparation.streamNode) value = preparation.streamNode->FindText(name);
    if (!value || value->empty()) continue;
    static_cast<void>(props.SetText(name, *value));
    edits.any = true;
    if (name == kCrop.name) edits.ownCrop = own && own->FindText(name);
  }
  return edits;
}

int BlankLines(const CodecView& codec) { return codec.linesAbove + codec.linesBelow; }
int PictureLines(const CodecView& codec) { return codec.height - BlankLines(codec); }

// What the converter makes: the encoder's geometry in a layout that scales well. The layout of the
// encoder comes later, where fields are known.
XV_VID_PROPS ConversionTarget(const VideoPreparation& preparation, const XV_VID_PROPS& source) {
  XV_VID_PROPS target = VideoPropsValid(preparation.target, true) ? preparation.target : source;
  target.fccColor = source.fccColor == kFccR210 ? kFccRGB32 : source.fccColor;
  if (preparation.codec.width > 0) target.nWidth = preparation.codec.width;
  const int lines =
      preparation.codec.height > 0 ? PictureLines(preparation.codec) : std::abs(target.nHeight);
  target.nHeight = IsRgb(target.fccColor) ? -lines : lines;
  target.nRowBytes = NaturalRowBytes(target.fccColor, target.nWidth);
  return target;
}

// What becomes of the geometry of a frame and of its mask.
struct GeometryPlan {
  bool converts = false;
  XMLNodePtr props;       // for the converter
  XV_VID_PROPS source{};  // as the host gave it
  XV_VID_PROPS target{};
};

GeometryPlan PlanGeometry(const VideoPreparation& preparation, IUnknown* frame,
                          const XV_VID_PROPS& source) {
  GeometryPlan plan;
  plan.source = source;
  plan.props = CoXMLNode::Create("props");
  const Edits edits = TakeEdits(preparation, frame, *plan.props);
  const bool hasTarget = VideoPropsValid(preparation.target, true);
  plan.converts = edits.any || (hasTarget && GeometryDiffers(source, preparation.target));
  if (!plan.converts) return plan;
  static_cast<void>(plan.props->SetText(kScalingQuality.name, ChooseQuality(preparation)));
  const std::string siting = SaidOf(preparation, kScalingSiting);
  if (!siting.empty()) static_cast<void>(plan.props->SetText(kScalingSiting.name, siting));
  plan.target = ConversionTarget(preparation, source);
  const bool told = preparation.streamNode && preparation.streamNode->FindText("ar_type");
  if (edits.ownCrop && !told) plan.target.eAspectFit = eXvAF_LetterBox;
  return plan;
}

Status ConvertGeometry(Ref<XvConverterRC2>& converter, const GeometryPlan& plan,
                       const XV_VID_PROPS& target, Ref<IXvFrame>* frame, FrameContents* contents) {
  if (!converter) converter = MakeRef<XvConverterRC2>();
  Ref<IXvFrame> converted;
  RETURN_IF_FAILED(converter->Convert(frame->get(), nullptr, &target, XvConverterRC2::kWholeFrame,
                                      &converted, plan.props.get()));
  *frame = std::move(converted);
  return ReadContents(frame->get(), contents);
}

// The picture of the frame's attached mask, if it has one.
Ref<IXvFrame> MaskOf(IUnknown* frame) {
  const Ref<IXvFrameExtras> extras = Query<IXvFrameExtras>(frame);
  for (const char16_t* name : {u"mask", u"mask8"}) {
    Ref<IUnknown> object;
    if (!extras || extras->ObjectGet(name, object.Receive()) != S_OK) continue;
    if (Ref<IXvFrame> mask = Query<IXvFrame>(object.get())) return mask;
  }
  return nullptr;
}

// The mask with its rows in the picture's order, and as a picture of that shape, which is edited
// and scaled as the picture is.
Status FollowPicture(VideoPreparation& preparation, const GeometryPlan& plan, Ref<IXvFrame>* frame,
                     FrameContents* mask) {
  const XV_VID_PROPS& given = mask->props.vid;
  const bool turn = IsBottomUp(plan.source.fccColor, plan.source.nHeight) && given.nHeight > 0;
  if (given.fccColor != kFccRGB8 || (!turn && !plan.converts)) return S_OK;
  XV_AV_PROPS props = mask->props;
  props.vid.nHeight = std::abs(given.nHeight);
  props.vid.nAspectX = plan.source.nAspectX;
  props.vid.nAspectY = plan.source.nAspectY;
  props.vid.eInterlace = plan.source.eInterlace;
  props.vid.eVideoFormat = plan.source.eVideoFormat;
  const ImageView from = MakeImageView(given, mask->video);
  std::uint8_t* data = nullptr;
  RETURN_IF_FAILED(preparation.maskMemory.MakeFrame(
      mask->time, props, static_cast<std::size_t>(PictureSpan(props.vid)), frame, &data));
  ImageView to = MakeImageView(props.vid, data);
  if (turn) {
    to.data[0] += (to.height - 1) * to.step[0];
    to.step[0] = -to.step[0];
  }
  CopyPicture(from, to);
  if (!plan.converts) return ReadContents(frame->get(), mask);
  XV_VID_PROPS target = plan.target;
  target.fccColor = kFccRGB8;
  target.nHeight = std::abs(target.nHeight);
  target.nRowBytes = NaturalRowBytes(kFccRGB8, target.nWidth);
  return ConvertGeometry(preparation.maskGeometry, plan, target, frame, mask);
}

Status BlackenLines(AVFrame& picture, int first, int lines) {
  std::uint8_t* planes[4] = {};
  std::ptrdiff_t steps[4] = {};
  for (int i = 0; i < 4; ++i) {
    steps[i] = picture.linesize[i];
    planes[i] = picture.data[i] == nullptr ? nullptr : picture.data[i] + first * steps[i];
  }
  const int filled = av_image_fill_black(planes, steps, static_cast<AVPixelFormat>(picture.format),
                                         AVCOL_RANGE_MPEG, picture.width, lines);
  return filled < 0 ? Status(E_FAIL) : Status(S_OK);
}

// Blackens the lines around the picture, which hold whole lines of chroma, and leaves the view on
// what is between them.
Status BlankAround(const CodecView& codec, AVFrame* picture) {
  if (BlankLines(codec) == 0) return S_OK;
  const int below = picture->height - codec.linesBelow;
  RETURN_IF_FAILED(BlackenLines(*picture, 0, codec.linesAbove));
  if (codec.linesBelow > 0) RETURN_IF_FAILED(BlackenLines(*picture, below, codec.linesBelow));
  for (int i = 0; i < 3; ++i) picture->data[i] += codec.linesAbove * picture->linesize[i];
  picture->height -= BlankLines(codec);
  return S_OK;
}

// Formats with such lines are coded in fields, whose first line belongs to the first one.
void ShowBlankLines(const CodecView& codec, AVFrame* picture) {
  if (BlankLines(codec) == 0) return;
  picture->interlaced_frame = 1;
  picture->top_field_first = 1;
  for (int i = 0; i < 3; ++i) picture->data[i] -= codec.linesAbove * picture->linesize[i];
  picture->height += BlankLines(codec);
}

// Of the frame's own node, else of the stream's. RGB follows the stream, which is tagged.
Matrix MatrixOfFrame(const VideoPreparation& preparation, IUnknown* frame,
                     const XV_VID_PROPS& source) {
  if (IsRgb(source.fccColor)) return preparation.codec.rgbMatrix;
  const XMLNodePtr own = NodeOfFrame(frame);
  if (own && own->Has(kMatrix)) return ChooseMatrix(own->Get(kMatrix), source);
  const bool said = preparation.streamNode != nullptr;
  return ChooseMatrix(said ? MatrixRuleOf(*preparation.streamNode) : kMatrix.Default(), source);
}

// The picture in the codec's format.
Status MakePicture(VideoPreparation& preparation, const GeometryPlan& plan,
                   const WorkingFrame& source, IUnknown* original, AvPtr<AVFrame>* out) {
  const CodecView& codec = preparation.codec;
  const int format = PixelFormatFromFourCC(source.vid().fccColor);
  const bool v210Wrap = source.vid().fccColor == kFccV210 && codec.codecId == AV_CODEC_ID_V210;
  const bool sameFormat =
      format != AV_PIX_FMT_NONE && format != kPixFmtV210 && format == codec.pixelFormat;
  if ((v210Wrap || sameFormat) && BlankLines(codec) == 0) {
    return WrapPicture(source.vid(), source.contents.video, source.contents.videoBytes,
                       Ref<IUnknown>(source.frame), out);
  }
  // 8-bit 4:2:2 is packed straight into the encoder's bytes; planes would be written and read
  // again.
  const auto packed = FindPackedOrder(source.vid().fccColor);
  const bool packV210 = codec.codecId == AV_CODEC_ID_V210 && packed && !packed->vFirst;
  AvPtr<AVFrame> picture =
      preparation.pool.Get(packV210 ? kPixFmtV210 : codec.pixelFormat, source.vid().nWidth,
                           std::abs(source.vid().nHeight) + BlankLines(codec));
  if (!picture) return E_OUTOFMEMORY;
  RETURN_IF_FAILED(BlankAround(codec, picture.get()));
  DescribePicture(source.vid(), picture.get());
  CodecConvertOptions options{codec.fullRange, nullptr, codec.codecId != AV_CODEC_ID_PNG,
                              MatrixOfFrame(preparation, original, plan.source)};
  FrameContents maskContents;
  ImageView mask;
  Ref<IXvFrame> maskFrame = MaskOf(original);
  if (maskFrame && ReadContents(maskFrame.get(), &maskContents).Ok()) {
    RETURN_IF_FAILED(FollowPicture(preparation, plan, &maskFrame, &maskContents));
    mask = MakeImageView(maskContents.props.vid, maskContents.video);
    options.mask = &mask;
  }
  RETURN_IF_FAILED(
      preparation.converter.Convert({source.vid(), source.contents.video}, picture.get(), options));
  ShowBlankLines(codec, picture.get());
  *out = std::move(picture);
  return S_OK;
}

// S_FALSE when the frame has no picture.
Status PreparePicture(VideoPreparation& preparation, IXfFrame* frame, AvPtr<AVFrame>* out) {
  WorkingFrame working;
  const Status read = ReadSource(frame, &working);
  if (read.Failed() || read.NothingDone()) return read;
  const GeometryPlan plan = PlanGeometry(preparation, frame, working.vid());
  if (plan.converts) {
    RETURN_IF_FAILED(ConvertGeometry(preparation.geometry, plan, plan.target, &working.frame,
                                     &working.contents));
  } else if (PassesAsFields(working.vid(), preparation.target)) {
    const bool topFirst = InterlaceOrder(preparation.target) > 0;
    working.contents.props.vid.eInterlace = topFirst ? eXvI_TopFirst : eXvI_BottomFirst;
  }
  RETURN_IF_FAILED(MakePicture(preparation, plan, working, frame, out));
  if (!plan.converts && VideoPropsValid(preparation.target, true)) {
    (*out)->sample_aspect_ratio = SampleAspect(preparation.target);
  }
  return S_OK;
}

}  // namespace

void PassVideoFrame(VideoPreparation& preparation, const XV_TIME& time) {
  preparation.clock.Pass(time.rtStart, time.rtStop, preparation.codec.timeBase,
                         preparation.target.dblRate);
}

Status PrepareVideoFrame(VideoPreparation& preparation, const XV_TIME* timeOverride,
                         IXfFrame* frame, Ref<XvFrameFFM>* out, std::int64_t* missing) {
  if (preparation.codec.closed) return E_UNEXPECTED;
  XV_TIME time{};
  RETURN_IF_FAILED(frame->FrameTimeGet(&time));
  if (timeOverride != nullptr) time = *timeOverride;

  const PtsClock before = preparation.clock;
  const AVRational base = preparation.codec.timeBase;
  const PtsClock::Place place =
      preparation.clock.Take(time.rtStart, time.rtStop, base, preparation.target.dblRate);
  if (place.missing < 0) return XV_S_SKIP_FRAME;

  AvPtr<AVFrame> picture;
  const WorkItemLimit limit(preparation.threads);
  const Status made = preparation.synthetic ? MakeSyntheticPicture(preparation, &picture)
                                            : PreparePicture(preparation, frame, &picture);
  if (made.Failed() || made.NothingDone()) {
    preparation.clock = before;
    PassVideoFrame(preparation, time);
    return made;
  }
  picture->pts = preparation.synthetic ? AVTimeFromRefTime(time.rtStart, base) : place.pts;
  if (missing != nullptr) *missing = preparation.synthetic ? 0 : place.missing;
  picture->colorspace = preparation.codec.matrix;
  picture->color_primaries = preparation.codec.primaries;
  picture->color_trc = preparation.codec.transfer;
  picture->color_range = preparation.codec.range;
  *out = MakeRef<XvFrameFFM>(std::move(picture));
  return S_OK;
}

}  // namespace xv
