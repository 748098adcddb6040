#include "convert/picture_convert.h"

#include <algorithm>
#include <cstdlib>

#include "convert/frame_ffm.h"
#include "convert/pixel_map.h"
#include "media/pixel_layout.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace xv {
namespace {

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

Status PictureConverter::Convert(const PictureView& source, AVFrame* target, bool fullRange) {
  XvFrameFFM wrapped;
  const std::int64_t bytes = FrameBytes(source.vid.fccColor, source.vid.nWidth,
                                        std::abs(source.vid.nHeight), source.vid.nRowBytes);
  RETURN_IF_FAILED(
      wrapped.AttachMemory(source.vid, source.data, static_cast<std::uint32_t>(bytes), nullptr));
  const AVFrame& picture = *wrapped.picture();
  if (picture.format == kPixFmtV210) return XV_E_NO_PIXEL_FORMAT;
  const bool resized = picture.width != target->width || picture.height != target->height;
  const AVPixFmtDescriptor* desc = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(target->format));
  // Fields keep apart whenever lines are mixed: by scaling, or by halving the chroma lines.
  const bool mixesLines = resized || (desc != nullptr && desc->log2_chroma_h > 0);
  const bool fields = mixesLines && picture.interlaced_frame != 0 &&
                      target->interlaced_frame != 0 && picture.height % 4 == 0 &&
                      target->height % 4 == 0;
  return Scale(picture, target, source.vid.fccColor == kFccHDYC, fullRange, fields);
}

}  // namespace xv
