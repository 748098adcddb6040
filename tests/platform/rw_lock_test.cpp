#include "platform/rw_lock.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <thread>
#include <vector>

namespace xv {
namespace {

using namespace std::chrono_literals;

// Whether another thread may read now.
bool OtherMayRead(CRWSynchroLiteBase& lock) {
  return std::async(std::launch::async,
                    [&] {
                      const bool got = lock.ReadLock(false, nullptr);
                      if (got) lock.ReadUnlock();
                      return got;
                    })
      .get();
}

TEST(RwLock, ReadersShareAndWritersExclude) {
  CRWSynchroLiteRW lock;
  ASSERT_TRUE(lock.ReadLock(true, nullptr));
  EXPECT_TRUE(OtherMayRead(lock));
  EXPECT_FALSE(lock.WriteLock(false, 1, nullptr));
  EXPECT_EQ(lock.WritersWaiting(), 0);
  EXPECT_EQ(lock.OwnerThread(), 0u);
  lock.ReadUnlock();
  ASSERT_TRUE(lock.WriteLock(false, 5, nullptr));
  EXPECT_EQ(lock.WritersWaiting(), 1);
  EXPECT_NE(lock.OwnerThread(), 0u);
  EXPECT_FALSE(OtherMayRead(lock));
  lock.WriteUnlock();
  EXPECT_EQ(lock.WritersWaiting(), 0);
  EXPECT_EQ(lock.OwnerThread(), 0u);
  EXPECT_TRUE(OtherMayRead(lock));
  std::uint64_t tag = 0;
  ASSERT_TRUE(lock.WriteLock(true, 6, &tag));
  EXPECT_EQ(tag, 5u);
  lock.WriteUnlock();
  ASSERT_TRUE(lock.ReadLock(false, &tag));
  EXPECT_EQ(tag, 6u);
  lock.ReadUnlock();
}

TEST(RwLock, RecursiveReadPassesAWaitingWriterAndAFirstReadDoesNot) {
  CRWSynchroLiteRW lock;
  ASSERT_TRUE(lock.ReadLock(true, nullptr));
  std::thread writer([&] {
    lock.WriteLock(true, 1, nullptr);
    lock.WriteUnlock();
  });
  while (lock.WritersWaiting() == 0) std::this_thread::yield();
  EXPECT_FALSE(OtherMayRead(lock));
  auto blocked = std::async(std::launch::async, [&] {
    lock.ReadLock(true, nullptr);
    lock.ReadUnlock();
  });
  EXPECT_EQ(blocked.wait_for(30ms), std::future_status::timeout);
  ASSERT_TRUE(lock.ReadLock(false, nullptr));
  lock.ReadUnlock();
  EXPECT_EQ(blocked.wait_for(10ms), std::future_status::timeout);
  lock.ReadUnlock();
  writer.join();
  EXPECT_EQ(blocked.wait_for(10s), std::future_status::ready);
}

TEST(RwLock, WithoutASlotReadersPassAWaitingWriter) {
  CRWSynchroLiteRW lock(false);
  ASSERT_TRUE(lock.ReadLock(true, nullptr));
  std::thread writer([&] {
    lock.WriteLock(true, 1, nullptr);
    lock.WriteUnlock();
  });
  while (lock.WritersWaiting() == 0) std::this_thread::yield();
  EXPECT_TRUE(OtherMayRead(lock));
  lock.ReadUnlock();
  writer.join();
}

TEST(RwLock, FailedTryLeavesThePresentReadCountAlone) {
  CRWSynchroLiteRW lock;
  ASSERT_TRUE(lock.WriteLock(true, 1, nullptr));
  std::thread other([&] {
    EXPECT_FALSE(lock.ReadLock(false, nullptr));
    EXPECT_FALSE(lock.ReadLock(false, nullptr));  // not taken for a recursive read
    EXPECT_FALSE(lock.WriteLock(false, 2, nullptr));
  });
  other.join();
  EXPECT_EQ(lock.WritersWaiting(), 1);
  lock.WriteUnlock();
}

// Two plain numbers under the lock: writers keep them equal, readers at two depths must see that.
template <class Lock>
void RunReadersAndWriters(Lock& lock) {
  std::int64_t left = 0;
  std::int64_t right = 0;
  std::atomic<int> torn{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 3; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 2000; ++i) {
        if (i % 8 == t) {
          const WriteScope scope(lock);
          ++left;
          ++right;
        } else {
          const ReadScope outer(lock);
          const std::int64_t seen = left;
          const ReadScope inner(lock);
          torn += left != right || seen != right;
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(torn, 0);
  EXPECT_EQ(left, 750);
}

TEST(RwLock, RecursiveReadersAmongWriters) {
  CRWSynchroLiteRW light(true, 50);
  RunReadersAndWriters(light);
  CRWSynchroLiteRW slotless(false);
  RunReadersAndWriters(slotless);
  CRWSynchroLiteCS plain;
  RunReadersAndWriters(plain);
}

TEST(RwLock, CriticalSectionFormExcludesReadersToo) {
  CRWSynchroLiteCS lock;
  ASSERT_TRUE(lock.ReadLock(false, nullptr));
  EXPECT_FALSE(OtherMayRead(lock));
  ASSERT_TRUE(lock.WriteLock(false, 0, nullptr));
  lock.WriteUnlock();
  EXPECT_NE(lock.OwnerThread(), 0u);
  lock.ReadUnlock();
  EXPECT_EQ(lock.OwnerThread(), 0u);
  EXPECT_TRUE(OtherMayRead(lock));
}

}  // namespace
}  // namespace xv
