#include "convert/frame_ffm.h"

#include <cstdlib>
#include <new>

#include "convert/image_view.h"
#include "convert/pixel_map.h"
#include "media/pixel_layout.h"
#include "media/validity.h"
#include "platform/handover.h"

extern "C" {
#include <libavutil/imgutils.h>
}

namespace xv {
namespace {

constexpr int kPlaneAlignment = 64;
// Encoders and SIMD kernels may read a little past the last row.
constexpr int kPoolPadding = 256;

void ReleaseOwner(void* opaque, std::uint8_t*) { static_cast<IUnknown*>(opaque)->Release(); }

// A buffer that covers host memory and gives the owner's reference back when FFmpeg is done.
AvPtr<AVBufferRef> WrapMemory(const std::uint8_t* data, std::uint32_t size, Ref<IUnknown> owner) {
  IUnknown* held = owner.Detach();
  AvPtr<AVBufferRef> buffer(av_buffer_create(
      const_cast<std::uint8_t*>(data), size,
      held == nullptr ? [](void*, std::uint8_t*) {} : ReleaseOwner, held, AV_BUFFER_FLAG_READONLY));
  if (!buffer && held != nullptr) held->Release();
  return buffer;
}

// A block of the shelf that goes back with the last reference.
AVBufferRef* ShelvedBuffer(const std::shared_ptr<MemoryShelf>& shelf) {
  std::uint8_t* block = shelf->Take();
  if (block == nullptr) return nullptr;
  auto holder = std::make_unique<std::shared_ptr<MemoryShelf>>(shelf);
  // An encoder's threads may be the last that use it.
  const auto giveBack = [](void* opaque, std::uint8_t* data) {
    TakeOver(opaque);
    const std::unique_ptr<std::shared_ptr<MemoryShelf>> owner(
        static_cast<std::shared_ptr<MemoryShelf>*>(opaque));
    (*owner)->GiveBack(data);
  };
  HandOver(holder.get());
  AVBufferRef* buffer = av_buffer_create(block, shelf->bytes(), giveBack, holder.get(), 0);
  if (buffer == nullptr) {
    shelf->GiveBack(block);
  } else {
    (void)holder.release();
  }
  return buffer;
}

// Planes of a host picture. Chroma planes lie right behind luma.
void LayPlanes(const XV_VID_PROPS& vid, const std::uint8_t* data, AVFrame* picture) {
  auto* base = const_cast<std::uint8_t*>(data);
  const int lines = std::abs(vid.nHeight);
  const int rowBytes = vid.nRowBytes;
  const bool bottomUp = IsRgb(vid.fccColor) && vid.nHeight > 0;
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

AvPtr<AVFrame> PicturePool::Get(int format, int width, int height) {
  const auto pixelFormat = static_cast<AVPixelFormat>(format);
  if (!shelf_ || format != format_ || width != width_ || height != height_) {
    const int bytes = format == kPixFmtV210
                          ? NaturalRowBytes(kFccV210, width) * height
                          : av_image_get_buffer_size(pixelFormat, FFALIGN(width, 16),
                                                     FFALIGN(height, 16), kPlaneAlignment);
    if (bytes <= 0) return nullptr;
    shelf_ = std::make_shared<MemoryShelf>(static_cast<std::size_t>(bytes) + kPoolPadding);
    format_ = format;
    width_ = width;
    height_ = height;
  }
  AvPtr<AVFrame> picture(av_frame_alloc());
  if (!picture) return nullptr;
  picture->buf[0] = ShelvedBuffer(shelf_);
  if (picture->buf[0] == nullptr) return nullptr;
  picture->format = format;
  picture->width = width;
  picture->height = height;
  if (format == kPixFmtV210) {
    picture->linesize[0] = NaturalRowBytes(kFccV210, width);
    picture->data[0] = picture->buf[0]->data;
    return picture;
  }
  if (av_image_fill_linesizes(picture->linesize, pixelFormat, FFALIGN(width, 16)) < 0)
    return nullptr;
  for (int& size : picture->linesize) size = FFALIGN(size, kPlaneAlignment);
  std::uint8_t* base = picture->buf[0]->data;
  if (av_image_fill_pointers(picture->data, pixelFormat, FFALIGN(height, 2), base,
                             picture->linesize) < 0) {
    return nullptr;
  }
  return picture;
}

void DescribePicture(const XV_VID_PROPS& vid, AVFrame* picture) {
  const int order = InterlaceOrder(vid);
  picture->interlaced_frame = order != 0;
  picture->top_field_first = order > 0;
  picture->sample_aspect_ratio = SampleAspect(vid);
  picture->pict_type = AV_PICTURE_TYPE_NONE;
  if (vid.fccColor == kFccHDYC) {
    picture->color_primaries = AVCOL_PRI_BT709;
    picture->color_trc = AVCOL_TRC_BT709;
  }
}

Status XvFrameFFM::Create(XvFrameFFM** out) {
  if (out == nullptr) return E_POINTER;
  *out = new (std::nothrow) XvFrameFFM;
  if (*out == nullptr) return E_OUTOFMEMORY;
  (*out)->AddRef();
  return S_OK;
}

XvFrameFFM::~XvFrameFFM() { Reset(); }

void XvFrameFFM::Reset() {
  picture_.reset();
  subtitle_.reset();
  keptSource_ = nullptr;
  borrowed_ = false;
}

void XvFrameFFM::Adopt(AvPtr<AVFrame> picture) {
  Reset();
  picture_ = std::move(picture);
}

Status XvFrameFFM::Attach(IUnknown* hostFrame) {
  Reset();
  if (hostFrame == nullptr) return S_OK;
  const Ref<IXfFrame> frame = Query<IXfFrame>(hostFrame);
  if (!frame) return E_NOINTERFACE;
  XV_AV_PROPS props{};
  std::uint32_t size = 0;
  const std::uint8_t* data = nullptr;
  RETURN_IF_FAILED(frame->FramePropsGet(&props, nullptr));
  RETURN_IF_FAILED(frame->FrameVideoGet(&size, &data));
  return AttachMemory(props.vid, data, size, Ref<IUnknown>(frame));
}

Status XvFrameFFM::AttachMemory(const XV_VID_PROPS& given, const std::uint8_t* data,
                                std::uint32_t size, Ref<IUnknown> owner) {
  Reset();
  const int format = PixelFormatFromFourCC(given.fccColor);
  if (format == AV_PIX_FMT_NONE || !VideoPropsValid(given, true) || !SizeIsPlausible(given) ||
      data == nullptr || given.nWidth < 1 || given.nHeight == 0) {
    return XV_E_NO_PIXEL_FORMAT;
  }
  XV_VID_PROPS vid = given;
  const int natural = NaturalRowBytes(vid.fccColor, vid.nWidth);
  if (vid.nRowBytes < natural) vid.nRowBytes = natural;
  const int lines = std::abs(vid.nHeight);
  if (FrameBytes(vid.fccColor, vid.nWidth, lines, vid.nRowBytes) > size) return E_INVALIDARG;

  AvPtr<AVFrame> picture(av_frame_alloc());
  if (!picture) return E_OUTOFMEMORY;
  picture->buf[0] = WrapMemory(data, size, std::move(owner)).release();
  if (picture->buf[0] == nullptr) return E_OUTOFMEMORY;
  picture->width = vid.nWidth;
  picture->height = lines;
  picture->format = format;
  LayPlanes(vid, data, picture.get());
  DescribePicture(vid, picture.get());
  picture_ = std::move(picture);
  borrowed_ = true;
  return S_OK;
}

}  // namespace xv
