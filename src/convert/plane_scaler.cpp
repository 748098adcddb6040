#include "convert/plane_scaler.h"

#include <algorithm>

#include "convert/image_view.h"

namespace xv {
namespace {

constexpr std::size_t kPadding = 64;

int FlagsOfQuality(int quality) {
  const int exact = SWS_ACCURATE_RND | SWS_FULL_CHR_H_INP | SWS_FULL_CHR_H_INT;
  switch (quality) {
    case 1:
      return SWS_POINT | exact;
    case 2:
      return SWS_BILINEAR | exact;
    case 8:
      return SWS_AREA | exact;
    case 16:
      return SWS_LANCZOS | exact;
    default:
      return SWS_BICUBIC | exact;
  }
}

}  // namespace

Status PlaneScaler::Scale(const Plane& source, const Plane& target, int sampleBytes, int quality) {
  const AVPixelFormat format = sampleBytes == 1   ? AV_PIX_FMT_GRAY8
                               : sampleBytes == 3 ? AV_PIX_FMT_BGR24
                                                  : AV_PIX_FMT_BGRA;
  context_.reset(sws_getCachedContext(context_.release(), source.width, source.height, format,
                                      target.width, target.height, format, FlagsOfQuality(quality),
                                      nullptr, nullptr, nullptr));
  if (!context_) return E_FAIL;
  const auto sourceBytes = static_cast<std::size_t>(source.width * sampleBytes);
  const auto targetBytes = static_cast<std::size_t>(target.width * sampleBytes);
  const std::size_t madeStep = (targetBytes + kPadding) / kPadding * kPadding;
  if (edge_.size() < sourceBytes + kPadding) edge_.resize(sourceBytes + kPadding);
  const std::size_t madeBytes = madeStep * static_cast<std::size_t>(target.height) + kPadding;
  if (made_.size() < madeBytes) made_.resize(madeBytes);

  const int edgeRow = source.step < 0 ? 0 : source.height - 1;
  std::copy_n(source.data + edgeRow * source.step, sourceBytes, edge_.data());
  std::uint8_t* to[4] = {made_.data()};
  const int toStep[4] = {static_cast<int>(madeStep)};
  const auto slice = [&](const std::uint8_t* data, int top, int rows) {
    const std::uint8_t* from[4] = {data};
    const int fromStep[4] = {static_cast<int>(source.step)};
    return rows < 1 || sws_scale(context_.get(), from, fromStep, top, rows, to, toStep) >= 0;
  };
  const bool done =
      edgeRow == 0 && source.height > 1
          ? slice(edge_.data(), 0, 1) && slice(source.data + source.step, 1, source.height - 1)
          : slice(source.data, 0, edgeRow) && slice(edge_.data(), edgeRow, 1);
  if (!done) return E_FAIL;
  CopyPlane(made_.data(), static_cast<std::ptrdiff_t>(madeStep),
            const_cast<std::uint8_t*>(target.data), target.step, targetBytes, target.height);
  return S_OK;
}

}  // namespace xv
