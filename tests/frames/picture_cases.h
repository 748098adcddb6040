#pragma once

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <span>
#include <vector>

#include "frames/frames.h"
#include "frames/geometry_converter.h"
#include "frames/prepare_video.h"
#include "kernels/guarded_row.h"
#include "kernels/simd_level.h"
#include "media/normalise.h"
#include "picture/layout_conversion.h"
#include "picture/mirror.h"

// Pictures of any properties in memory that ends at an unreadable page: whatever a host says about
// its picture, nothing outside of it is touched, status and result agree, and every level gives the
// bytes of the reference. The numbers come from a generator or a fuzzer.
namespace xv::test {

inline constexpr std::uint32_t kTags[] = {kFccUYVY,   kFccHDYC, kFccYUY2,  kFccYVYU,  kFccI420,
                                          kFccYV12,   kFccNV12, kFccRGB24, kFccRGB32, kFccARGB32,
                                          kFccRGB8,   kFccV210, kFccR210,  kFccY422,  kFccY444,
                                          kFccRGB565, kFccMJPG, 0x12345678};
inline constexpr int kFormats[] = {AV_PIX_FMT_YUV420P, AV_PIX_FMT_NV12,     AV_PIX_FMT_YUV422P10LE,
                                   AV_PIX_FMT_YUV411P, AV_PIX_FMT_YUVJ422P, AV_PIX_FMT_UYVY422,
                                   AV_PIX_FMT_BGR24,   AV_PIX_FMT_RGBA,     AV_PIX_FMT_RGB48LE,
                                   AV_PIX_FMT_BGR0};
inline constexpr const char* kEdits[] = {"",
                                         "crop=2",
                                         "crop='7,3,1'",
                                         "crop=400",
                                         "crop=-3",
                                         "rotate=left",
                                         "rotate=right",
                                         "mirror=both",
                                         "crop='4,2' rotate=left mirror=vert"};

// Two bytes a number; zeros when they have run out.
class Numbers {
 public:
  explicit Numbers(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

  int Below(int limit) {
    unsigned value = 0;
    for (int i = 0; i < 2 && !bytes_.empty(); ++i, bytes_ = bytes_.subspan(1)) {
      value = value << 8 | bytes_[0];
    }
    return static_cast<int>(value % static_cast<unsigned>(limit));
  }

  template <class T, std::size_t N>
  T Of(const T (&items)[N]) {
    return items[Below(N)];
  }
  XV_VID_PROPS Props() {
    XV_VID_PROPS vid{};
    vid.fccColor = Of(kTags);
    vid.nWidth = Below(20) == 0 ? 0 : 1 + Below(90);
    vid.nHeight = (1 + Below(60)) * (Below(2) == 0 ? 1 : -1);
    vid.nRowBytes = Below(3) == 0 ? NaturalRowBytes(vid.fccColor, vid.nWidth) + Below(40)
                                  : Below(2) * Below(300);
    vid.eInterlace = static_cast<std::uint32_t>(Below(6));
    vid.nAspectX = static_cast<std::int16_t>(Below(3) * 8);
    vid.nAspectY = static_cast<std::int16_t>(Below(3) * 3);
    vid.eAspectFit = static_cast<std::uint32_t>(Below(6));
    vid.dblRate = Below(3) * 25;
    return vid;
  }
  // The same, at times with a number that no picture has.
  XV_VID_PROPS WildProps() {
    constexpr int kWild[] = {INT_MIN, INT_MAX, -1, -90, 1 << 16, 1 << 30};
    XV_VID_PROPS vid = Props();
    if (Below(16) == 0) vid.nWidth = Of(kWild);
    if (Below(16) == 0) vid.nHeight = Of(kWild);
    if (Below(16) == 0) vid.nRowBytes = Of(kWild);
    if (Below(16) == 0) vid.eVideoFormat = Below(64) | Below(2) * eXvVF_HorizontalSplit;
    return vid;
  }
  PixelRect Rect(const ImageView& view) {
    const int left = Below(view.width + 20) - 10;
    const int top = Below(view.height + 20) - 10;
    return {left, top, left + Below(view.width + 20) - 5, top + Below(view.height + 20) - 5};
  }

 private:
  std::span<const std::uint8_t> bytes_;
};

// A frame over guarded memory, at times too short.
class GuardedFrame {
 public:
  GuardedFrame(const XV_VID_PROPS& vid, Numbers& numbers)
      : memory_(BytesFor(vid, numbers)), frame_(FrameOver(vid, memory_.data(), memory_.size())) {}
  IXvFrame* get() const { return frame_.get(); }

 private:
  static std::size_t BytesFor(const XV_VID_PROPS& vid, Numbers& numbers) {
    const int width = std::clamp(vid.nWidth, 0, 100);
    const int height = std::clamp(vid.nHeight, -100, 100);
    const int rowBytes = std::clamp(vid.nRowBytes, 0, 1000);
    const std::int64_t bytes =
        std::max<std::int64_t>(FrameBytes(vid.fccColor, width, height, rowBytes), 4) +
        (numbers.Below(8) == 0 ? -numbers.Below(64) : 0);
    return static_cast<std::size_t>(std::clamp<std::int64_t>(bytes, 0, 1 << 20));
  }

  GuardedRow memory_;
  Ref<IXvFrame> frame_;
};

// What a case came to: whether a picture was made, and whether status and picture agree.
struct CaseResult {
  bool made;
  bool consistent;
};

inline CaseResult ConvertFrameCase(Numbers& numbers, XvConverterRC2& converter) {
  const XV_VID_PROPS vid = numbers.WildProps();
  const GuardedFrame source(vid, numbers);
  XV_VID_PROPS target = numbers.Props();
  if (target.nWidth < 1) target.nWidth = 16;
  target.nRowBytes = 0;
  const auto props = XMLParse::CoXMLNode::Create("props");
  props->MergeText(numbers.Of(kEdits), XMLParse::MergeMode::kReplace);
  static_cast<void>(props->SetInteger("scaling_quality", numbers.Below(20)));
  if (numbers.Below(3) == 0) static_cast<void>(props->SetText("scaling_siting", "centred"));
  Ref<IXvFrame> result;
  const Status status =
      converter.Convert(source.get(), nullptr, numbers.Below(4) == 0 ? nullptr : &target,
                        numbers.Below(4) - 1, &result, props.get());
  return {static_cast<bool>(result), status.Ok() == static_cast<bool>(result)};
}

inline CaseResult PrepareFrameCase(Numbers& numbers) {
  const XV_VID_PROPS vid = numbers.WildProps();
  const GuardedFrame source(vid, numbers);
  VideoPreparation preparation;
  if (numbers.Below(2) == 0) {
    preparation.target = numbers.Props();
    if (preparation.target.nWidth < 1) preparation.target.nWidth = 8;
  }
  preparation.codec = {false,
                       {1, 25},
                       preparation.target.nWidth & ~1,
                       std::abs(preparation.target.nHeight) & ~1,
                       numbers.Of(kFormats),
                       AV_CODEC_ID_MPEG2VIDEO,
                       numbers.Below(2) == 0};
  preparation.streamNode = XMLParse::CoXMLNode::Create("video");
  preparation.streamNode->MergeText(numbers.Of(kEdits), XMLParse::MergeMode::kReplace);
  Ref<XvFrameFFM> frame;
  const Ref<IXfFrame> view = Query<IXfFrame>(source.get());
  const Status status = PrepareVideoFrame(preparation, nullptr, view.get(), &frame, nullptr);
  return {static_cast<bool>(frame), (status == Status(S_OK)) == static_cast<bool>(frame)};
}

// A picture with complete properties in guarded memory.
class GuardedPicture {
 public:
  explicit GuardedPicture(Numbers& numbers, std::uint32_t tag)
      : vid_(Completed(VidProps(tag, 1 + numbers.Below(90), 1 + numbers.Below(60),
                                static_cast<std::uint32_t>(numbers.Below(4))))),
        memory_(static_cast<std::size_t>(
            std::max(PictureSpan(vid_),
                     FrameBytes(vid_.fccColor, vid_.nWidth, vid_.nHeight, vid_.nRowBytes)))) {}
  ImageView View() { return MakeImageView(vid_, memory_.data()); }
  GuardedRow& memory() { return memory_; }

 private:
  static XV_VID_PROPS Completed(XV_VID_PROPS vid) {
    NormaliseVideoProps(&vid, true);
    // With an odd height the planes of 4:2:0 overlap: what is written last counts.
    if (IsPlanar(vid.fccColor)) vid.nHeight += vid.nHeight & 1;
    return vid;
  }

  XV_VID_PROPS vid_;
  GuardedRow memory_;
};

// Rectangles, rotations and mirrors of whole pictures at one level; the reference gives the same
// bytes.
inline CaseResult RectangleCase(Numbers& numbers) {
  const SimdLevel before = ActiveSimdLevel();
  const std::uint32_t tags[2] = {kTags[numbers.Below(13)], kTags[numbers.Below(13)]};
  const int kind = numbers.Below(5);
  GuardedPicture source(numbers, tags[0]);
  GuardedPicture target(numbers, kind == 3 ? tags[0] : tags[1]);
  for (std::size_t i = 0; i < source.memory().size(); ++i)
    source.memory().data()[i] = static_cast<std::uint8_t>(i * i / 7 + 31 * i);
  const ImageView from = source.View();
  const ImageView to = target.View();
  PixelRect fromRect = numbers.Rect(from);
  PixelRect toRect = numbers.Rect(to);
  const int quality = numbers.Below(18);
  const int flags = numbers.Below(128);
  const auto run = [&](SimdLevel level) {
    SetSimdLevel(level);
    std::memset(target.memory().data(), 0x5A, target.memory().size());
    switch (kind) {
      case 0:
        return ConvertFormat(from, to, &fromRect, &toRect);
      case 1: {
        PixelRect fitted[2] = {fromRect, toRect};
        RETURN_IF_FAILED(FitRectangles(from, to, &fitted[0], &fitted[1], true));
        ScaleEngine engine;
        return engine.ScaleImage(RegionView(from, fitted[0]), RegionView(to, fitted[1]),
                                 (flags & 8) != 0, quality, 0, flags & 0x73, Siting::kCentred);
      }
      case 2: {
        const int width = std::min(from.width, to.width);
        const int height = std::min(from.height, to.height);
        return ConvertRegion(RegionView(from, 0, 0, width, height),
                             RegionView(to, 0, 0, width, height), 1 + flags % 7);
      }
      case 3: {
        PictureRotator rotator;
        return rotator.Rotate(from, to, (flags & 1) != 0);
      }
      default:
        return MirrorInPlace(to, static_cast<Mirror>(flags & 3));
    }
  };
  const Status expected = run(SimdLevel::kPlain);
  const std::vector<std::uint8_t> bytes(target.memory().bytes().begin(),
                                        target.memory().bytes().end());
  const auto levels = static_cast<int>(SimdLevels().size());
  const Status got = run(SimdLevels()[static_cast<std::size_t>(numbers.Below(levels))]);
  SetSimdLevel(before);
  return {got == Status(S_OK),
          got == expected && std::equal(bytes.begin(), bytes.end(), target.memory().data())};
}

// Any bytes as picture properties, rectangles and edits.
inline CaseResult PictureCase(std::span<const std::uint8_t> bytes) {
  static const Ref<XvConverterRC2> converter = MakeRef<XvConverterRC2>();
  Numbers numbers(bytes);
  switch (numbers.Below(3)) {
    case 0:
      return ConvertFrameCase(numbers, *converter);
    case 1:
      return PrepareFrameCase(numbers);
    default:
      return RectangleCase(numbers);
  }
}

}  // namespace xv::test
