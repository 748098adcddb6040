#include "codec/pixel_format_pick.h"

#include <algorithm>
#include <set>

#include "media/pixel_layout.h"
#include "picture/pixel_formats.h"

namespace xv {
namespace {

// What a source falls through to: each list runs on into the next.
constexpr AVPixelFormat kArgbList[] = {AV_PIX_FMT_BGRA, AV_PIX_FMT_RGBA, AV_PIX_FMT_ARGB,
                                       AV_PIX_FMT_ABGR};
constexpr AVPixelFormat kRgb32List[] = {AV_PIX_FMT_BGR0, AV_PIX_FMT_0RGB, AV_PIX_FMT_0BGR,
                                        AV_PIX_FMT_RGB0, AV_PIX_FMT_BGRA};
constexpr AVPixelFormat kRgb24List[] = {AV_PIX_FMT_BGR24, AV_PIX_FMT_RGB24};
constexpr AVPixelFormat k422OnlyList[] = {AV_PIX_FMT_UYVY422, AV_PIX_FMT_YUYV422,
                                          AV_PIX_FMT_YUV422P};
constexpr AVPixelFormat kDeep422List[] = {AV_PIX_FMT_YUV422P10};
constexpr AVPixelFormat k411List[] = {AV_PIX_FMT_YUV411P};
constexpr AVPixelFormat k420List[] = {AV_PIX_FMT_YUV420P, AV_PIX_FMT_NV12, AV_PIX_FMT_NV21,
                                      AV_PIX_FMT_YUV411P};

enum class Entry { kArgb, kRgb32, kRgb24, kDeep422, k422, k420, kNone };

Entry EntryOf(std::uint32_t fourcc) {
  switch (fourcc) {
    case kFccARGB32:
      return Entry::kArgb;
    case kFccRGB32:
      return Entry::kRgb32;
    case kFccRGB24:
      return Entry::kRgb24;
    case kFccV210:
      return Entry::kDeep422;
    case kFccYUY2:
    case kFccHDYC:
    case kFccUYVY:
      return Entry::k422;
    case kFccYV12:
    case kFccI420:
    case kFccNV12:
      return Entry::k420;
    default:
      return Entry::kNone;
  }
}

AVPixelFormat WalkLists(const std::set<AVPixelFormat>& supported, Entry entry, bool mode422) {
  const auto first = [&](std::span<const AVPixelFormat> list) {
    const auto found =
        std::find_if(list.begin(), list.end(), [&](AVPixelFormat f) { return supported.count(f); });
    return found == list.end() ? AV_PIX_FMT_NONE : *found;
  };
  AVPixelFormat format = AV_PIX_FMT_NONE;
  // Ten bits have no other list to run on into: the encoder's first format is theirs.
  if (entry == Entry::kDeep422) {
    if (mode422) format = first(kDeep422List);
    return format != AV_PIX_FMT_NONE || !mode422 ? format : first(k422OnlyList);
  }
  const auto tryList = [&](bool runs, std::span<const AVPixelFormat> list) {
    if (runs && format == AV_PIX_FMT_NONE) format = first(list);
  };
  tryList(entry <= Entry::kArgb, kArgbList);
  tryList(entry <= Entry::kRgb32, kRgb32List);
  tryList(entry <= Entry::kRgb24, kRgb24List);
  tryList(entry <= Entry::k422 && mode422, k422OnlyList);
  tryList(entry <= Entry::k422, k411List);
  tryList(entry <= Entry::k420, k420List);
  return format;
}

PixelFormatPick PickFromList(const AVPixelFormat* list, std::uint32_t fourcc, bool mode422) {
  std::set<AVPixelFormat> supported;
  for (const AVPixelFormat* f = list; f != nullptr && *f != AV_PIX_FMT_NONE; ++f)
    supported.insert(*f);
  const AVPixelFormat format = WalkLists(supported, EntryOf(fourcc), mode422);
  if (format != AV_PIX_FMT_NONE) return {format};
  return {supported.empty() ? AV_PIX_FMT_YUV420P : list[0]};
}

PixelFormatPick PickRawVideo(std::uint32_t fourcc) {
  switch (fourcc) {
    case kFccHDYC:
    case kFccUYVY:
    case kFccYUY2:
      return {PixelFormatFromFourCC(fourcc), fourcc};
    case kFccV210:
      return {AV_PIX_FMT_UYVY422, kFccUYVY};
    default:
      if (IsRgb(fourcc)) return {AV_PIX_FMT_BGRA, FourCC("BGRA")};
      return PickFromList(nullptr, fourcc, false);
  }
}

}  // namespace

PixelFormatPick PickPixelFormat(AVCodecID id, const AVPixelFormat* supported,
                                std::uint32_t sourceFourCC, bool mode422) {
  switch (id) {
    case AV_CODEC_ID_DVVIDEO:
      return {PixelFormatFromFourCC(sourceFourCC)};
    case AV_CODEC_ID_QTRLE:
      return {AV_PIX_FMT_ARGB};
    case AV_CODEC_ID_PNG:
      return {AV_PIX_FMT_RGBA};
    case AV_CODEC_ID_DPX:
      return {sourceFourCC == kFccR210 ? AV_PIX_FMT_RGB48LE : AV_PIX_FMT_RGBA};
    case AV_CODEC_ID_RAWVIDEO:
      return PickRawVideo(sourceFourCC);
    case AV_CODEC_ID_MJPEG:
    case AV_CODEC_ID_LJPEG:
      // JFIF samples span 0 to 255; the encoders refuse the video-range formats that they list.
      return {mode422 ? AV_PIX_FMT_YUVJ422P : AV_PIX_FMT_YUVJ420P, 0, true};
    default:
      return PickFromList(supported, sourceFourCC, mode422);
  }
}

}  // namespace xv
