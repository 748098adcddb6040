#include "picture/host_picture.h"

#include <cstdlib>

#include "media/pixel_layout.h"
#include "media/validity.h"
#include "picture/image_view.h"
#include "picture/pixel_formats.h"
#include "platform/handover.h"

namespace xv {
namespace {

void ReleaseOwner(void* opaque, std::uint8_t*) {
  TakeOver(opaque);
  static_cast<IUnknown*>(opaque)->Release();
}

// A buffer that covers host memory and gives the owner's reference back when FFmpeg is done.
AvPtr<AVBufferRef> WrapMemory(const std::uint8_t* data, std::uint32_t size, Ref<IUnknown> owner) {
  IUnknown* held = owner.Detach();
  HandOver(held);
  AvPtr<AVBufferRef> buffer(av_buffer_create(
      const_cast<std::uint8_t*>(data), size,
      held == nullptr ? [](void*, std::uint8_t*) {} : ReleaseOwner, held, AV_BUFFER_FLAG_READONLY));
  if (!buffer && held != nullptr) held->Release();
  return buffer;
}

// Planes of a host picture. Chroma planes lie right behind luma.
void LayPlanes(const XV_VID_PROPS& vid, const std::uint8_t* data, AVFrame* picture) {
  auto* base = const_cast<std::uint8_t*>(data);
  const int lines = std::abs(vid.nHeight);
  const int rowBytes = vid.nRowBytes;
  const bool bottomUp = IsBottomUp(vid.fccColor, vid.nHeight);
  if (bottomUp) {
    picture->data[0] = base + static_cast<std::ptrdiff_t>(lines - 1) * rowBytes;
    picture->linesize[0] = -rowBytes;
    return;
  }
  picture->data[0] = base;
  picture->linesize[0] = rowBytes;
  if (!IsPlanar(vid.fccColor)) return;
  std::uint8_t* chroma = base + static_cast<std::ptrdiff_t>(lines) * rowBytes;
  if (vid.fccColor == kFccNV12) {
    picture->data[1] = chroma;
    picture->linesize[1] = rowBytes;
    return;
  }
  std::uint8_t* second = chroma + static_cast<std::ptrdiff_t>(rowBytes) * lines / 4;
  const bool vFirst = vid.fccColor == kFccYV12;
  picture->data[1] = vFirst ? second : chroma;
  picture->data[2] = vFirst ? chroma : second;
  picture->linesize[1] = picture->linesize[2] = rowBytes / 2;
}

}  // namespace

void DescribePicture(const XV_VID_PROPS& vid, AVFrame* picture) {
  const int order = InterlaceOrder(vid);
  picture->interlaced_frame = order != 0;
  picture->top_field_first = order > 0;
  picture->sample_aspect_ratio = SampleAspect(vid);
  picture->pict_type = AV_PICTURE_TYPE_NONE;
}

Status WrapPicture(const XV_VID_PROPS& given, const std::uint8_t* data, std::uint32_t size,
                   Ref<IUnknown> owner, AvPtr<AVFrame>* out) {
  const int format = PixelFormatFromFourCC(given.fccColor);
  if (format == AV_PIX_FMT_NONE || !VideoPropsValid(given, true) || !SizeIsPlausible(given) ||
      data == nullptr || given.nWidth < 1 || given.nHeight == 0) {
    return XV_E_NO_PIXEL_FORMAT;
  }
  XV_VID_PROPS vid = given;
  const int natural = NaturalRowBytes(vid.fccColor, vid.nWidth);
  if (vid.nRowBytes < natural) vid.nRowBytes = natural;
  const int lines = std::abs(vid.nHeight);
  // Nobody reads what the last row might have behind its last pixel, but for the groups of v210.
  const std::int64_t bytes = vid.fccColor == kFccV210
                                 ? FrameBytes(vid.fccColor, vid.nWidth, lines, vid.nRowBytes)
                                 : PictureSpan(vid);
  if (bytes > size) return E_INVALIDARG;

  AvPtr<AVFrame> picture(av_frame_alloc());
  if (!picture) return E_OUTOFMEMORY;
  picture->buf[0] = WrapMemory(data, size, std::move(owner)).release();
  if (picture->buf[0] == nullptr) return E_OUTOFMEMORY;
  picture->width = vid.nWidth;
  picture->height = lines;
  picture->format = format;
  LayPlanes(vid, data, picture.get());
  DescribePicture(vid, picture.get());
  *out = std::move(picture);
  return S_OK;
}

}  // namespace xv
