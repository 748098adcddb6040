#include "picture/codec_picture.h"

#include <algorithm>
#include <cstdlib>

#include "kernels/packed_kernels.h"
#include "media/pixel_layout.h"
#include "picture/host_picture.h"
#include "picture/layout_conversion.h"
#include "picture/pixel_formats.h"
#include "picture/rematrix.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace xv {
namespace {

constexpr std::size_t kReadPadding = 256;

bool IsYuv(int format) {
  const AVPixFmtDescriptor* desc = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(format));
  return desc != nullptr && (desc->flags & AV_PIX_FMT_FLAG_RGB) == 0;
}

// The lines of one field of a picture: every second line from `parity`.
struct FieldPlanes {
  const std::uint8_t* data[4];
  int linesize[4];
};

FieldPlanes FieldOf(const AVFrame& picture, int parity) {
  FieldPlanes field{};
  for (int i = 0; i < 4; ++i) {
    if (picture.data[i] == nullptr) continue;
    field.data[i] = picture.data[i] + static_cast<std::ptrdiff_t>(parity) * picture.linesize[i];
    field.linesize[i] = picture.linesize[i] * 2;
  }
  return field;
}

// Planes of YCbCr; no bits for anything else.
struct PlanarShape {
  int bits = 0;
  int shiftX = 0;
  int shiftY = 0;
};

PlanarShape ShapeOf(int format) {
  const AVPixFmtDescriptor* desc = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(format));
  constexpr std::uint64_t kOther = AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_BE | AV_PIX_FMT_FLAG_ALPHA;
  if (desc == nullptr || (desc->flags & kOther) != 0 || desc->nb_components != 3) return {};
  const bool planes = (desc->flags & AV_PIX_FMT_FLAG_PLANAR) != 0;
  const bool separate = desc->comp[1].plane == 1 && desc->comp[2].plane == 2;
  const int depth = desc->comp[0].depth;
  if (!planes || !(separate || format == AV_PIX_FMT_NV12) || desc->comp[0].shift != 0) return {};
  if (depth != 8 && depth != 10) return {};
  return {depth, desc->log2_chroma_w, desc->log2_chroma_h};
}

WidePicture PlanesOf(const AVFrame& picture, const PlanarShape& shape) {
  ImageView view;
  view.width = picture.width;
  view.height = picture.height;
  view.chromaHeight = AV_CEIL_RSHIFT(picture.height, shape.shiftY);
  for (std::size_t i = 0; i < 3; ++i) {
    view.data[i] = picture.data[i];
    view.step[i] = picture.linesize[i];
  }
  return WidePicture::OfPlanes(view, shape.bits, shape.shiftX, shape.shiftY);
}

void ExpandRange(const AVFrame& picture, const PlanarShape& shape) {
  const auto each = [&](int plane, int width, int rows, auto expand) {
    for (int y = 0; y < rows; ++y) {
      expand(picture.data[plane] + static_cast<std::ptrdiff_t>(y) * picture.linesize[plane], width);
    }
  };
  each(0, picture.width, picture.height, Packed().expandLuma);
  const bool both = picture.data[2] == nullptr;
  const int width = AV_CEIL_RSHIFT(picture.width, shape.shiftX);
  for (int plane = 1; plane < (both ? 2 : 3); ++plane) {
    each(plane, both ? 2 * width : width, AV_CEIL_RSHIFT(picture.height, shape.shiftY),
         Packed().expandChroma);
  }
}

// Layouts that the library does not know, as one that it does.
std::uint32_t LibraryLayout(std::uint32_t tag) {
  if (tag == kFccR210) return kFccRGB32;
  return tag == kFccV210 || tag == kFccYVYU ? kFccUYVY : tag;
}

}  // namespace

Status PictureConverter::Scale(const AVFrame& source, AVFrame* target,
                               const CodecConvertOptions& options, bool fields) {
  const int divisor = fields ? 2 : 1;
  SwsContext* context = sws_getCachedContext(
      sws_.release(), source.width, source.height / divisor,
      static_cast<AVPixelFormat>(source.format), target->width, target->height / divisor,
      static_cast<AVPixelFormat>(target->format), SWS_BILINEAR, nullptr, nullptr, nullptr);
  sws_.reset(context);
  if (context == nullptr) return XV_E_NO_PIXEL_FORMAT;
  constexpr int kMatrices[] = {SWS_CS_ITU601, SWS_CS_ITU709, SWS_CS_BT2020};
  const int* matrix = sws_getCoefficients(kMatrices[static_cast<int>(options.matrix)]);
  sws_setColorspaceDetails(context, matrix, IsYuv(source.format) ? 0 : 1, matrix,
                           options.fullRange || !IsYuv(target->format) ? 1 : 0, 0, 1 << 16,
                           1 << 16);
  for (int parity = 0; parity < divisor; ++parity) {
    const FieldPlanes from = FieldOf(source, parity);
    const FieldPlanes to = FieldOf(*target, parity);
    const bool whole = divisor == 1;
    std::uint8_t* out[4];
    std::copy(std::begin(to.data), std::end(to.data), const_cast<const std::uint8_t**>(out));
    const int done = sws_scale(context, whole ? source.data : from.data,
                               whole ? source.linesize : from.linesize, 0, source.height / divisor,
                               whole ? target->data : out, whole ? target->linesize : to.linesize);
    if (done < 0) return E_FAIL;
  }
  return S_OK;
}

Status PictureConverter::ThroughLibrary(const PictureView& source, AVFrame* target,
                                        const CodecConvertOptions& options) {
  // The library reads past the end of rows: it works on a copy with room behind it.
  XV_VID_PROPS vid = source.vid;
  vid.fccColor = LibraryLayout(vid.fccColor);
  if (vid.fccColor != source.vid.fccColor) vid.nHeight = -std::abs(vid.nHeight);
  vid.nRowBytes = NaturalRowBytes(vid.fccColor, vid.nWidth);
  between_.resize(static_cast<std::size_t>(PictureSpan(vid)) + kReadPadding);
  const std::uint8_t* data = between_.data();
  if (PixelFormatFromFourCC(vid.fccColor) == AV_PIX_FMT_NONE ||
      ConvertPixels(MakeImageView(source.vid, source.data), MakeImageView(vid, data)).Failed()) {
    return XV_E_NO_PIXEL_FORMAT;
  }
  AvPtr<AVFrame> wrapped;
  RETURN_IF_FAILED(
      WrapPicture(vid, data, static_cast<std::uint32_t>(between_.size()), nullptr, &wrapped));
  const AVFrame& picture = *wrapped;
  const AVPixFmtDescriptor* desc = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(target->format));
  // Fields keep apart where chroma lines are halved.
  const bool fields = desc != nullptr && desc->log2_chroma_h > 0 && picture.interlaced_frame != 0 &&
                      target->interlaced_frame != 0 && picture.height % 4 == 0;
  return Scale(picture, target, options, fields);
}

Status PictureConverter::ThroughWideRows(const ImageView& source, AVFrame* target,
                                         const CodecConvertOptions& options) {
  if (!WidePicture::Knows(source.tag) || IsRgb(source.tag)) return S_FALSE;
  // Samples in between are made of their two neighbours: what a line of chroma stands for stays.
  const SampleFilter filter = SampleFilter::kFastBilinear;
  const WideJob job{{filter, filter}, source.Interlaced() ? FieldMode::kFields : FieldMode::kFrame};
  const PlanarShape shape = ShapeOf(target->format);
  if (shape.bits == 8 || (shape.bits == 10 && !options.fullRange)) {
    wide_.Scale(WidePicture(source), PlanesOf(*target, shape), job);
    if (options.fullRange) ExpandRange(*target, shape);
    return S_OK;
  }
  // 4:2:0 by fields on its way to packed 4:2:2 or RGB.
  if (!IsPlanar420(source.tag) && source.tag != kFccNV12) return S_FALSE;
  ImageView packed = source;
  packed.tag = kFccUYVY;
  packed.step = {(source.width + 1) / 2 * 4, 0, 0};
  packed.chromaHeight = 0;
  between_.resize(static_cast<std::size_t>(packed.step[0] * source.height) + kReadPadding);
  packed.data = {between_.data(), nullptr, nullptr};
  wide_.Scale(WidePicture(source), WidePicture(packed), job);
  return ConvertToCodecFormat(packed, target, options);
}

Status PictureConverter::Convert(const PictureView& source, AVFrame* target,
                                 const CodecConvertOptions& options) {
  const Status made = Make(source, target, options);
  const bool jpeg = options.fullRange && !IsRgb(source.vid.fccColor);
  if (jpeg && !made.Failed() && options.matrix != Matrix::kBt601) {
    RematrixToBt601(*target, options.matrix);
  }
  return made;
}

Status PictureConverter::Make(const PictureView& source, AVFrame* target,
                              const CodecConvertOptions& options) {
  ImageView view = MakeImageView(source.vid, source.data);
  view.matrix = options.matrix;
  const Status own = ConvertToCodecFormat(view, target, options);
  if (!own.NothingDone()) return own;
  const Status wide = ThroughWideRows(view, target, options);
  return wide.NothingDone() ? ThroughLibrary(source, target, options) : wide;
}

}  // namespace xv
