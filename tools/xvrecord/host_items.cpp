#include "xvrecord/host_items.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numeric>

#include "captions/caption_pairs.h"
#include "xvrecord/cea608_text.h"

namespace xv {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t kMostConstructs = 31;

// Rate codes of SMPTE ST 334-2, table 3, from 1 on.
constexpr double kRates[] = {24000.0 / 1001, 24, 25, 30000.0 / 1001, 30, 50, 60000.0 / 1001, 60};

std::uint8_t RateCode(double rate) {
  const auto nearest = std::min_element(
      std::begin(kRates), std::end(kRates),
      [rate](double a, double b) { return std::fabs(a - rate) < std::fabs(b - rate); });
  return static_cast<std::uint8_t>(nearest - std::begin(kRates) + 1);
}

void Append(Bytes* out, std::initializer_list<int> bytes) {
  for (const int byte : bytes) out->push_back(static_cast<std::uint8_t>(byte));
}

// What a block has room for. A picture of two fields may bring more, but then with padding.
Bytes FittingConstructs(std::span<const std::uint8_t> constructs) {
  constexpr std::uint8_t kValid = 0x04;
  const bool tight = constructs.size() / 3 > kMostConstructs;
  Bytes fitting;
  for (; constructs.size() >= 3 && fitting.size() < kMostConstructs * 3;
       constructs = constructs.subspan(3)) {
    if (tight && (constructs[0] & kValid) == 0) continue;
    fitting.insert(fitting.end(), constructs.begin(), constructs.begin() + 3);
  }
  return fitting;
}

Bytes A53Block(std::span<const std::uint8_t> constructs) {
  Bytes block = {'G', 'A', '9', '4', 3};
  Append(&block, {static_cast<int>(0xC0 | constructs.size() / 3), 0xFF});
  block.insert(block.end(), constructs.begin(), constructs.end());
  block.push_back(0xFF);
  return block;
}

Bytes DistributionPacket(std::span<const std::uint8_t> constructs, double rate,
                         std::uint16_t sequence) {
  constexpr int kServiceActiveWithCcData = 0x43;
  const int high = sequence >> 8;
  const int low = sequence & 0xFF;
  Bytes packet;
  Append(&packet, {0x96, 0x69, static_cast<int>(constructs.size() + 13), RateCode(rate) << 4 | 0x0F,
                   kServiceActiveWithCcData, high, low, 0x72,
                   static_cast<int>(0xE0 | constructs.size() / 3)});
  packet.insert(packet.end(), constructs.begin(), constructs.end());
  Append(&packet, {0x74, high, low});
  const int sum = std::accumulate(packet.begin(), packet.end(), 0);
  Append(&packet, {256 - sum % 256});
  return packet;
}

}  // namespace

CaptionItems MakeCaptionItems(std::span<const std::uint8_t> given, double rate,
                              std::uint16_t sequence) {
  constexpr std::uint8_t kDid = 0x61;  // SMPTE ST 334-1: caption distribution packets
  constexpr std::uint8_t kSdid = 0x01;
  const Bytes constructs = FittingConstructs(given);
  CaptionItems items;
  items.ga94 = A53Block(constructs);
  const Bytes packet = DistributionPacket(constructs, rate, sequence);
  Append(&items.c708, {kDid, kSdid, static_cast<int>(packet.size()), 0});
  items.c708.insert(items.c708.end(), packet.begin(), packet.end());
  const std::uint32_t pair = ExtractPairs(ParseCcData(packet)) & 0xFFFF;
  items.c608 = pair == 0 ? Cea608Text::kNullPair : pair;
  return items;
}

std::vector<std::uint8_t> ConstructsForPair(std::uint16_t pair, double rate) {
  constexpr double kConstructsPerSecond = 600;
  const double wanted = rate > 0 ? std::round(kConstructsPerSecond / rate) : 0;
  const auto count =
      static_cast<std::size_t>(std::clamp(wanted, 2.0, static_cast<double>(kMostConstructs)));
  Bytes constructs;
  Append(&constructs, {0xFC, pair & 0xFF, pair >> 8, 0xFD, 0x80, 0x80});
  while (constructs.size() < count * 3) Append(&constructs, {0xFA, 0, 0});
  return constructs;
}

}  // namespace xv
