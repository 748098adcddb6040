#include "convert/prepare_video.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "convert/pixel_map.h"
#include "media/normalise.h"
#include "media/pixel_layout.h"
#include "media/validity.h"

namespace xv {
namespace {

constexpr double kAspectTolerance = 0.01;

// Preparation of all encoders of the process is serialised by this one lock.
std::recursive_mutex& PreparationLock() {
  static std::recursive_mutex lock;
  return lock;
}

// The black NV12 picture of a placeholder stream.
Status MakeSyntheticPicture(VideoPreparation& preparation, XvFrameFFM& frame) {
  const CodecView& codec = preparation.codec;
  AvPtr<AVFrame> picture = preparation.pool.Get(codec.pixelFormat, codec.width, codec.height);
  if (!picture) return E_OUTOFMEMORY;
  std::memset(
      picture->data[0], 0,
      static_cast<std::size_t>(picture->linesize[0]) * static_cast<std::size_t>(codec.height));
  const int chromaPlanes = codec.pixelFormat == AV_PIX_FMT_NV12 ? 1 : 2;
  for (int plane = 1; plane <= chromaPlanes; ++plane) {
    std::memset(picture->data[plane], 0x80,
                static_cast<std::size_t>(picture->linesize[plane]) *
                    static_cast<std::size_t>(codec.height / 2));
  }
  frame.Adopt(std::move(picture));
  return S_OK;
}

struct SourcePicture {
  XV_VID_PROPS vid;
  const std::uint8_t* data;
  std::uint32_t size;
};

// The frame's picture with complete properties, or S_FALSE when it has none.
Status ReadSource(IXfFrame* frame, SourcePicture* source) {
  XV_AV_PROPS props{};
  RETURN_IF_FAILED(frame->FramePropsGet(&props, nullptr));
  RETURN_IF_FAILED(frame->FrameVideoGet(&source->size, &source->data));
  if (!VideoPropsValid(props.vid, true) || source->data == nullptr || source->size < 4) {
    return S_FALSE;
  }
  source->vid = props.vid;
  NormaliseVideoProps(&source->vid, true);
  if (source->vid.nWidth < 1 || source->vid.nHeight == 0) return S_FALSE;
  const std::int64_t needed = FrameBytes(source->vid.fccColor, source->vid.nWidth,
                                         std::abs(source->vid.nHeight), source->vid.nRowBytes);
  return needed > source->size ? Status(E_INVALIDARG) : Status(S_OK);
}

bool SameGeometry(const XV_VID_PROPS& a, const XV_VID_PROPS& b) {
  return a.nWidth == b.nWidth && std::abs(a.nHeight) == std::abs(b.nHeight);
}

bool NeedsConversion(const XV_VID_PROPS& source, const XV_VID_PROPS& target) {
  if (!VideoPropsValid(target, true)) return false;
  if (!SameGeometry(source, target) || InterlaceOrder(source) != InterlaceOrder(target))
    return true;
  const bool aspectsDiffer =
      std::fabs(DisplayAspect(source) - DisplayAspect(target)) > kAspectTolerance;
  const bool fits = target.eAspectFit == eXvAF_LetterBox || target.eAspectFit == eXvAF_Crop;
  return aspectsDiffer && fits;
}

// The picture in the codec's format: the host's own memory where it already has it.
Status MakePicture(VideoPreparation& preparation, const SourcePicture& source, bool convert,
                   IXfFrame* owner, XvFrameFFM& frame) {
  const CodecView& codec = preparation.codec;
  const int format = PixelFormatFromFourCC(source.vid.fccColor);
  const bool v210Wrap = source.vid.fccColor == kFccV210 && codec.codecId == AV_CODEC_ID_V210;
  const bool sameFormat = format != AV_PIX_FMT_NONE && format == codec.pixelFormat;
  if (!convert && (v210Wrap || sameFormat)) {
    return frame.AttachMemory(source.vid, source.data, source.size, Ref<IUnknown>::Retain(owner));
  }
  AvPtr<AVFrame> picture =
      preparation.pool.Get(codec.pixelFormat, convert ? codec.width : source.vid.nWidth,
                           convert ? codec.height : std::abs(source.vid.nHeight));
  if (!picture) return E_OUTOFMEMORY;
  XV_VID_PROPS shown = convert ? preparation.target : source.vid;
  shown.fccColor = source.vid.fccColor;
  DescribePicture(shown, picture.get());
  RETURN_IF_FAILED(
      preparation.converter.Convert({source.vid, source.data}, picture.get(), codec.fullRange));
  frame.Adopt(std::move(picture));
  return S_OK;
}

}  // namespace

double DisplayAspect(const XV_VID_PROPS& vid) {
  if (vid.nAspectX > 0 && vid.nAspectY > 0) return double{1} * vid.nAspectX / vid.nAspectY;
  const int lines = std::abs(vid.nHeight);
  return lines > 0 ? double{1} * vid.nWidth / lines : 1.7777777777777777;
}

int ResolveScalingQuality(int value, const XV_VID_PROPS& source, const XV_VID_PROPS& target,
                          int field) {
  if (value >= 1) return value;
  const int sourceLines = std::abs(source.nHeight);
  const int targetLines = std::abs(target.nHeight);
  if (InterlaceOrder(source) != 0) {
    if (InterlaceOrder(target) != 0) {
      if (sourceLines > 1.8 * targetLines || field >= 0) return 18;
      if (targetLines < sourceLines) return 16;
    } else if (target.dblRate >= 1.7 * source.dblRate) {
      return 16;
    }
  }
  return sourceLines > 2 * targetLines ? 8 : 4;
}

Status PrepareVideoFrame(VideoPreparation& preparation, const XV_TIME* timeOverride,
                         IXfFrame* frame, Ref<XvFrameFFM>* out, int* status) {
  const std::lock_guard lock(PreparationLock());
  if (preparation.codec.closed) return E_UNEXPECTED;
  XV_TIME time{};
  RETURN_IF_FAILED(frame->FrameTimeGet(&time));
  if (timeOverride != nullptr) time = *timeOverride;

  int clockStatus = 0;
  const std::int64_t pts =
      ComputeFramePts(preparation.clock, time.rtStart, preparation.codec.timeBase,
                      preparation.target.dblRate, &clockStatus);
  if (clockStatus < 0) return XV_S_SKIP_FRAME;
  if (status != nullptr) *status = clockStatus;

  Ref<XvFrameFFM> prepared;
  RETURN_IF_FAILED(XvFrameFFM::Create(prepared.Receive()));
  if (preparation.synthetic) {
    RETURN_IF_FAILED(MakeSyntheticPicture(preparation, *prepared));
    prepared->picture()->pts = AVTimeFromRefTime(time.rtStart, preparation.codec.timeBase);
  } else {
    SourcePicture source{};
    const Status read = ReadSource(frame, &source);
    if (read.Failed() || read.NothingDone()) return read;
    const bool convert = NeedsConversion(source.vid, preparation.target);
    RETURN_IF_FAILED(MakePicture(preparation, source, convert, frame, *prepared));
    if (prepared->picture() == nullptr) return E_UNEXPECTED;
    if (!convert && VideoPropsValid(preparation.target, true)) {
      prepared->picture()->sample_aspect_ratio = SampleAspect(preparation.target);
    }
    prepared->picture()->pts = pts;
  }
  if (out == nullptr) return E_POINTER;
  *out = std::move(prepared);
  return S_OK;
}

}  // namespace xv
