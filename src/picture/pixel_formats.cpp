#include "picture/pixel_formats.h"

#include <cstdlib>

namespace xv {

int PixelFormatFromFourCC(std::uint32_t fourcc) {
  switch (fourcc) {
    case kFccYV12:
    case kFccI420:
      return AV_PIX_FMT_YUV420P;
    case kFccYUY2:
      return AV_PIX_FMT_YUYV422;
    case kFccUYVY:
    case kFccHDYC:
      return AV_PIX_FMT_UYVY422;
    case kFccNV12:
      return AV_PIX_FMT_NV12;
    case kFccRGB24:
      return AV_PIX_FMT_BGR24;
    case kFccRGB32:
      return AV_PIX_FMT_BGR0;
    case kFccARGB32:
      return AV_PIX_FMT_BGRA;
    case kFccV210:
      return kPixFmtV210;
    default:
      return AV_PIX_FMT_NONE;
  }
}

std::uint32_t FourCCFromPixelFormat(int format, int height) {
  switch (format) {
    case AV_PIX_FMT_YUV420P:
    case AV_PIX_FMT_YUVJ420P:
      return kFccI420;
    case AV_PIX_FMT_YUYV422:
      return kFccYUY2;
    case AV_PIX_FMT_UYVY422:
      return std::abs(height) > 576 ? kFccHDYC : kFccUYVY;
    case AV_PIX_FMT_NV12:
      return kFccNV12;
    case AV_PIX_FMT_BGR24:
      return kFccRGB24;
    case AV_PIX_FMT_BGR0:
      return kFccRGB32;
    case AV_PIX_FMT_BGRA:
      return kFccARGB32;
    default:
      return 0;
  }
}

AVRational SampleAspect(const XV_VID_PROPS& vid) {
  if (vid.nAspectX <= 0 || vid.nAspectY <= 0 || vid.nWidth <= 0 || vid.nHeight == 0) return {0, 1};
  AVRational aspect{};
  av_reduce(&aspect.num, &aspect.den, std::int64_t{vid.nAspectX} * std::abs(vid.nHeight),
            std::int64_t{vid.nAspectY} * vid.nWidth, INT32_MAX);
  return aspect;
}

}  // namespace xv
