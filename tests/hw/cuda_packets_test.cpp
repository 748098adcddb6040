#include <gmock/gmock.h>

#include <cstring>

#include "hw/cuda/cuda_callbacks.h"

namespace xv {
namespace {

class CudaPacketsTest : public ::testing::Test {
 protected:
  // As the vendor does, through what is registered.
  void Begin(int number, int type = 2) {
    const CudaFrameEvent event{number, type};
    record_.beginFrame(&event, token_);
  }
  void End(int number) {
    const CudaFrameEvent event{number, 2};
    record_.endFrame(&event, token_);
  }
  void Whole(int number, const std::string& bytes) {
    Begin(number);
    Chunk(bytes);
    End(number);
  }
  std::int32_t Chunk(const std::string& bytes) {
    std::int32_t room = -1;
    std::uint8_t* place = record_.acquire(&room, token_);
    if (place == nullptr) return -1;
    std::memcpy(place, bytes.data(), bytes.size());
    record_.release(static_cast<std::int32_t>(bytes.size()), place, token_);
    return room;
  }
  // "number:bytes" of what is ready.
  std::string Take() {
    const auto taken = packets_->TakeFirst();
    if (!taken) return "-";
    const HwPacket& packet = *taken->packet;
    return std::to_string(taken->number) + ":" +
           std::string(reinterpret_cast<const char*>(packet.data()), packet.size());
  }

  std::shared_ptr<CudaPackets> packets_ = std::make_shared<CudaPackets>();
  std::unique_ptr<CudaListener> listener_ = std::make_unique<CudaListener>(packets_);
  void* const token_ = listener_->Token();
  const CudaCallbacks record_ = CudaCallbackRecord();
};

TEST_F(CudaPacketsTest, PacketsAreCompleteByTheNextBeginAndThenByTheirEnds) {
  EXPECT_EQ(Chunk("early"), -1);
  Begin(0, 0);
  EXPECT_EQ(Chunk("a"), 0x400000);
  EXPECT_EQ(Chunk("b"), 0x400000 - 1);
  End(0);
  EXPECT_EQ(Take(), "-");
  Begin(3, 2);
  EXPECT_EQ(Take(), "0:ab");
  Chunk("c");
  EXPECT_EQ(Take(), "-");
  End(3);
  EXPECT_EQ(Take(), "3:c");
  Begin(1, 1);
  Chunk("d");
  packets_->CompleteLast(1, true);
  EXPECT_EQ(Take(), "-");  // not ended
  End(1);
  EXPECT_EQ(Take(), "1:d");
  EXPECT_EQ(packets_->Begun(), 3);
  for (const int number : {4, 5}) Whole(number, "e");
  EXPECT_EQ(Take(), "4:e");
  EXPECT_EQ(Take(), "5:e");
}

TEST_F(CudaPacketsTest, SecondFieldJoinsItsPicture) {
  for (const int number : {0, 1}) {
    Begin(number);
    Chunk("top1");
    Chunk("top2");
    End(number);
    EXPECT_EQ(Take(), "-");
    Begin(number);
    Chunk("+bottom");
    EXPECT_EQ(Take(), "-");
    End(number);
    EXPECT_EQ(Take(), std::to_string(number) + ":top1top2+bottom");
  }
  EXPECT_EQ(packets_->Begun(), 2);
  // A picture with one field's worth of events comes out by the one behind it.
  Whole(2, "whole");
  Begin(3);
  EXPECT_EQ(Take(), "2:whole");
  End(3);
  for (const auto finished : {std::optional(4), std::optional<int>()}) {
    packets_->CompleteLast(finished, false);
    EXPECT_EQ(Take(), "-");
  }
  packets_->CompleteLast(3, false);
  EXPECT_EQ(Take(), "3:");
}

TEST_F(CudaPacketsTest, ChunkThatIsTooLongCountsAndAddsNothing) {
  Begin(0);
  Chunk("kept");
  std::int32_t room = 0;
  std::uint8_t* place = record_.acquire(&room, token_);
  record_.release(room + 1, place, token_);
  record_.acquire(&room, token_);
  record_.release(-1, place, token_);
  EXPECT_EQ(room, 0x400000 - 4);
  End(0);
  packets_->CompleteLast(0, false);
  const auto taken = packets_->TakeFirst();
  ASSERT_TRUE(taken.has_value());
  EXPECT_EQ(taken->packet->size(), 4u);
  EXPECT_EQ(taken->packet->chunks, 3);
}

TEST_F(CudaPacketsTest, NothingArrivesWhenTheSessionHasLeft) {
  Begin(0);
  std::int32_t room = 0;
  std::uint8_t* place = record_.acquire(&room, token_);
  const std::weak_ptr<CudaPackets> watched = packets_;
  packets_.reset();
  listener_.reset();
  EXPECT_FALSE(watched.expired());  // the vendor may still write
  std::memset(place, 1, static_cast<std::size_t>(room));
  record_.release(room, place, token_);
  EXPECT_TRUE(watched.expired());
  EXPECT_EQ(Chunk("late"), -1);
  Begin(1);
  End(1);
  const CudaListener next(std::make_shared<CudaPackets>());
  EXPECT_NE(next.Token(), token_);
}

}  // namespace
}  // namespace xv
