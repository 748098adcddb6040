#include "audio/channels_buffer.h"

#include <gmock/gmock.h>

#include <cstring>

namespace xv {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;

std::vector<std::uint8_t> Unread(XvChannelsBuffer& buffer, int channel) {
  const std::uint8_t* data = buffer.ChannelPointer(channel, 0);
  return data == nullptr ? std::vector<std::uint8_t>{}
                         : std::vector<std::uint8_t>(data, data + buffer.Available());
}

void Fill(XvChannelsBuffer& buffer, int channel, std::initializer_list<std::uint8_t> bytes) {
  std::memcpy(buffer.ChannelPointer(channel, 0), bytes.begin(), bytes.size());
}

TEST(ChannelsBuffer, AddedChannelReadsAsSilenceFromTheReadOffsetOn) {
  XvChannelsBuffer buffer;
  ASSERT_EQ(buffer.SetSize(8, 1, false), S_OK);
  std::memset(buffer.ChannelPointer(0, 0), 9, 8);
  buffer.Skip(3);
  ASSERT_EQ(buffer.SetChannels(2, true), S_OK);
  EXPECT_THAT(Unread(buffer, 1), Each(0));
  EXPECT_EQ(Unread(buffer, 1).size(), 5u);
}

TEST(ChannelsBuffer, AbsentChannelIsSilenceThatGrowsWithTheContent) {
  XvChannelsBuffer buffer;
  ASSERT_EQ(buffer.SetSize(4, 1, true), S_OK);
  std::memset(buffer.ChannelPointer(0, 0), 7, 4);
  EXPECT_THAT(Unread(buffer, 5), ElementsAre(0, 0, 0, 0));
  ASSERT_EQ(buffer.Reserve(70'000, 1, true), S_OK);
  EXPECT_THAT(Unread(buffer, -1), Each(0));
  EXPECT_EQ(Unread(buffer, -1).size(), 70'000u);
  EXPECT_EQ(buffer.ChannelPointer(0, 70'000), nullptr);
  EXPECT_EQ(buffer.ChannelPointer(9, 70'000), nullptr);
}

TEST(ChannelsBuffer, CopyStaysInsideBothBuffers) {
  XvChannelsBuffer source;
  XvChannelsBuffer target;
  ASSERT_EQ(source.SetSize(4, 3, true), S_OK);
  ASSERT_EQ(target.SetSize(3, 2, true), S_OK);
  Fill(source, 1, {1, 2, 3, 4});
  Fill(source, 2, {5, 6, 7, 8});
  EXPECT_EQ(target.CopyFrom(source, 1, 1, 1, 9, 99), 2u);
  EXPECT_THAT(Unread(target, 0), Each(0));
  EXPECT_THAT(Unread(target, 1), ElementsAre(0, 1, 2));
  EXPECT_EQ(target.CopyFrom(source, 3, 0, 0, 1, 4), 0u);
  EXPECT_EQ(target.CopyFrom(source, 0, 0, 3, 1, 4), 0u);
}

TEST(ChannelsBuffer, SizePastThe32BitRangeFailsAndDropsEverything) {
  XvChannelsBuffer buffer;
  ASSERT_EQ(buffer.SetSize(16, 2, true), S_OK);
  EXPECT_EQ(buffer.Reserve(0xFFFFFF00, 2, true), E_OUTOFMEMORY);
  EXPECT_EQ(buffer.ChannelCount(), 0);
  EXPECT_EQ(buffer.Available(), 0u);
}

}  // namespace
}  // namespace xv
