#include "picture/plane_scaler.h"

#include <algorithm>
#include <cstdlib>

#include "picture/image_view.h"

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
  const std::size_t madeBytes = madeStep * static_cast<std::size_t>(target.height) + kPadding;
  if (made_.size() < madeBytes) made_.resize(madeBytes);

  // Rows so near the end of the memory that a read behind them leaves it are read from a copy.
  const std::ptrdiff_t apart = std::max<std::ptrdiff_t>(std::abs(source.step), 1);
  const int edgeRows =
      std::min(source.height, 1 + static_cast<int>(static_cast<std::ptrdiff_t>(kPadding) / apart));
  const int edgeTop = source.step < 0 ? 0 : source.height - edgeRows;
  const std::size_t edgeStep = (sourceBytes + kPadding) / kPadding * kPadding;
  const std::size_t edgeBytes = edgeStep * static_cast<std::size_t>(edgeRows) + kPadding;
  if (edge_.size() < edgeBytes) edge_.resize(edgeBytes);
  CopyPlane(source.data + edgeTop * source.step, source.step, edge_.data(),
            static_cast<std::ptrdiff_t>(edgeStep), sourceBytes, edgeRows);

  std::uint8_t* to[4] = {made_.data()};
  const int toStep[4] = {static_cast<int>(madeStep)};
  const auto slice = [&](const std::uint8_t* data, std::ptrdiff_t step, int top, int rows) {
    const std::uint8_t* from[4] = {data};
    const int fromStep[4] = {static_cast<int>(step)};
    return rows < 1 || sws_scale(context_.get(), from, fromStep, top, rows, to, toStep) >= 0;
  };
  const auto edge = [&] {
    return slice(edge_.data(), static_cast<std::ptrdiff_t>(edgeStep), edgeTop, edgeRows);
  };
  const int rest = source.height - edgeRows;
  const bool done = edgeTop == 0 ? edge() && slice(source.data + edgeRows * source.step,
                                                   source.step, edgeRows, rest)
                                 : slice(source.data, source.step, 0, rest) && edge();
  if (!done) return E_FAIL;
  CopyPlane(made_.data(), static_cast<std::ptrdiff_t>(madeStep),
            const_cast<std::uint8_t*>(target.data), target.step, targetBytes, target.height);
  return S_OK;
}

}  // namespace xv
