#include "platform/thread.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "platform/warning.h"
#include "xvwriter/writer.h"

namespace xv {
namespace {

struct Worker {
  void RunUntilTold() {
    ++starts;
    starts.notify_all();
    while (thread.IsRunning()) thread.WaitForStop(kInfinite);
  }
  void Return() {}
  void StopItself() {
    ownStop = thread.Stop(kInfinite, true).code();
    told = !thread.IsRunning();
  }
  void Deaf() { release.wait(false); }

  std::atomic<int> starts{0};
  std::atomic<HRESULT> ownStop{1};
  std::atomic<bool> told{false};
  std::atomic<bool> release{false};
  XvThread<Worker> thread;
};

TEST(Thread, StartsRunsAndStops) {
  Worker worker;
  EXPECT_EQ(worker.thread.Stop(0), S_FALSE);
  EXPECT_EQ(worker.thread.Start(nullptr, &Worker::Return), E_INVALIDARG);
  EXPECT_EQ(worker.thread.Start(&worker, nullptr), E_INVALIDARG);
  for (int i = 0; i < 20; ++i) {  // a second start stops the first
    ASSERT_EQ(worker.thread.Start(&worker, &Worker::RunUntilTold), S_OK);
    worker.starts.wait(i);
    EXPECT_EQ(worker.thread.State(), ThreadState::kRunning);
  }
  EXPECT_EQ(worker.thread.Stop(kInfinite), S_OK);
  EXPECT_EQ(worker.thread.State(), ThreadState::kNone);
  EXPECT_EQ(worker.thread.Stop(kInfinite), S_FALSE);
  EXPECT_EQ(worker.starts, 20);
  ASSERT_EQ(worker.thread.Start(&worker, &Worker::Return), S_OK);
  EXPECT_TRUE(worker.thread.AwaitEnd(kInfinite));
  EXPECT_EQ(worker.thread.State(), ThreadState::kNone);
}

TEST(Thread, WorkerTellsItselfToStopAndDoesNotWait) {
  Worker worker;
  ASSERT_EQ(worker.thread.Start(&worker, &Worker::StopItself), S_OK);
  EXPECT_TRUE(worker.thread.AwaitEnd(kInfinite));
  EXPECT_EQ(worker.ownStop, XV_E_OWN_THREAD);
  EXPECT_TRUE(worker.told);
}

TEST(Thread, DeafWorkerIsNeverKilled) {
  Worker worker;
  ASSERT_EQ(worker.thread.Start(&worker, &Worker::Deaf), S_OK);
  EXPECT_EQ(worker.thread.Stop(1), XV_E_TIMEOUT);
  EXPECT_EQ(worker.thread.State(), ThreadState::kStopping);
  // Allowed to terminate it, the wait goes on instead.
  auto stop = std::async(std::launch::async, [&] { return worker.thread.Stop(1, true).code(); });
  EXPECT_EQ(stop.wait_for(std::chrono::milliseconds(30)), std::future_status::timeout);
  worker.release = true;
  worker.release.notify_all();
  EXPECT_EQ(stop.get(), S_OK);
}

TEST(Thread, StopsFromManyThreadsAllReturn) {
  Worker worker;
  for (int round = 0; round < 50; ++round) {
    ASSERT_EQ(worker.thread.Start(&worker, &Worker::RunUntilTold), S_OK);
    std::atomic<int> stopped{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
      threads.emplace_back([&] {
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
    ASSERT_EQ(worker.thread.Start(&worker, &Worker::RunUntilTold), S_OK);
  }
  SetWarningHandler(nullptr, nullptr);
  EXPECT_EQ(text.find("WARNING !!! Thread not stopped."), 0u);
  EXPECT_NE(text.find("platform_test"), std::string::npos);
}

}  // namespace
}  // namespace xv
