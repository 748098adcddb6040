#include "hw/nvenc/access_unit.h"

#include <algorithm>
#include <array>

namespace xv {

bool HoldsIdrSlice(std::span<const std::uint8_t> accessUnit) {
  constexpr std::array<std::uint8_t, 3> kStartCode = {0, 0, 1};
  constexpr std::uint8_t kTypeBits = 31;
  constexpr std::uint8_t kIdrSlice = 5;
  auto at = accessUnit.begin();
  while (true) {
    at = std::search(at, accessUnit.end(), kStartCode.begin(), kStartCode.end());
    if (accessUnit.end() - at <= 3) return false;
    at += 3;
    if ((*at & kTypeBits) == kIdrSlice) return true;
  }
}

}  // namespace xv
