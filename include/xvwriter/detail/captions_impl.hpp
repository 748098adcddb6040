#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <numeric>

#include "xvwriter/captions.hpp"
#include "xvwriter/detail/cc_data.hpp"

// What captions.hpp declares.
namespace xv::host::detail {

using CaptionBytes = std::vector<std::uint8_t>;

inline constexpr std::size_t kMostConstructs = 31;  // the count has five bits

inline bool IsField1(std::span<const std::uint8_t> construct) {
  constexpr std::uint8_t kValidAndType = 0x07, kValidField1 = 0x04;
  return (construct[0] & kValidAndType) == kValidField1;
}

// Rate codes of SMPTE ST 334-2, table 3, from 1 on.
inline std::uint8_t CaptionRateCode(double rate) {
  constexpr double kRates[] = {24000.0 / 1001, 24, 25, 30000.0 / 1001, 30, 50, 60000.0 / 1001, 60};
  const auto nearest = std::min_element(
      std::begin(kRates), std::end(kRates),
      [rate](double a, double b) { return std::fabs(a - rate) < std::fabs(b - rate); });
  return static_cast<std::uint8_t>(nearest - std::begin(kRates) + 1);
}

inline void AppendBytes(CaptionBytes* out, std::initializer_list<int> bytes) {
  for (const int byte : bytes) out->push_back(static_cast<std::uint8_t>(byte));
}

// What a block has room for. A picture of two fields may bring more, but then with padding.
inline CaptionBytes FittingConstructs(std::span<const std::uint8_t> constructs) {
  constexpr std::uint8_t kValid = 0x04;
  const bool tight = constructs.size() / 3 > kMostConstructs;
  CaptionBytes fitting;
  for (; constructs.size() >= 3 && fitting.size() < kMostConstructs * 3;
       constructs = constructs.subspan(3)) {
    if (tight && (constructs[0] & kValid) == 0) continue;
    fitting.insert(fitting.end(), constructs.begin(), constructs.begin() + 3);
  }
  return fitting;
}

inline CaptionBytes A53Block(std::span<const std::uint8_t> constructs) {
  CaptionBytes block = {'G', 'A', '9', '4', 3};
  AppendBytes(&block, {static_cast<int>(0xC0 | constructs.size() / 3), 0xFF});
  block.insert(block.end(), constructs.begin(), constructs.end());
  block.push_back(0xFF);
  return block;
}

inline CaptionBytes DistributionPacket(std::span<const std::uint8_t> constructs, double rate,
                                       std::uint16_t sequence) {
  constexpr int kServiceActiveWithCcData = 0x43;
  const int high = sequence >> 8;
  const int low = sequence & 0xFF;
  CaptionBytes packet;
  AppendBytes(&packet, {0x96, 0x69, static_cast<int>(constructs.size() + 13),
                        CaptionRateCode(rate) << 4 | 0x0F, kServiceActiveWithCcData, high, low,
                        0x72, static_cast<int>(0xE0 | constructs.size() / 3)});
  packet.insert(packet.end(), constructs.begin(), constructs.end());
  AppendBytes(&packet, {0x74, high, low});
  const int sum = std::accumulate(packet.begin(), packet.end(), 0);
  AppendBytes(&packet, {256 - sum % 256});
  return packet;
}

// The first valid pair of field 1, the first byte low; null bytes with their parity bits for none.
inline std::uint32_t Field1PairOf(std::span<const std::uint8_t> constructs) {
  constexpr std::uint32_t kNullPair = 0x8080;
  for (; constructs.size() >= 3; constructs = constructs.subspan(3)) {
    if (!IsField1(constructs)) continue;
    const std::uint32_t pair = constructs[1] | std::uint32_t{constructs[2]} << 8;
    return pair == 0 ? kNullPair : pair;
  }
  return kNullPair;
}

}  // namespace xv::host::detail

namespace xv::host {

inline CaptionItems MakeCaptionItems(std::span<const std::uint8_t> given, double rate,
                                     std::uint16_t sequence) {
  constexpr std::uint8_t kDid = 0x61;  // SMPTE ST 334-1: caption distribution packets
  constexpr std::uint8_t kSdid = 0x01;
  const detail::CaptionBytes constructs = detail::FittingConstructs(given);
  CaptionItems items;
  items.ga94 = detail::A53Block(constructs);
  const detail::CaptionBytes packet = detail::DistributionPacket(constructs, rate, sequence);
  detail::AppendBytes(&items.c708, {kDid, kSdid, static_cast<int>(packet.size()), 0});
  items.c708.insert(items.c708.end(), packet.begin(), packet.end());
  items.c608 = detail::Field1PairOf(constructs);
  return items;
}

inline std::span<const std::uint8_t> CcDataOf(std::span<const std::uint8_t> packet) {
  const auto section = xv::detail::CcSection(packet);
  return section.empty() ? section : section.subspan(2);
}

inline HRESULT AddCaptions(const Ptr<IXvFrame>& frame, std::span<const std::uint8_t> constructs,
                           double rate, std::uint16_t sequence) {
  const auto items =
      std::make_shared<const CaptionItems>(MakeCaptionItems(constructs, rate, sequence));
  const auto add = [&](const char(&key)[5], const void* data, std::size_t bytes) {
    return AddExtra(frame, FourCC(key), data, bytes, items);
  };
  HRESULT added = add("GA94", items->ga94.data(), items->ga94.size());
  if (Succeeded(added)) added = add("C708", items->c708.data(), items->c708.size());
  if (Succeeded(added)) added = add("C608", &items->c608, sizeof(items->c608));
  return added;
}

}  // namespace xv::host
