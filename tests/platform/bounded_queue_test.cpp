#include "platform/bounded_queue.h"

#include <gmock/gmock.h>

#include <chrono>
#include <future>
#include <memory>
#include <numeric>
#include <thread>
#include <vector>

namespace xv {
namespace {

constexpr std::chrono::milliseconds kMoment(10);

std::vector<int> Drained(BoundedQueue<int>& queue) {
  std::vector<int> items;
  while (const auto item = queue.Pop()) items.push_back(*item);
  return items;
}

TEST(BoundedQueue, RefusesWhenFullAndAfterTheEnd) {
  BoundedQueue<int> queue;
  EXPECT_FALSE(queue.Push(1));  // not open yet
  EXPECT_FALSE(queue.AwaitRoom());
  EXPECT_EQ(queue.Pop(), std::nullopt);
  queue.Open(2);
  EXPECT_TRUE(queue.TryPush(1));
  EXPECT_FALSE(queue.Full());
  EXPECT_TRUE(queue.TryPush(2));
  EXPECT_TRUE(queue.Full());
  EXPECT_FALSE(queue.TryPush(3));
  EXPECT_TRUE(queue.Push(4));  // beyond the capacity
  EXPECT_EQ(queue.Size(), 3u);
  queue.End();
  EXPECT_FALSE(queue.TryPush(5));
  EXPECT_FALSE(queue.Push(6));
  EXPECT_THAT(Drained(queue), testing::ElementsAre(1, 2, 4));
  queue.Open(0);  // holds one at least
  EXPECT_TRUE(queue.AwaitRoom());
  EXPECT_TRUE(queue.TryPush(7));
  queue.Abort();
  EXPECT_EQ(queue.Pop(), std::nullopt);
}

// Whoever waits is woken by what it waits for, and by the end.
TEST(BoundedQueue, WaitsForRoomForItemsAndForTheEnd) {
  BoundedQueue<int> queue;
  queue.Open(1);
  std::thread producer([&] {
    for (int i = 0; i < 1000 && queue.AwaitRoom(); ++i) (void)queue.Push(i);
    queue.End();
  });
  std::vector<int> expected(1000);
  std::iota(expected.begin(), expected.end(), 0);
  EXPECT_EQ(Drained(queue), expected);
  producer.join();

  queue.Open(1);
  auto consumer = std::async(std::launch::async, [&] { return queue.Pop(); });
  EXPECT_EQ(consumer.wait_for(kMoment), std::future_status::timeout);
  queue.End();
  EXPECT_EQ(consumer.get(), std::nullopt);
  queue.Open(1);
  EXPECT_TRUE(queue.Push(1));
  auto waiting = std::async(std::launch::async, [&] { return queue.AwaitRoom(); });
  EXPECT_EQ(waiting.wait_for(kMoment), std::future_status::timeout);
  queue.Abort();
  EXPECT_FALSE(waiting.get());
}

TEST(BoundedQueue, AbortLetsGoOfWhatItHolds) {
  BoundedQueue<std::shared_ptr<int>> queue;
  queue.Open(4);
  const auto item = std::make_shared<int>(1);
  EXPECT_TRUE(queue.Push(item));
  queue.Abort();
  EXPECT_EQ(item.use_count(), 1);
}

}  // namespace
}  // namespace xv
