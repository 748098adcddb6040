#include "picture/to_codec_format.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "kernels/channel_kernels.h"
#include "kernels/packed_kernels.h"
#include "picture/layout_conversion.h"
#include "picture/pixel_formats.h"
#include "picture/pixel_rgb.h"
#include "picture/pixel_ycbcr.h"
#include "picture/rgb_rows.h"
#include "picture/v210_pictures.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace xv {
namespace {

// No routine here for the pair: libswscale may know it.
constexpr HRESULT kNoRoutine = S_FALSE;

// S_FALSE for a pair that ConvertPixels does not know.
Status ConvertPlain(const ImageView& source, const ImageView& target) {
  const Status converted = ConvertPixels(source, target);
  return converted == Status(E_NOTIMPL) ? Status(kNoRoutine) : converted;
}

ImageView OnePlane(const AVFrame& target, std::uint32_t tag) {
  ImageView view;
  view.tag = tag;
  view.width = target.width;
  view.height = target.height;
  view.data[0] = target.data[0];
  view.step[0] = target.linesize[0];
  return view;
}

PlanarView Planes(const AVFrame& target, PlanarView::Kind kind) {
  return {kind,
          {target.data[0], target.data[1], target.data[2]},
          {target.linesize[0], target.linesize[1], target.linesize[2]}};
}

Status ToPlanar(const ImageView& source, const AVFrame& target, PlanarView::Kind kind,
                bool fullRange) {
  const PlanarView planes = Planes(target, kind);
  const FieldForm form = source.Interlaced() ? FieldForm::kInterlaced : FieldForm::kFrame;
  if (IsRgbSource(source.tag)) {
    RgbToPlanar(source, planes, form, MatrixFromRgb(source.matrix, fullRange));
    return S_OK;
  }
  if (FindPackedOrder(source.tag)) {
    PackedToPlanar(source, planes, form, fullRange);
    return S_OK;
  }
  if (!IsPlanar420(source.tag) || fullRange) return kNoRoutine;
  if (kind == PlanarView::Kind::kNv12) {
    Planar420ToNv12(source, planes);
    return S_OK;
  }
  if (kind != PlanarView::Kind::k420) return kNoRoutine;
  ImageView view = source;
  view.data = planes.data;
  view.step = planes.step;
  CopyPicture(source, view);
  return S_OK;
}

// Rows of every row of `view` through `kernel`.
template <class Kernel>
void EachRow(const ImageView& view, Kernel&& kernel) {
  for (int y = 0; y < view.height; ++y) kernel(view.data[0] + y * view.step[0]);
}

Status To24(const ImageView& source, const AVFrame& target, bool redFirst) {
  const ImageView view = OnePlane(target, kFccRGB24);
  const Status result = ConvertPlain(source, view);
  constexpr std::uint8_t kExchange[3] = {2, 1, 0};
  if (result == Status(S_OK) && redFirst) {
    EachRow(view, [&](std::uint8_t* row) { Channels().reorder3(row, row, view.width, kExchange); });
  }
  return result;
}

Status To32(const ImageView& source, const AVFrame& target, const CodecConvertOptions& options) {
  const ImageView view = OnePlane(target, kFccARGB32);
  const Status result = ConvertPlain(source, view);
  if (result != Status(S_OK)) return result;
  if (source.tag == kFccRGB32) {
    EachRow(view, [&](std::uint8_t* row) { Channels().setChannel(row, view.width, 3, 255); });
  }
  const bool keepsAlpha = source.tag == kFccARGB32 || target.format == AV_PIX_FMT_0RGB;
  if (!keepsAlpha && options.mask != nullptr) {
    RETURN_IF_FAILED(ApplyAlphaMask(*options.mask, view, 3, options.premultiply));
  }
  constexpr std::uint8_t kRgba[4] = {2, 1, 0, 3};
  constexpr std::uint8_t kArgb[4] = {3, 2, 1, 0};
  if (target.format == AV_PIX_FMT_BGRA) return S_OK;
  const std::uint8_t* order = target.format == AV_PIX_FMT_RGBA ? kRgba : kArgb;
  EachRow(view, [&](std::uint8_t* row) {
    Packed().swizzle4(row, row, static_cast<std::size_t>(view.width), order, Stores::kCached);
  });
  return S_OK;
}

Status ToPacked(const ImageView& source, const AVFrame& target, std::uint32_t tag) {
  if (IsPlanar420(source.tag) || source.tag == kFccNV12) return kNoRoutine;
  return ConvertPlain(source, OnePlane(target, tag));
}

// `rows` of a picture from the even row `first` on.
AVFrame BandOf(const AVFrame& picture, int first, int rows) {
  const AVPixFmtDescriptor* format =
      av_pix_fmt_desc_get(static_cast<AVPixelFormat>(picture.format));
  AVFrame band{};
  band.format = picture.format;
  band.width = picture.width;
  band.height = rows;
  for (int plane = 0; plane < 3; ++plane) {
    if (picture.data[plane] == nullptr) continue;
    const int halvings = plane > 0 && format != nullptr ? format->log2_chroma_h : 0;
    band.linesize[plane] = picture.linesize[plane];
    band.data[plane] =
        picture.data[plane] + std::ptrdiff_t{first >> halvings} * picture.linesize[plane];
  }
  return band;
}

ImageView RowsOf(const ImageView& view, int first, int rows) {
  ImageView band = view;
  band.height = rows;
  band.data[0] += first * view.step[0];
  return band;
}

// v210 that does not stay 10 bits deep goes through UYVY, some rows at a time, which stay in the
// processor's cache.
Status FromV210(const ImageView& source, AVFrame* target, const CodecConvertOptions& options) {
  constexpr int kRows = 16;  // a multiple of the four from which interlaced 4:2:0 is made
  if (target->format == AV_PIX_FMT_YUV422P10LE && !options.fullRange) {
    UnpackV210ToPlanes(source, Planes(*target, PlanarView::Kind::k422));
    return S_OK;
  }
  if (target->format == AV_PIX_FMT_YUV420P10LE || target->format == AV_PIX_FMT_YUV444P10LE) {
    return kNoRoutine;
  }
  static thread_local std::vector<std::uint8_t> unpacked;
  ImageView band = source;
  band.tag = kFccUYVY;
  band.step[0] = (source.width + 1) / 2 * 4;
  for (int first = 0; first < source.height; first += band.height) {
    // What a last four lacks is taken from the four above: they stay together.
    const int left = source.height - first;
    band.height = left < 2 * kRows ? left : kRows;
    unpacked.resize(static_cast<std::size_t>(band.step[0]) * static_cast<std::size_t>(band.height));
    band.data[0] = unpacked.data();
    UnpackV210(RowsOf(WholePairs(source), first, band.height), band);
    AVFrame rows = BandOf(*target, first, band.height);
    CodecConvertOptions ofBand = options;
    ImageView mask;
    if (options.mask != nullptr) {
      mask = RowsOf(*options.mask, first, std::max(0, options.mask->height - first));
      ofBand.mask = &mask;
    }
    const Status made = ConvertToCodecFormat(band, &rows, ofBand);
    if (made != Status(S_OK)) return made;
  }
  return S_OK;
}

// As serial interfaces want it: the codes next to either end of the range are theirs. What a row
// has behind its last pixel is 0, as FFmpeg's own encoder leaves it.
Status ToV210(const ImageView& source, const AVFrame& target) {
  const std::size_t bytes = static_cast<std::size_t>(source.width + 1) / 2 * 4;
  const int groups = (source.width + 5) / 6;
  static thread_local std::vector<std::uint8_t> legal;
  legal.assign(static_cast<std::size_t>(groups) * 12, 0);
  ImageView from = source;
  from.width = groups * 6;
  from.height = 1;
  from.data[0] = legal.data();
  ImageView to = OnePlane(target, kFccV210);
  to.width = from.width;
  to.height = 1;
  const int packed = groups * 16;
  for (int y = 0; y < source.height; ++y) {
    const std::uint8_t* row = source.data[0] + source.step[0] * y;
    std::transform(row, row + bytes, from.data[0],
                   [](std::uint8_t code) { return std::clamp<std::uint8_t>(code, 1, 254); });
    Pack422ToV210(from, to);
    std::memset(to.data[0] + packed, 0, static_cast<std::size_t>(target.linesize[0] - packed));
    to.data[0] += target.linesize[0];
  }
  return S_OK;
}

// 8-bit 4:2:2 at the top of 10 bits: ITU-R BT.709 gives each code of 8 bits four of 10.
Status ToDeep422(const ImageView& source, const AVFrame& target) {
  const auto luma = static_cast<std::size_t>(source.width);
  const std::size_t chroma = (luma + 1) / 2;
  static thread_local std::vector<std::uint8_t> scratch;
  scratch.resize(luma + 2 * chroma);
  ImageView from = source;
  from.height = 1;
  PlanarView row;
  row.kind = PlanarView::Kind::k422;
  row.data = {scratch.data(), scratch.data() + luma, scratch.data() + luma + chroma};
  for (int y = 0; y < source.height; ++y) {
    PackedToPlanar(from, row, FieldForm::kFrame, false);
    for (std::size_t plane = 0; plane < 3; ++plane) {
      auto* deep = reinterpret_cast<std::uint16_t*>(
          target.data[plane] + static_cast<std::ptrdiff_t>(target.linesize[plane]) * y);
      std::transform(row.data[plane], row.data[plane] + (plane == 0 ? luma : chroma), deep,
                     [](std::uint8_t code) { return static_cast<std::uint16_t>(code << 2); });
    }
    from.data[0] += source.step[0];
  }
  return S_OK;
}

// Pictures of `source`'s kind become RGB by kernels that take the chroma of a line from the rows
// of 4:2:0 that a frame has: lines of fields have others.
bool MixesFields(const ImageView& source) {
  return source.Interlaced() && (IsPlanar420(source.tag) || source.tag == kFccNV12);
}

Status Run(const ImageView& source, AVFrame* target, const CodecConvertOptions& options) {
  using Kind = PlanarView::Kind;
  if (source.tag == kFccV210) return FromV210(source, target, options);
  const bool halved = IsPlanar420(source.tag) || source.tag == kFccNV12;
  if (!IsRgbSource(source.tag) && !FindPackedOrder(source.tag) && !halved) return kNoRoutine;
  switch (target->format) {
    case kPixFmtV210:
      return ToV210(source, *target);
    case AV_PIX_FMT_YUV422P10LE:
      if (options.fullRange || !FindPackedOrder(source.tag)) return kNoRoutine;
      return ToDeep422(source, *target);
    case AV_PIX_FMT_YUV420P:
      return ToPlanar(source, *target, Kind::k420, options.fullRange);
    case AV_PIX_FMT_YUVJ420P:
      return ToPlanar(source, *target, Kind::k420, true);
    case AV_PIX_FMT_YUV422P:
      return ToPlanar(source, *target, Kind::k422, options.fullRange);
    case AV_PIX_FMT_YUVJ422P:
      return ToPlanar(source, *target, Kind::k422, true);
    case AV_PIX_FMT_YUV411P:
      return ToPlanar(source, *target, Kind::k411, options.fullRange);
    case AV_PIX_FMT_NV12:
      return ToPlanar(source, *target, Kind::kNv12, options.fullRange);
    case AV_PIX_FMT_UYVY422:
      if (options.fullRange) return kNoRoutine;
      return ToPacked(source, *target, kFccUYVY);
    case AV_PIX_FMT_YUYV422:
      if (options.fullRange) return kNoRoutine;
      return ToPacked(source, *target, kFccYUY2);
    case AV_PIX_FMT_RGB24:
    case AV_PIX_FMT_BGR24:
      if (MixesFields(source)) return kNoRoutine;
      return To24(source, *target, target->format == AV_PIX_FMT_RGB24);
    case AV_PIX_FMT_RGB48LE:
      if (source.tag != kFccR210) return kNoRoutine;
      R210ToRgb48(source, target->data[0], target->linesize[0]);
      return S_OK;
    case AV_PIX_FMT_ARGB:
    case AV_PIX_FMT_RGBA:
    case AV_PIX_FMT_BGRA:
    case AV_PIX_FMT_0RGB:
      if (MixesFields(source)) return kNoRoutine;
      return To32(source, *target, options);
    default:
      return kNoRoutine;
  }
}

}  // namespace

Status ConvertToCodecFormat(const ImageView& source, AVFrame* target,
                            const CodecConvertOptions& options) {
  const Status result = Run(source, target, options);
  return result.Failed() ? Status(XV_E_NO_VALID_MEDIA) : result;
}

Status ApplyAlphaMask(const ImageView& mask, const ImageView& target, int byteOffset,
                      bool premultiply) {
  if (target.width < 1 || target.height < 1) return E_INVALIDARG;
  if (mask.data[0] == nullptr || mask.width < 1 || mask.height < 1) return S_FALSE;
  if (mask.tag != kFccRGB8) return E_NOTIMPL;
  const int width = std::min(mask.width, target.width);
  const int height = std::min(mask.height, target.height);
  for (int y = 0; y < height; ++y) {
    std::uint8_t* row = target.data[0] + y * target.step[0];
    Channels().copyToChannel(mask.data[0] + y * mask.step[0], row, width, byteOffset);
    if (premultiply) Channels().premultiply(row, width);
  }
  return S_OK;
}

}  // namespace xv
