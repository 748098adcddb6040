#include "captions/caption_pairs.h"

#include <gtest/gtest.h>

#include <vector>

#include "captions/frame_items.h"
#include "xvrecord/host_items.h"

namespace xv {
namespace {

using Bytes = std::vector<std::uint8_t>;

// A packet by hand: flags, optional time code section, cc data, footer.
Bytes Packet(std::uint8_t flags, bool timeCode, Bytes constructs) {
  Bytes packet = {0x96, 0x69, 0, 0x4F, flags, 0, 1};
  if (timeCode) packet.insert(packet.end(), {0x71, 0xC1, 0x02, 0x03, 0x04});
  packet.push_back(0x72);
  packet.push_back(static_cast<std::uint8_t>(0xE0 | constructs.size() / 3));
  packet.insert(packet.end(), constructs.begin(), constructs.end());
  packet.insert(packet.end(), {0x74, 0, 1, 0});
  packet[2] = static_cast<std::uint8_t>(packet.size());
  return packet;
}

const Bytes kTwoPairs = {0xF9, 1, 1, 0xFF, 9, 9, 0xFC, 0x94, 0x20, 0xFD, 0x15, 0x2C, 0xFC, 7, 7};

TEST(CaptionPairs, SectionStartsBehindAnOptionalTimeCode) {
  const Bytes plain = Packet(0x43, false, kTwoPairs);
  EXPECT_EQ(detail::CcSection(plain).data(), plain.data() + 7);
  EXPECT_EQ(detail::CcSection(plain).size(), 2 + kTwoPairs.size());
  const Bytes timed = Packet(0xC3, true, kTwoPairs);
  EXPECT_EQ(detail::CcSection(timed).data(), timed.data() + 12);
  const Bytes flagOnly = Packet(0xC3, false, kTwoPairs);  // the flag without the section
  EXPECT_EQ(detail::CcSection(flagOnly).data(), flagOnly.data() + 7);
}

TEST(CaptionPairs, BrokenPacketsHaveNoSection) {
  EXPECT_TRUE(detail::CcSection(Packet(0x03, false, kTwoPairs)).empty());  // no cc data flag
  EXPECT_TRUE(detail::CcSection(Packet(0x43, true, kTwoPairs)).empty());   // another section first
  const Bytes whole = Packet(0x43, false, kTwoPairs);
  Bytes told = whole;
  for (const int constructs : {14, 15}) {  // one byte less than they take, and all
    told[2] = static_cast<std::uint8_t>(7 + 2 + constructs);
    EXPECT_EQ(detail::CcSection(told).empty(), constructs == 14);
  }
  told[8] = 0xFF;
  EXPECT_TRUE(detail::CcSection(told).empty());
  // The packet claims more than there is.
  for (std::size_t size = 0; size < whole.size(); ++size) {
    const bool complete = size >= 7 + 2 + kTwoPairs.size();
    EXPECT_EQ(!detail::CcSection({whole.data(), size}).empty(), complete) << size;
  }
}

TEST(CaptionPairs, FirstValidOfEachFieldCounts) {
  const Bytes packet = Packet(0x43, false, kTwoPairs);
  // The construct of type 3 is the first that is not field 1.
  EXPECT_EQ(ExtractPairs(detail::CcSection(packet)), 0x09092094u);
  const Bytes invalid = Packet(0x43, false, {0xF8, 0x94, 0x20, 0xF9, 1, 2});
  EXPECT_EQ(ExtractPairs(detail::CcSection(invalid)), 0u);
  EXPECT_EQ(ExtractPairs({}), 0u);
  const Bytes cut = {0x72, 0xE2, 0xFC, 0x94};
  EXPECT_EQ(ExtractPairs(cut), 0u);
}

TEST(CaptionPairs, NullPairsCarryNothing) {
  EXPECT_TRUE(IsNullPair(0) && IsNullPair(0x8080) && !IsNullPair(0x0080));
  const Bytes nulls = {0xFC, 0x80, 0x80, 0xFD, 0x80, 0x80, 0xFA, 0, 0, 0xF8, 0x94, 0x20};
  EXPECT_FALSE(CarriesCaptions(nulls));
  EXPECT_TRUE(CarriesCaptions(Bytes{0xFD, 0x15, 0x2C}));
  EXPECT_TRUE(CarriesCaptions(Bytes{0xFF, 0x80, 0x80}));
  EXPECT_FALSE(CarriesCaptions(Bytes{0xFF, 0x02}));
}

TEST(HostItems, PacketsHoldTheConstructsOfTheirRate) {
  for (const double rate : {23.976, 24.0, 25.0, 29.97, 30.0, 50.0, 59.94, 60.0}) {
    const CaptionItems items = MakeCaptionItems(ConstructsForPair(0x2094, rate), rate, 0xABCD);
    const auto constructs = ConstructsOfA53(items.ga94);
    EXPECT_EQ(ExtractPairs(detail::CcSection(std::span(items.c708).subspan(4))) & 0xFFFF, 0x2094u);
    EXPECT_NEAR(static_cast<double>(constructs.size()) / 3 * rate, 600, rate / 2);
  }
  EXPECT_EQ(MakeCaptionItems({}, 25, 0).c608, 0x8080u);
  EXPECT_EQ(ConstructsOfA53(MakeCaptionItems(Bytes(3 * 40, 0xFF), 25, 0).ga94).size(), 93u);
}

// The bytes that docs/captions.md shows.
TEST(HostItems, DocumentedExamples) {
  const Bytes constructs = {0xFC, 0x94, 0x20, 0xFD, 0x80, 0x80};
  const CaptionItems items = MakeCaptionItems(constructs, 30000.0 / 1001, 0);
  EXPECT_EQ(items.c608, 0x2094u);
  EXPECT_EQ(items.c708,
            (Bytes{0x61, 0x01, 0x13, 0x00, 0x96, 0x69, 0x13, 0x4F, 0x43, 0x00, 0x00, 0x72,
                   0xE2, 0xFC, 0x94, 0x20, 0xFD, 0x80, 0x80, 0x74, 0x00, 0x00, 0xE7}));
  EXPECT_EQ(items.ga94, (Bytes{0x47, 0x41, 0x39, 0x34, 0x03, 0xC2, 0xFF, 0xFC, 0x94, 0x20, 0xFD,
                               0x80, 0x80, 0xFF}));
}

TEST(HostItems, A53BlocksOfAnyLengthAreReadWithinBounds) {
  const CaptionItems items = MakeCaptionItems(ConstructsForPair(0x2094, 25), 25, 0);
  for (std::size_t size = 0; size < items.ga94.size(); ++size) {
    const Bytes cut(items.ga94.begin(), items.ga94.begin() + static_cast<std::ptrdiff_t>(size));
    EXPECT_LE(ConstructsOfA53(cut).size(), size);
  }
  Bytes other = items.ga94;
  other[4] = 6;  // bar data
  EXPECT_TRUE(ConstructsOfA53(other).empty());
}

}  // namespace
}  // namespace xv
