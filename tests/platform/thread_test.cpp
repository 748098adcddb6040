#include "platform/thread.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "platform/warning.h"
#include "xvwriter/writer.h"

namespace xv {
namespace {

struct Worker {
  void CountWakes() {
    ++starts;
    while (thread.IsRunning()) {
      if (thread.WaitWake(kInfinite)) ++wakes;
    }
  }
  void Return() { ++starts; }
  void StopItself() { ownStop = thread.Stop(kInfinite, true).code(); }
  void Deaf() {
    while (!release) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }

  std::atomic<int> starts{0};
  std::atomic<int> wakes{0};
  std::atomic<HRESULT> ownStop{1};
  std::atomic<bool> release{false};
  XvThread<Worker> thread;
};

void WaitUntil(const std::function<bool()>& condition) {
  for (int i = 0; i < 10000 && !condition(); ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  ASSERT_TRUE(condition());
}

TEST(Thread, StopHandshake) {
  Worker worker;
  EXPECT_EQ(worker.thread.Stop(0), S_FALSE);
  EXPECT_FALSE(worker.thread.Wake());
  EXPECT_EQ(worker.thread.Start(nullptr, &Worker::Return), E_INVALIDARG);
  EXPECT_EQ(worker.thread.Start(&worker, nullptr), E_INVALIDARG);
  ASSERT_EQ(worker.thread.Start(&worker, &Worker::CountWakes, 256 * 1024), S_OK);
  EXPECT_EQ(worker.thread.State(), ThreadState::kRunning);
  EXPECT_TRUE(worker.thread.Wake());
  WaitUntil([&] { return worker.wakes == 1; });
  EXPECT_EQ(worker.thread.Stop(kInfinite), S_OK);
  EXPECT_EQ(worker.thread.State(), ThreadState::kNone);
  EXPECT_EQ(worker.thread.Stop(kInfinite), S_FALSE);
}

TEST(Thread, WakeAheadOfTheWaitIsKeptOnce) {
  Worker worker;
  worker.thread.Wake();
  EXPECT_FALSE(worker.thread.WaitWake(0));  // no thread, nothing signalled
  ASSERT_EQ(worker.thread.Start(&worker, &Worker::Deaf), S_OK);
  worker.thread.Wake();
  worker.thread.Wake();
  EXPECT_TRUE(worker.thread.WaitWake(0));
  EXPECT_FALSE(worker.thread.WaitWake(1));
  EXPECT_TRUE(worker.thread.Wake(nullptr, 0));
  EXPECT_EQ(worker.thread.State(), ThreadState::kStopping);
  EXPECT_TRUE(worker.thread.Wake(nullptr, 1));
  EXPECT_EQ(worker.thread.State(), ThreadState::kRunning);
  worker.release = true;
  EXPECT_EQ(worker.thread.Stop(kInfinite), S_OK);
}

TEST(Thread, WorkerCannotStopItself) {
  Worker worker;
  ASSERT_EQ(worker.thread.Start(&worker, &Worker::StopItself), S_OK);
  WaitUntil([&] { return worker.ownStop != 1; });
  EXPECT_EQ(worker.ownStop, XV_E_OWN_THREAD);
  EXPECT_EQ(worker.thread.Stop(kInfinite), S_FALSE);
}

TEST(Thread, SecondStartStopsTheFirst) {
  Worker worker;
  for (int i = 1; i <= 20; ++i) {
    ASSERT_EQ(worker.thread.Start(&worker, &Worker::CountWakes), S_OK);
    WaitUntil([&] { return worker.starts == i; });
  }
  EXPECT_EQ(worker.thread.Stop(kInfinite), S_OK);
  ASSERT_EQ(worker.thread.Start(&worker, &Worker::Return), S_OK);
  WaitUntil([&] { return worker.thread.State() == ThreadState::kNone; });
}

TEST(Thread, DeafWorkerIsNeverKilled) {
  Worker worker;
  ASSERT_EQ(worker.thread.Start(&worker, &Worker::Deaf), S_OK);
  EXPECT_EQ(worker.thread.Stop(20), XV_E_TIMEOUT);
  EXPECT_EQ(worker.thread.State(), ThreadState::kStopping);
  std::thread helper([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(80));
    worker.release = true;
  });
  // Allowed to terminate it, the wait goes on instead.
  EXPECT_EQ(worker.thread.Stop(20, true), S_OK);
  EXPECT_TRUE(worker.release);
  helper.join();
}

TEST(Thread, StopsFromManyThreadsAllReturn) {
  Worker worker;
  for (int round = 0; round < 50; ++round) {
    ASSERT_EQ(worker.thread.Start(&worker, &Worker::CountWakes), S_OK);
    std::atomic<int> stopped{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
      threads.emplace_back([&] {
        worker.thread.Wake();
        stopped += worker.thread.Stop(kInfinite) == S_OK;
        worker.thread.State();
      });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(stopped, 1);
  }
}

TEST(Thread, ForgottenWorkerIsReportedAndAwaited) {
  std::string text;
  SetWarningHandler(
      [](const char* words, void* context) { *static_cast<std::string*>(context) += words; },
      &text);
  {
    Worker worker;
    ASSERT_EQ(worker.thread.Start(&worker, &Worker::CountWakes), S_OK);
  }
  SetWarningHandler(nullptr, nullptr);
  EXPECT_EQ(text.find("WARNING !!! Thread not stopped."), 0u);
  EXPECT_NE(text.find("platform_test"), std::string::npos);
}

}  // namespace
}  // namespace xv
