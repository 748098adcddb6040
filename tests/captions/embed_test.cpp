#include "captions/embed.h"

#include <gtest/gtest.h>

#include <random>

#include "captions/caption_frame.h"
#include "captions/insert_offset.h"
#include "contracts/av_handles.h"

namespace xv {
namespace {

using test::CaptionFrame;
using Bytes = std::vector<std::uint8_t>;

AvPtr<AVPacket> Packet(const Bytes& bytes, std::int64_t pts) {
  AvPtr<AVPacket> packet(av_packet_alloc());
  EXPECT_EQ(av_new_packet(packet.get(), static_cast<int>(bytes.size())), 0);
  std::copy(bytes.begin(), bytes.end(), packet->data);
  packet->pts = pts;
  return packet;
}

Bytes Contents(const AVPacket& packet) { return {packet.data, packet.data + packet.size}; }

Bytes Joined(std::initializer_list<Bytes> parts) {
  Bytes all;
  for (const Bytes& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

const Bytes kSps = {0, 0, 0, 1, 0x67, 0x42, 0x00, 0x1F};
const Bytes kPps = {0, 0, 1, 0x68, 0xCE, 0x3C};
const Bytes kDelimiter = {0, 0, 0, 1, 0x09, 0x10};
const Bytes kSlice = {0, 0, 0, 1, 0x65, 0x88, 0x84};
const Bytes kShortSlice = {0, 0, 1, 0x41, 0x9A, 0x00, 0x00};

TEST(FindInsertOffset, H264BlockLandsAheadOfTheFirstSlice) {
  const std::size_t head = kSps.size() + kPps.size();
  for (const auto& [packet, offset] : {std::pair{Joined({kSps, kPps, kSlice}), head},
                                       {Joined({kDelimiter, kShortSlice}), kDelimiter.size()},
                                       {Joined({kDelimiter, kSlice, kSlice}), kDelimiter.size()},
                                       {kSlice, 0},
                                       {kShortSlice, 0},
                                       {Joined({kSps, kPps}), head},
                                       {{0, 0, 0, 1}, 0},
                                       {{}, 0}}) {
    EXPECT_EQ(FindInsertOffset(packet, true), offset);
  }
}

const Bytes kSequence = {0, 0, 1, 0xB3, 0x14, 0x00, 0xF0, 0x23, 0x02, 0x8F, 0xA1, 0x20};
const Bytes kExtension = {0, 0, 1, 0xB5, 0x14, 0x8A};
const Bytes kGop = {0, 0, 1, 0xB8, 0x00, 0x08};
const Bytes kPicture = {0, 0, 1, 0x00, 0x00, 0x0F};
const Bytes kCoding = {0, 0, 1, 0xB5, 0x8F, 0xFF};
const Bytes kMpegSlice = {0, 0, 1, 0x01, 0x12, 0x34};

TEST(FindInsertOffset, Mpeg2BothPlacements) {
  const Bytes intra = Joined({kSequence, kExtension, kGop, kPicture, kCoding, kMpegSlice});
  EXPECT_EQ(FindInsertOffset(intra, false), kSequence.size());
  EXPECT_EQ(FindPictureOffset(intra, false), intra.size() - kMpegSlice.size());
  const Bytes inter = Joined({kPicture, kCoding, kMpegSlice, kMpegSlice});
  EXPECT_EQ(FindInsertOffset(inter, false), 0u);
  EXPECT_EQ(FindPictureOffset(inter, false), kPicture.size() + kCoding.size());
  EXPECT_EQ(FindPictureOffset(kSequence, false), kSequence.size());  // no slice: the other rule
  EXPECT_EQ(FindInsertOffset(Joined({kSequence, {0}, kPicture}), false), kSequence.size());
  Bytes lowRate = kSequence;  // whose last byte is no part of the start code behind it
  lowRate.back() = 0;
  EXPECT_EQ(FindInsertOffset(Joined({lowRate, kExtension}), false), lowRate.size());
  lowRate.back() = 2;  // its own matrix, and its last byte likewise
  lowRate.resize(lowRate.size() + 64, 0x10);
  lowRate.back() = 0;
  EXPECT_EQ(FindInsertOffset(Joined({lowRate, kExtension}), false), lowRate.size());
  const Bytes layer = {0, 0, 1, 0x20, 0x00, 0x84};  // of MPEG-4, whose picture is the VOP
  const Bytes mpeg4 = Joined({layer, {0, 0, 1, 0xB6, 0x10, 0x60}});
  EXPECT_EQ(FindPictureOffset(mpeg4, true), layer.size());
  EXPECT_EQ(FindInsertOffset(mpeg4, false), 0u);
}

// The rule as it is told: wherever two zeros meet the end or a byte below 4, a 3 goes between.
Bytes EmulationPreventedByTheBook(Bytes bytes) {
  for (std::size_t i = 3; i + 1 < bytes.size(); ++i) {
    if (bytes[i] != 0 || bytes[i + 1] != 0) continue;
    if (i + 2 == bytes.size() || bytes[i + 2] < 4) {
      bytes.insert(bytes.begin() + static_cast<std::ptrdiff_t>(i) + 2, 3);
    }
  }
  return bytes;
}

TEST(PrepareH264Sei, EmulationPreventionOnAnyBytes) {
  std::mt19937 random(11);
  for (unsigned round = 0; round < 5000; ++round) {
    Bytes block(round < 3 ? 251 + round : random() % 30);
    for (std::uint8_t& byte : block) byte = static_cast<std::uint8_t>(random() % 6);
    const auto length = static_cast<std::uint8_t>(block.size() > 252 ? 0 : block.size() + 3);
    Bytes expected = {0, 0, 0, 1, 6, 4, length, 0xB5, 0, 0x31};
    expected.insert(expected.end(), block.begin(), block.end());
    expected.push_back(0x80);
    PrepareH264Sei(&block);
    ASSERT_EQ(block, EmulationPreventedByTheBook(expected));
  }
}

TEST(InsertCaptions, FailuresLeaveThePacketAndCountTheLoss) {
  CaptionCounters stats;
  const Bytes prefixed = {0, 0, 0, 7, 0x65, 1, 2, 3, 4, 5, 6};
  Bytes odd = prefixed;
  odd[2] = 1;  // passes the loose test of a byte stream
  for (const auto& [codec, bytes, block, expected] :
       {std::tuple{AV_CODEC_ID_H264, prefixed, Bytes{'x'}, E_NOTIMPL},
        {AV_CODEC_ID_HEVC, kSlice, Bytes{'x'}, E_NOTIMPL},
        {AV_CODEC_ID_H264, kSlice, Bytes{}, E_UNEXPECTED},
        {AV_CODEC_ID_H264, odd, Bytes{'x'}, S_OK}}) {
    CaptionMap map = {{1, block}};
    const AvPtr<AVPacket> packet = Packet(bytes, 1);
    const AvPtr<AVPacket> shared(av_packet_clone(packet.get()));  // as a second output has it
    EXPECT_EQ(InsertCaptions(&map, codec, CaptionPlacement::kSequence, packet.get(), &stats),
              expected);
    EXPECT_EQ(Contents(*packet) == bytes, expected != S_OK);
    EXPECT_TRUE(map.empty());
  }
  EXPECT_EQ(stats.lost, 3);
  CaptionMap map = {{1, {'x'}}};
  const AvPtr<AVPacket> packet(av_packet_alloc());
  packet->size = 4;
  EXPECT_EQ(
      InsertCaptions(&map, AV_CODEC_ID_H264, CaptionPlacement::kSequence, packet.get(), nullptr),
      E_UNEXPECTED);
  EXPECT_EQ(map.size(), 1u);
}

TEST(KeepCaptions, FirstKeyWithDataCounts) {
  CaptionMap map;
  CaptionFrame frame;
  EXPECT_EQ(KeepCaptions(&map, *frame, 1, 0, nullptr), S_FALSE);
  std::uint8_t number = 0;
  constexpr char kKeys[][5] = {"C608", "C708", "GA94", "ATSC"};
  for (const auto& key : kKeys) {
    frame.Bytes(key, {++number});
    EXPECT_EQ(KeepCaptions(&map, *frame, number, 0, nullptr), S_OK);
    EXPECT_EQ(map[number], Bytes{number}) << key;
  }
}

TEST(KeepCaptions, OldestGoesBeyondTheBound) {
  CaptionCounters stats;
  CaptionMap map;
  CaptionFrame frame;
  frame.Word(0x2094);
  for (int pts = 0; pts < 16; ++pts) EXPECT_EQ(KeepCaptions(&map, *frame, pts, 0, &stats), S_OK);
  EXPECT_EQ(map.size(), 15u);
  EXPECT_EQ(map.begin()->first, 1);
  EXPECT_EQ(stats.lost, 1);
  // An encoder that holds 40 frames.
  for (int pts = 16; pts < 56; ++pts) EXPECT_EQ(KeepCaptions(&map, *frame, pts, 40, &stats), S_OK);
  EXPECT_EQ(map.size(), 55u);
  EXPECT_EQ(stats.lost, 1);
  // Blocks without captions do not count.
  map.clear();
  map[0] = MakeCaptionItems(ConstructsForPair(0x8080, 25), 25, 0).ga94;
  map[1] = MakeCaptionItems(ConstructsForPair(0x2094, 25), 25, 0).ga94;
  DropCaptions(&map, &stats);
  EXPECT_EQ(stats.lost, 2);
  EXPECT_TRUE(map.empty());
}

}  // namespace
}  // namespace xv
