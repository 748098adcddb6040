#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

// Where captions stand inside a caption distribution packet; hosts and the writer itself read it.
namespace xv::detail {

// The cc data section of a packet of SMPTE ST 334-2: id 0x72, count, three bytes for each
// construct. Empty without one, or when it does not fit into the packet.
[[nodiscard]] inline std::span<const std::uint8_t> CcSection(std::span<const std::uint8_t> packet) {
  constexpr std::size_t kHeader = 7;
  constexpr std::size_t kTimeCode = 5;  // a section ahead of it, where the flags say so
  constexpr std::uint8_t kTimeCodePresent = 0x80, kTimeCodeSection = 0x71;
  constexpr std::uint8_t kCcDataPresent = 0x40, kCcDataSection = 0x72, kCountMask = 0x1F;
  if (packet.size() <= kHeader) return {};
  const bool timeCode = (packet[4] & kTimeCodePresent) != 0 && packet[2] >= kHeader + kTimeCode &&
                        packet[kHeader] == kTimeCodeSection;
  const std::size_t start = timeCode ? kHeader + kTimeCode : kHeader;
  const std::size_t end = packet[2] < packet.size() ? packet[2] : packet.size();
  if ((packet[4] & kCcDataPresent) == 0 || start + 2 > end) return {};
  if (packet[start] != kCcDataSection) return {};
  const std::size_t size = std::size_t{3} * (packet[start + 1] & kCountMask) + 2;
  if (start + size > end) return {};
  return packet.subspan(start, size);
}

}  // namespace xv::detail
