#include "hw/frame_rate.h"

#include <cmath>

namespace xv {
namespace {

bool IsNearlyWhole(double value) { return std::abs(value - std::trunc(value)) < 0.001; }

}  // namespace

HwRate HwFrameRate(double rate) {
  if (!(rate > 0) || rate > 1e6) return {};
  if (IsNearlyWhole(rate)) return {static_cast<std::uint32_t>(rate), 1};
  if (IsNearlyWhole(rate * 1001 / 1000)) return {static_cast<std::uint32_t>(rate * 1001), 1001};
  return {static_cast<std::uint32_t>(rate * 1000), 1000};
}

HwRate FrameRateToRatio(double rate) {
  if (!(rate > 0) || rate > 1e9) return {};
  const double whole = std::round(rate);
  if (std::abs(rate - whole) < 0.005 || rate > 2e5) return {static_cast<std::uint32_t>(whole), 1};
  const double ntsc = rate * 1001 / 1000;
  if (std::abs(ntsc - std::round(ntsc)) < 0.01) {
    return {static_cast<std::uint32_t>(whole) * 1000, 1001};
  }
  return {static_cast<std::uint32_t>(rate * 10000), 10000};
}

}  // namespace xv
