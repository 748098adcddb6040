#include "picture/codec_picture.h"

#include <algorithm>
#include <cstdlib>

#include "media/pixel_layout.h"
#include "picture/host_picture.h"
#include "picture/layout_conversion.h"
#include "picture/pixel_formats.h"

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

// Layouts that the library does not know, as one that it does.
std::uint32_t LibraryLayout(std::uint32_t tag) {
  if (tag == kFccR210) return kFccRGB32;
  return tag == kFccV210 || tag == kFccYVYU ? kFccUYVY : tag;
}

}  // namespace

Status PictureConverter::Scale(const AVFrame& source, AVFrame* target, bool bt709, bool fullRange,
                               bool fields) {
  const int divisor = fields ? 2 : 1;
  SwsContext* context = sws_getCachedContext(
      sws_.release(), source.width, source.height / divisor,
      static_cast<AVPixelFormat>(source.format), target->width, target->height / divisor,
      static_cast<AVPixelFormat>(target->format), SWS_BILINEAR, nullptr, nullptr, nullptr);
  sws_.reset(context);
  if (context == nullptr) return XV_E_NO_PIXEL_FORMAT;
  const int* matrix = sws_getCoefficients(bt709 ? SWS_CS_ITU709 : SWS_CS_ITU601);
  sws_setColorspaceDetails(context, matrix, IsYuv(source.format) ? 0 : 1, matrix,
                           fullRange || !IsYuv(target->format) ? 1 : 0, 0, 1 << 16, 1 << 16);
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
                                        bool fullRange) {
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
  return Scale(picture, target, source.vid.fccColor == kFccHDYC, fullRange, fields);
}

Status PictureConverter::Convert(const PictureView& source, AVFrame* target,
                                 const CodecConvertOptions& options) {
  const Status own = ConvertToCodecFormat(MakeImageView(source.vid, source.data), target, options);
  return own.NothingDone() ? ThroughLibrary(source, target, options.fullRange) : own;
}

}  // namespace xv
