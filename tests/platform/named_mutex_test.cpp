#include "platform/named_mutex.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "platform/module.h"

namespace xv {
namespace {

class NamedMutexTest : public ::testing::Test {
 protected:
  ~NamedMutexTest() override { std::filesystem::remove("/dev/shm/" + name_); }
  const std::string name_ = "xv_named_mutex_test_" + std::to_string(ProcessId());
};

TEST_F(NamedMutexTest, HoldsOffOtherObjectsUntilItIsFreed) {
  NamedMutex first, second;
  EXPECT_FALSE(first.TryLock());  // closed
  ASSERT_EQ(first.Open(name_), Status(S_OK));
  EXPECT_EQ(first.Open(name_), Status(S_FALSE));
  ASSERT_EQ(second.Open(name_), Status(S_OK));
  EXPECT_TRUE(first.TryLock());
  EXPECT_FALSE(second.TryLock());
  first.Unlock();
  EXPECT_TRUE(second.TryLock());
  second.Close();
  EXPECT_TRUE(first.TryLock());
}

TEST_F(NamedMutexTest, IsFreedWhenItsHolderIsKilled) {
  NamedMutex mine;
  ASSERT_EQ(mine.Open(name_), Status(S_OK));
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  const pid_t child = fork();
  if (child == 0) {
    NamedMutex theirs;
    const char held = theirs.Open(name_).Ok() && theirs.TryLock() ? 'y' : 'n';
    (void)!write(ready[1], &held, 1);
    while (true) pause();
  }
  char held = 0;
  ASSERT_EQ(read(ready[0], &held, 1), 1);
  EXPECT_EQ(held, 'y');
  EXPECT_FALSE(mine.TryLock());
  kill(child, SIGKILL);
  ASSERT_EQ(waitpid(child, nullptr, 0), child);
  EXPECT_TRUE(mine.TryLock());
  close(ready[0]);
  close(ready[1]);
}

TEST_F(NamedMutexTest, LinksFoldersAndPathsAreRefused) {
  NamedMutex mutex;
  EXPECT_EQ(mutex.Open(""), Status(E_INVALIDARG));
  EXPECT_EQ(mutex.Open("../" + name_), Status(E_INVALIDARG));
  std::filesystem::create_symlink("/dev/shm/" + name_ + "_elsewhere", "/dev/shm/" + name_);
  EXPECT_TRUE(mutex.Open(name_).Failed());
  EXPECT_FALSE(std::filesystem::exists("/dev/shm/" + name_ + "_elsewhere"));
  std::filesystem::remove("/dev/shm/" + name_);
  std::filesystem::create_directory("/dev/shm/" + name_);
  EXPECT_EQ(mutex.Open(name_), Status(XV_E_ACCESS_DENIED));
}

}  // namespace
}  // namespace xv
