#include "xvrecord/host_items.h"

#include <algorithm>
#include <cmath>

namespace xv {

std::vector<std::uint8_t> ConstructsForPair(std::uint16_t pair, double rate) {
  constexpr double kConstructsPerSecond = 600;
  const double wanted = rate > 0 ? std::round(kConstructsPerSecond / rate) : 0;
  const auto count = static_cast<std::size_t>(
      std::clamp(wanted, 2.0, static_cast<double>(host::detail::kMostConstructs)));
  std::vector<std::uint8_t> constructs;
  host::detail::AppendBytes(&constructs, {0xFC, pair & 0xFF, pair >> 8, 0xFD, 0x80, 0x80});
  while (constructs.size() < count * 3) host::detail::AppendBytes(&constructs, {0xFA, 0, 0});
  return constructs;
}

}  // namespace xv
