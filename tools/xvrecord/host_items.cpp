#include "xvrecord/host_items.h"

#include <algorithm>
#include <cmath>

namespace xv {

std::vector<std::uint8_t> ConstructsForPair(std::uint16_t pair, double rate) {
  constexpr double kConstructsPerSecond = 600;
  constexpr double kLeast = 2, kMost = 31;  // a pair for each field; what five bits count
  const double wanted = rate > 0 ? std::round(kConstructsPerSecond / rate) : 0;
  const auto count = static_cast<std::size_t>(std::clamp(wanted, kLeast, kMost));
  const auto low = static_cast<std::uint8_t>(pair), high = static_cast<std::uint8_t>(pair >> 8);
  std::vector<std::uint8_t> constructs = {0xFC, low, high, 0xFD, 0x80, 0x80};
  while (constructs.size() < count * 3) constructs.insert(constructs.end(), {0xFA, 0, 0});
  return constructs;
}

}  // namespace xv
