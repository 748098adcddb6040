#include <memory>

#include "contracts/av_handles.h"
#include "peers.h"

namespace xv::bench {
namespace {

AVPixelFormat FormatOf(std::uint32_t tag) {
  switch (tag) {
    case kFccUYVY:
    case kFccHDYC:
      return AV_PIX_FMT_UYVY422;
    case kFccYUY2:
      return AV_PIX_FMT_YUYV422;
    case kFccI420:
      return AV_PIX_FMT_YUV420P;
    case kFccNV12:
      return AV_PIX_FMT_NV12;
    case kFccARGB32:
      return AV_PIX_FMT_BGRA;
    default:
      return AV_PIX_FMT_NONE;
  }
}

int FlagsOf(SwsKind kind) {
  if (kind == SwsKind::kBicubic) return SWS_BICUBIC;
  return kind == SwsKind::kBilinear
             ? SWS_BILINEAR
             : SWS_BICUBIC | SWS_ACCURATE_RND | SWS_FULL_CHR_H_INT | SWS_FULL_CHR_H_INP;
}

struct Side {
  Side(const ImageView& view, int parity, int fields) {
    for (std::size_t i = 0; i < 3; ++i) {
      if (view.data[i] == nullptr) continue;
      data[i] = view.data[i] + parity * view.step[i];
      step[i] = static_cast<int>(view.step[i]) * fields;
    }
  }
  std::uint8_t* data[4] = {};
  int step[4] = {};
};

}  // namespace

Body SwsBody(const Work& work, SwsKind kind, bool fields) {
  const ImageView from = work.source.View();
  const ImageView to = work.target.View();
  const int count = fields ? 2 : 1;
  if (FormatOf(from.tag) == AV_PIX_FMT_NONE || FormatOf(to.tag) == AV_PIX_FMT_NONE) return nullptr;
  const std::shared_ptr<SwsContext> context(
      sws_getContext(from.width, from.height / count, FormatOf(from.tag), to.width,
                     to.height / count, FormatOf(to.tag), FlagsOf(kind), nullptr, nullptr, nullptr),
      sws_freeContext);
  if (!context) return nullptr;
  const bool bt709 = from.tag == kFccHDYC || to.tag == kFccHDYC;
  const int* matrix = sws_getCoefficients(bt709 ? SWS_CS_ITU709 : SWS_CS_ITU601);
  sws_setColorspaceDetails(context.get(), matrix, from.tag == kFccARGB32 ? 1 : 0, matrix,
                           to.tag == kFccARGB32 ? 1 : 0, 0, 1 << 16, 1 << 16);
  return [=] {
    for (int parity = 0; parity < count; ++parity) {
      const Side source(from, parity, count);
      const Side target(to, parity, count);
      sws_scale(context.get(), source.data, source.step, 0, from.height / count, target.data,
                target.step);
    }
  };
}

Body SwsFullRangeBody(const Picture& source, const AVFrame& target) {
  const std::shared_ptr<SwsContext> context(
      sws_getContext(source.Width(), source.Height(), FormatOf(source.Tag()), target.width,
                     target.height, static_cast<AVPixelFormat>(target.format), SWS_BILINEAR,
                     nullptr, nullptr, nullptr),
      sws_freeContext);
  if (!context) return nullptr;
  const int* matrix = sws_getCoefficients(SWS_CS_ITU601);
  sws_setColorspaceDetails(context.get(), matrix, 0, matrix, 1, 0, 1 << 16, 1 << 16);
  return [=, from = Side(source.View(), 0, 1), &target] {
    sws_scale(context.get(), from.data, from.step, 0, target.height, target.data, target.linesize);
  };
}

}  // namespace xv::bench
