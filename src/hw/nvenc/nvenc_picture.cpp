#include "hw/nvenc/nvenc_picture.h"

#include <algorithm>

#include "hw/nvenc/nvenc_settings.h"
#include "picture/to_codec_format.h"

namespace xv {
namespace {

ImageView EncodedLines(const ImageView& source) {
  const int lines = EncodedHeight(source.height);
  if (lines == source.height) return source;
  const int above = source.height - lines;
  // With fields a line of 4:2:0 chroma stands for four of the picture.
  const bool halved = source.data[1] != nullptr && source.Interlaced();
  return RegionView(source, 0, halved ? above & ~3 : above, source.width, lines);
}

void CopyNv12(const ImageView& source, const AVFrame& target) {
  const auto width = static_cast<std::size_t>(source.width);
  CopyPlane(source.data[0], source.step[0], target.data[0], target.linesize[0], width,
            source.height);
  CopyPlane(source.data[1], source.step[1], target.data[1], target.linesize[1], (width + 1) / 2 * 2,
            (source.height + 1) / 2);
}

}  // namespace

bool IsNvencLayout(std::uint32_t tag) {
  constexpr std::uint32_t kLayouts[] = {kFccUYVY,   kFccHDYC, kFccYUY2, kFccRGB24, kFccRGB32,
                                        kFccARGB32, kFccNV12, kFccI420, kFccYV12};
  return std::ranges::find(kLayouts, tag) != std::end(kLayouts);
}

Status NvencPicture::WriteNv12(const ImageView& source, std::uint8_t* memory, int pitch,
                               int bufferHeight) {
  if (!IsNvencLayout(source.tag)) return E_NOTIMPL;
  if (frame_ == nullptr) frame_.reset(av_frame_alloc());
  if (frame_ == nullptr) return E_OUTOFMEMORY;
  const ImageView lines = EncodedLines(source);
  frame_->format = AV_PIX_FMT_NV12;
  frame_->width = lines.width;
  frame_->height = lines.height;
  frame_->data[0] = memory;
  frame_->data[1] = memory + static_cast<std::ptrdiff_t>(pitch) * bufferHeight;
  frame_->linesize[0] = pitch;
  frame_->linesize[1] = pitch;
  if (lines.tag == kFccNV12) {
    CopyNv12(lines, *frame_);
    return S_OK;
  }
  CodecConvertOptions options;
  options.matrix = lines.matrix;
  const Status status = ConvertToCodecFormat(lines, frame_.get(), options);
  return status == Status(S_FALSE) ? Status(E_NOTIMPL) : status;
}

}  // namespace xv
