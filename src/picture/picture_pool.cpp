#include "picture/picture_pool.h"

#include "media/pixel_layout.h"
#include "picture/pixel_formats.h"
#include "platform/handover.h"

extern "C" {
#include <libavutil/imgutils.h>
}

namespace xv {
namespace {

constexpr int kPlaneAlignment = 64;
// Encoders and SIMD kernels may read a little past the last row; FFmpeg's ProRes encoder reads
// fields in whole rows of macroblocks.
constexpr int kPoolPadding = 256;
constexpr int kWholeRows = 32;

// A block of the pool that goes back with the last reference.
AVBufferRef* PooledBuffer(const std::shared_ptr<MemoryPool>& pool) {
  auto holder = std::make_unique<std::shared_ptr<MemoryPool>>(pool);
  std::uint8_t* block = pool->Take();
  if (block == nullptr) return nullptr;
  // An encoder's threads may be the last that use it.
  const auto giveBack = [](void* opaque, std::uint8_t* data) {
    TakeOver(opaque);
    const std::unique_ptr<std::shared_ptr<MemoryPool>> owner(
        static_cast<std::shared_ptr<MemoryPool>*>(opaque));
    (*owner)->GiveBack(data);
  };
  HandOver(holder.get());
  AVBufferRef* buffer = av_buffer_create(block, pool->bytes(), giveBack, holder.get(), 0);
  if (buffer == nullptr) {
    pool->GiveBack(block);
  } else {
    (void)holder.release();
  }
  return buffer;
}

}  // namespace

AvPtr<AVFrame> PicturePool::Get(int format, int width, int height) {
  const auto pixelFormat = static_cast<AVPixelFormat>(format);
  if (!pool_ || format != format_ || width != width_ || height != height_) {
    const int bytes = format == kPixFmtV210
                          ? NaturalRowBytes(kFccV210, width) * height
                          : av_image_get_buffer_size(pixelFormat, FFALIGN(width, 16),
                                                     FFALIGN(height, kWholeRows), kPlaneAlignment);
    if (bytes <= 0) return nullptr;
    pool_ = std::make_shared<MemoryPool>(static_cast<std::size_t>(bytes) + kPoolPadding);
    format_ = format;
    width_ = width;
    height_ = height;
  }
  AvPtr<AVFrame> picture(av_frame_alloc());
  if (!picture) return nullptr;
  picture->buf[0] = PooledBuffer(pool_);
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

}  // namespace xv
