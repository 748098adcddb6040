#include "frames/geometry_converter.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "frames/scaling_choice.h"
#include "media/normalise.h"
#include "media/pixel_layout.h"
#include "media/validity.h"
#include "picture/layout_conversion.h"
#include "picture/weave.h"
#include "platform/work_items.h"

namespace xv {

struct XvConverterRC2::Pair {
  ImageView source;
  ImageView target;
  bool viewOffset;  // the source is one of two views in a buffer
  bool centred;     // the scaler knows where a field lies
};

namespace {

constexpr int kOneToOneQuality = 10;

bool IsSingleField(int field) { return field == 0 || field == 1; }

XV_VID_PROPS Completed(const XV_VID_PROPS& given) {
  XV_VID_PROPS vid = given;
  NormaliseVideoProps(&vid, true);
  return vid;
}

// What v210 rows have behind their last group is 0.
void ClearTails(const ImageView& view) {
  const int bytes = PixelRowBytes(view.tag, view.width);
  for (int y = 0; y < view.height; ++y) {
    std::memset(view.data[0] + y * view.step[0] + bytes, 0,
                static_cast<std::size_t>(view.step[0] - bytes));
  }
}

Status MakeTarget(FrameMemory& memory, const FrameContents& source, const XV_VID_PROPS& vid,
                  Ref<IXvFrame>* frame, ImageView* view) {
  XV_AV_PROPS props = source.props;
  props.vid = vid;
  const std::int64_t bytes =
      std::max(PictureSpan(vid), FrameBytes(vid.fccColor, vid.nWidth, vid.nHeight, vid.nRowBytes));
  std::uint8_t* data = nullptr;
  RETURN_IF_FAILED(
      memory.MakeFrame(source.time, props, static_cast<std::size_t>(bytes), frame, &data));
  *view = MakeImageView(vid, data);
  if (vid.fccColor == kFccV210) ClearTails(*view);
  return S_OK;
}

// A field has half the height, not half the picture: the aspect must be known.
void NameAspect(ImageView& view) {
  if (view.aspectX > 0 && view.aspectY > 0) return;
  view.aspectX = static_cast<std::int16_t>(view.width);
  view.aspectY = static_cast<std::int16_t>(view.height);
}

// The rectangle that `crop` leaves, as a copy: for layouts that share no memory with a part of
// themselves. The pixels of v210, which come in groups, move among these.
Status CopyCropped(FrameMemory& memory, WideScaler& scaler, const FrameContents& contents,
                   const CropSides& crop, Ref<IXvFrame>* cropped) {
  const ImageView source = MakeImageView(contents.props.vid, contents.video);
  const PixelRect rect{crop.left, crop.top, source.width - crop.right, source.height - crop.bottom};
  if (crop.left < 0 || crop.top < 0 || crop.right < 0 || crop.bottom < 0 || rect.Width() < 1 ||
      rect.Height() < 1) {
    return E_INVALIDARG;
  }
  XV_VID_PROPS vid = CutProps(contents.props.vid, crop);
  vid.nRowBytes = NaturalRowBytes(vid.fccColor, vid.nWidth);
  ImageView target;
  RETURN_IF_FAILED(MakeTarget(memory, contents, vid, cropped, &target));
  if (vid.fccColor == kFccV210) {
    scaler.Scale(WidePicture(RegionView(source, rect)), WidePicture(target), {});
  } else {
    CopyPicture(RegionView(source, rect), target);
  }
  return S_OK;
}

Status CropFrame(FrameMemory& memory, WideScaler& scaler, const CropSides& given,
                 Ref<IXvFrame>* frame) {
  FrameContents contents;
  RETURN_IF_FAILED(ReadContents(frame->get(), &contents));
  const XV_VID_PROPS& vid = contents.props.vid;
  const CropSides crop = WholeSamples(given, vid);
  Ref<IXvFrame> view;
  Status status = E_NOTIMPL;
  if (const Ref<IXvFrameExtras> extras = Query<IXvFrameExtras>(frame->get())) {
    status = extras->CropView(crop.left, crop.top, vid.nWidth - crop.right - crop.left,
                              std::abs(vid.nHeight) - crop.bottom - crop.top, view.Receive());
  }
  if (status == Status(E_NOTIMPL)) status = CopyCropped(memory, scaler, contents, crop, &view);
  RETURN_IF_FAILED(status);
  if (view) *frame = std::move(view);
  return S_OK;
}

// The mode that a pass over fields works in.
void ChooseScaleMode(ImageView& source, const ImageView& target, bool viewOffset) {
  if (source.scaleMode != eXvAF_Default || target.scaleMode != eXvAF_Default) return;
  const bool sameKind = source.Interlaced() == target.Interlaced();
  const std::uint32_t mode = ResolveScaleMode(source, target);
  if (mode != eXvAF_NoScale || (sameKind && !viewOffset)) return;
  // One to one does not fit this pass: what comes next in the order of choice.
  const bool narrower = DisplayAspect(source) < DisplayAspect(target);
  source.scaleMode = narrower ? eXvAF_Crop : eXvAF_LetterBox;
}

// Moves the picture by one row, so that the field that comes first in time lies where the target's
// order wants it.
void ShiftRow(const ImageView& view, bool down) {
  const auto bytes = static_cast<std::size_t>(PixelRowBytes(view.tag, view.width));
  for (std::size_t plane = 0; plane < 3; ++plane) {
    if (view.data[plane] == nullptr) continue;
    const int rows = plane == 0 ? view.height : view.chromaHeight;
    const std::size_t count = plane == 0 || view.tag == kFccNV12 ? bytes : (bytes + 1) / 2;
    for (int i = 1; i < rows; ++i) {
      const int to = down ? rows - i : i - 1;
      const int from = down ? to - 1 : to + 1;
      std::memcpy(view.data[plane] + to * view.step[plane],
                  view.data[plane] + from * view.step[plane], count);
    }
  }
}

}  // namespace

bool SameProps(const XV_VID_PROPS& a, const XV_VID_PROPS& b) {
  return a.eVideoFormat == b.eVideoFormat && a.fccColor == b.fccColor && a.nWidth == b.nWidth &&
         a.nHeight == b.nHeight && InterlaceOrder(a) == InterlaceOrder(b) &&
         a.nAspectX == b.nAspectX && a.nAspectY == b.nAspectY &&
         std::fabs(a.dblRate - b.dblRate) <= 0.01;
}

int ViewOffset(IXvFrame* frame, std::int64_t naturalBytes, std::ptrdiff_t* offset) {
  std::uint32_t size = 0;
  const std::uint8_t* pointer = nullptr;
  XV_TIME time;
  XV_AV_PROPS props;
  std::uint32_t audioBytes = 0, videoBytes = 0;
  const std::uint8_t* audio = nullptr;
  const std::uint8_t* video = nullptr;
  if (offset != nullptr) *offset = 0;
  if (frame->FrameExtraGetByName(u"__vptr_", &size, &pointer) != S_OK || pointer == nullptr) {
    return 0;
  }
  if (Failed(frame->FrameAllGet(&time, &props, &audioBytes, &audio, &videoBytes, &video))) return 0;
  if (offset != nullptr) *offset = video - pointer;
  if (videoBytes != 2 * naturalBytes) return 0;
  if (video == pointer) return 1;
  return video - pointer == static_cast<std::ptrdiff_t>(videoBytes / 2) ? 2 : 0;
}

Status XvConverterRC2::ApplyCropAndRotate(Ref<IXvFrame>* frame, Ref<IXvFrame>* second,
                                          const XV_VID_PROPS* targetProps,
                                          const XMLParse::CoXMLNode* props) {
  if (props != nullptr) {
    CropSides crop;
    RETURN_IF_FAILED(ReadCrop(*props, &crop));
    for (Ref<IXvFrame>* each : {frame, second}) {
      if (*each && crop.Any()) RETURN_IF_FAILED(CropFrame(cropped_, wide_, crop, each));
    }
    if (const auto rotate = props->Find(kRotate)) {
      for (Ref<IXvFrame>* each : {frame, second}) {
        if (!*each) continue;
        Ref<IXvFrame> rotated;
        RETURN_IF_FAILED(RotateFrame(*rotate == 1, each->get(), &rotated));
        *each = std::move(rotated);
      }
    }
  }
  return *second ? WeaveFrames(frame, second->get(), targetProps) : Status(S_OK);
}

Status XvConverterRC2::WeaveFrames(Ref<IXvFrame>* frame, IXvFrame* second,
                                   const XV_VID_PROPS* targetProps) {
  FrameContents contents[2];
  RETURN_IF_FAILED(ReadContents(frame->get(), &contents[0]));
  RETURN_IF_FAILED(ReadContents(second, &contents[1]));
  if (!SameProps(contents[0].props.vid, contents[1].props.vid) ||
      contents[0].props.vid.nRowBytes != contents[1].props.vid.nRowBytes) {
    return S_OK;
  }
  XV_VID_PROPS vid = contents[0].props.vid;
  if (targetProps != nullptr) vid.eInterlace = targetProps->eInterlace;
  Ref<IXvFrame> woven;
  ImageView target;
  RETURN_IF_FAILED(MakeTarget(rotated_, contents[0], vid, &woven, &target));
  Weave(MakeImageView(contents[0].props.vid, contents[0].video),
        MakeImageView(contents[1].props.vid, contents[1].video), target);
  *frame = std::move(woven);
  return S_OK;
}

Status XvConverterRC2::RotateFrame(bool left, IXvFrame* frame, Ref<IXvFrame>* result) {
  FrameContents contents;
  RETURN_IF_FAILED(ReadContents(frame, &contents));
  const XV_VID_PROPS& source = contents.props.vid;
  XV_VID_PROPS vid = source;
  vid.eVideoFormat = eXvVF_Custom;
  vid.nWidth = std::abs(source.nHeight);
  vid.nHeight = source.nHeight < 0 ? -source.nWidth : source.nWidth;
  std::swap(vid.nAspectX, vid.nAspectY);
  vid.nRowBytes = NaturalRowBytes(vid.fccColor, vid.nWidth);
  Ref<IXvFrame> rotated;
  ImageView target;
  RETURN_IF_FAILED(MakeTarget(rotated_, contents, vid, &rotated, &target));
  RETURN_IF_FAILED(rotator_.Rotate(MakeImageView(source, contents.video), target, left));
  *result = std::move(rotated);
  return S_OK;
}

Status XvConverterRC2::ScaleBothFields(const Pair& pair, int quality) {
  std::array<Status, 2> results;
  RunWorkItems(2, [&](int field) {
    results[static_cast<std::size_t>(field)] = ConvertField(pair, field, true, quality);
  });
  return results[0].Failed() ? results[0] : results[1];
}

Status XvConverterRC2::ConvertField(const Pair& pair, int field, bool bothFields, int quality) {
  ImageView source = pair.source;
  ImageView target = pair.target;
  FrameScaler& scaler = scalers_[field == 1 ? 1 : 0];
  NormaliseViews(source, target);
  ChooseScaleMode(source, target, pair.viewOffset);
  const bool single = IsSingleField(field);
  if (single && ResolveScaleMode(source, target) == eXvAF_NoScale && quality < kOneToOneQuality) {
    quality += kOneToOneQuality;
  }
  if (single && !bothFields && (pair.centred || quality >= kOneToOneQuality)) {
    ScaleTargets targets;
    targets.field[static_cast<std::size_t>(field)] = target;
    return scaler.ScaleFrame(source, targets, quality);
  }
  if (single) {
    source = MakeFieldView(source, field);
    if (bothFields) {
      const bool exchanged = pair.target.Order() != pair.source.Order();
      target = MakeFieldView(target, exchanged ? 1 - field : field);
    }
  }
  return scaler.ScaleFrame(source, {target, {}}, quality);
}

Status XvConverterRC2::ConvertFrame(IXvFrame* frame, const XV_VID_PROPS& given, int field,
                                    const XMLParse::CoXMLNode* props, Ref<IXvFrame>* result) {
  FrameContents contents;
  RETURN_IF_FAILED(ReadContents(frame, &contents));
  XV_VID_PROPS target = Completed(given);
  const Siting siting = props == nullptr ? kScalingSiting.Default() : props->Get(kScalingSiting);
  for (FrameScaler& scaler : scalers_) scaler.SetSiting(siting);

  XV_VID_PROPS compared = contents.props.vid;
  compared.dblRate = target.dblRate;
  compared.fccColor = target.fccColor;
  const int quality =
      ChooseScaling(props == nullptr ? std::string() : props->TextOf(kScalingQuality), siting,
                    compared, target, field);
  Ref<IXvFrame> made;
  Pair pair{
      MakeImageView(contents.props.vid, contents.video), {}, false, siting == Siting::kCentred};
  target.nRowBytes = NaturalRowBytes(target.fccColor, target.nWidth);
  RETURN_IF_FAILED(MakeTarget(memory_, contents, target, &made, &pair.target));
  NameAspect(pair.source);
  NameAspect(pair.target);
  pair.viewOffset =
      ViewOffset(frame, FrameBytes(compared.fccColor, compared.nWidth, compared.nHeight),
                 nullptr) != 0;

  const bool whole = !IsSingleField(field);
  Status status;
  if (whole && SameProps(compared, target)) {
    status = ConvertFormat(pair.source, pair.target);
  } else {
    const bool interlaced = pair.source.Interlaced();
    if (whole && !pair.target.Interlaced() && interlaced) field = 0;  // the first field alone
    const bool fields = interlaced && pair.target.Interlaced() && !IsSingleField(field);
    // Centred filters know where both fields lie and need them together.
    const bool apart = fields && quality < kOneToOneQuality && siting == Siting::kClassic;
    status = apart ? ScaleBothFields(pair, quality) : ConvertField(pair, field, false, quality);
    const int order = pair.target.Order();
    const bool moved = siting == Siting::kClassic && order != pair.source.Order();
    if (status.Ok() && fields && moved) ShiftRow(pair.target, order > 0);
  }
  RETURN_IF_FAILED(status);
  *result = std::move(made);
  return S_OK;
}

Status XvConverterRC2::MirrorFrame(Ref<IXvFrame>* frame, Mirror mirror, bool own) {
  FrameContents contents;
  RETURN_IF_FAILED(ReadContents(frame->get(), &contents));
  ImageView view = MakeImageView(contents.props.vid, contents.video);
  if (!own) {
    // The host's memory is not ours to write.
    Ref<IXvFrame> copy;
    XV_VID_PROPS vid = contents.props.vid;
    vid.nRowBytes = NaturalRowBytes(vid.fccColor, vid.nWidth);
    ImageView target;
    RETURN_IF_FAILED(MakeTarget(mirrored_, contents, vid, &copy, &target));
    CopyPicture(view, target);
    view = target;
    *frame = std::move(copy);
  }
  return MirrorInPlace(view, mirror);
}

Status XvConverterRC2::Convert(IXvFrame* frame, IXvFrame* secondFrame,
                               const XV_VID_PROPS* targetProps, int field, Ref<IXvFrame>* result,
                               const XMLParse::CoXMLNode* props) {
  if (frame == nullptr || result == nullptr) return E_POINTER;
  const std::lock_guard guard(lock_);
  Ref<IXvFrame> working = Ref<IXvFrame>::Retain(frame);
  Ref<IXvFrame> second = Ref<IXvFrame>::Retain(secondFrame);
  RETURN_IF_FAILED(ApplyCropAndRotate(&working, &second, targetProps, props));
  if (!working) return E_UNEXPECTED;
  const bool rotated = props != nullptr && props->Find(kRotate).has_value();
  if (targetProps != nullptr) {
    Ref<IXvFrame> converted;
    RETURN_IF_FAILED(ConvertFrame(working.get(), *targetProps, field, props, &converted));
    working = std::move(converted);
  }
  const Mirror mirror = props == nullptr ? Mirror::kNone : props->Get(kMirror);
  if (mirror != Mirror::kNone) {
    RETURN_IF_FAILED(MirrorFrame(&working, mirror, targetProps != nullptr || rotated));
  }
  *result = std::move(working);
  return S_OK;
}

}  // namespace xv
