#include "captions/insert_offset.h"

#include <algorithm>
#include <iterator>

namespace xv {
namespace {

constexpr std::uint8_t kPrefix[] = {0, 0, 1};
constexpr std::uint8_t kSequenceHeader = 0xB3;
constexpr std::uint8_t kFirstSlice = 0x01;
constexpr std::uint8_t kLastSlice = 0xAF;
constexpr std::uint8_t kVop = 0xB6;

// Of 00 00 01 at or behind `from`; the size without one.
std::size_t FindPrefix(std::span<const std::uint8_t> data, std::size_t from) {
  const auto begin = data.begin() + static_cast<std::ptrdiff_t>(from);
  const auto found = std::search(begin, data.end(), std::begin(kPrefix), std::end(kPrefix));
  return static_cast<std::size_t>(found - data.begin());
}

// SEI, parameter sets and delimiter (ISO/IEC 14496-10, table 7-1).
bool StandsAheadOfSlices(std::uint8_t nalHeader) {
  const int type = nalHeader & 31;
  return type >= 6 && type < 10;
}

// Behind its code: eight bytes and up to two matrices of 64 (ISO/IEC 13818-2, 6.2.2.1). What bytes
// are missing count as there.
std::size_t SequenceHeaderBytes(std::span<const std::uint8_t> header) {
  constexpr std::size_t kPlain = 8;
  constexpr std::size_t kMatrix = 64;
  constexpr std::uint8_t kIntraMatrix = 2;
  constexpr std::uint8_t kOtherMatrix = 1;  // the last bit ahead of where that matrix would stand
  const auto has = [&](std::size_t at, int bit) { return at < header.size() && header[at] & bit; };
  const std::size_t intra = has(kPlain - 1, kIntraMatrix) ? kMatrix : 0;
  const std::size_t other = has(kPlain - 1 + intra, kOtherMatrix) ? kMatrix : 0;
  return kPlain + intra + other;
}

}  // namespace

std::size_t FindInsertOffset(std::span<const std::uint8_t> packet, bool isH264) {
  constexpr std::size_t kLeast = 5;  // a four-byte start code and its code
  std::size_t cursor = 0;
  while (packet.size() - cursor >= kLeast) {
    const std::size_t codeAt = cursor + (packet[cursor + 2] != 0 ? 3 : 4);
    const std::uint8_t code = packet[codeAt];
    const bool steppedOver = isH264 ? StandsAheadOfSlices(code) : code == kSequenceHeader;
    if (!steppedOver) break;
    const std::size_t next = FindPrefix(packet, codeAt);
    if (next == packet.size() || next == codeAt) return packet.size();
    // A four-byte start code stays whole. The zero that a sequence header ends with, as those of
    // low rates do, is its own.
    const std::size_t content = codeAt + 1;
    const std::size_t headerEnd =
        content + (isH264 ? 0 : SequenceHeaderBytes(packet.subspan(content)));
    cursor = packet[next - 1] == 0 && next > headerEnd ? next - 1 : next;
  }
  return cursor;
}

std::size_t FindPictureOffset(std::span<const std::uint8_t> packet, bool isMpeg4) {
  for (std::size_t at = FindPrefix(packet, 0); at + sizeof(kPrefix) < packet.size();
       at = FindPrefix(packet, at + 1)) {
    const std::uint8_t code = packet[at + sizeof(kPrefix)];
    const bool picture = isMpeg4 ? code == kVop : code >= kFirstSlice && code <= kLastSlice;
    if (picture) return at;
  }
  return FindInsertOffset(packet, false);
}

}  // namespace xv
