#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <memory>
#include <numeric>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "platform/bounded_queue.h"
#include "platform/clock.h"
#include "platform/dynamic_library.h"
#include "platform/module.h"
#include "platform/named_mutex.h"
#include "platform/thread.h"
#include "platform/warning.h"
#include "platform/work_items.h"
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
  // A worker that tells itself to stop does not wait for itself.
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
  const auto item = std::make_shared<int>(1);
  BoundedQueue<std::shared_ptr<int>> holder;
  holder.Open(4);
  EXPECT_TRUE(holder.Push(item));
  holder.Abort();
  EXPECT_EQ(item.use_count(), 1) << "it lets go of what it holds";
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

TEST(NamedMutex, HoldsOffOtherObjectsAndRefusesLinksFoldersAndPaths) {
  const std::string name = "xv_named_mutex_test_" + std::to_string(ProcessId());
  const std::filesystem::path file = "/dev/shm/" + name;
  NamedMutex first, second;
  EXPECT_FALSE(first.TryLock());  // closed
  ASSERT_EQ(first.Open(name), Status(S_OK));
  EXPECT_EQ(first.Open(name), Status(S_FALSE));
  ASSERT_EQ(second.Open(name), Status(S_OK));
  EXPECT_TRUE(first.TryLock());
  EXPECT_FALSE(second.TryLock());
  first.Unlock();
  EXPECT_TRUE(second.TryLock());
  second.Close();
  EXPECT_TRUE(first.TryLock());
  EXPECT_EQ(second.Open(""), Status(E_INVALIDARG));
  EXPECT_EQ(second.Open("../" + name), Status(E_INVALIDARG));
  std::filesystem::remove(file);
  std::filesystem::create_symlink(file.string() + "_elsewhere", file);
  EXPECT_TRUE(second.Open(name).Failed());
  EXPECT_FALSE(std::filesystem::exists(file.string() + "_elsewhere"));
  std::filesystem::remove(file);
  std::filesystem::create_directory(file);
  EXPECT_EQ(second.Open(name), Status(XV_E_ACCESS_DENIED));
  std::filesystem::remove(file);
}

TEST(DynamicLibrary, SymbolsComeAllOrNotAtAll) {
  DynamicLibrary library;
  EXPECT_EQ(library.Open("libxv-nothing-here.so.9"), XV_E_VENDOR_LIBRARY);
  EXPECT_NE(library.Words().find("libxv-nothing-here"), std::string::npos);
  EXPECT_EQ(library.Open(""), E_INVALIDARG);
  ASSERT_EQ(library.Open("libm.so.6"), S_OK);
  double (*cosine)(double) = nullptr;
  void* missing = &library;
  EXPECT_EQ(library.Load({{"cos", reinterpret_cast<void**>(&cosine)}, {"xv_none", &missing}}),
            XV_E_VENDOR_LIBRARY);
  EXPECT_EQ(cosine, nullptr);
  EXPECT_EQ(missing, nullptr);
  EXPECT_NE(library.Words().find("xv_none"), std::string::npos);
  DynamicLibrary moved = std::move(library);
  ASSERT_EQ(moved.Load({{"cos", reinterpret_cast<void**>(&cosine)}}), S_OK);
  EXPECT_EQ(cosine(0.0), 1.0);
  EXPECT_FALSE(library.IsOpen());  // NOLINT(bugprone-use-after-move)
}

TEST(Clock, LocalTimeAndSteadyTime) {
  setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
  tzset();
  const LocalClockTime time = LocalTimeFromUnix(1'000'000'000);
  unsetenv("TZ");
  tzset();
  EXPECT_EQ(time.year * 10000 + time.month * 100 + time.day, 20010909);
  EXPECT_EQ(time.hour * 10000 + time.minute * 100 + time.second, 34640);
  const auto steady = [] { return std::chrono::steady_clock::now().time_since_epoch(); };
  const auto before = steady();
  const std::chrono::nanoseconds told(SystemClock().SteadyNanoseconds());
  EXPECT_TRUE(before <= told && told <= steady());
  EXPECT_LT(SystemClock().LocalTime().millisecond, 1000);
}

TEST(WorkItems, WaitComesAfterEveryPiece) {
  for (int round = 0; round < 50; ++round) {
    std::vector<int> cells(37, 0);  // on this stack: a late piece would write into nothing
    RunWorkItems(37, [&cells](int i) { cells[static_cast<std::size_t>(i)] += i; });
    int sum = 0;
    for (const int cell : cells) sum += cell;
    EXPECT_EQ(sum, 37 * 36 / 2);
  }
  RunWorkItems(0, [](int) { FAIL(); });
  // What a piece throws is given when the others are done.
  std::atomic<int> done{0};
  const auto piece = [&done](int i) {
    if (i == 3) throw std::runtime_error("piece");
    ++done;
  };
  EXPECT_THROW(RunWorkItems(20, piece), std::runtime_error);
  EXPECT_EQ(done, 19);
}

// Pieces have pieces within; without a limit two that wait for each other meet.
TEST(WorkItems, ThreadsKeepWithinTheLimit) {
  std::atomic<int> within{0}, most{0}, inner{0};
  const auto piece = [&](int) {
    const int now = ++within;
    int seen = most;
    while (now > seen && !most.compare_exchange_weak(seen, now)) {
    }
    RunWorkItems(3, [&](int) { ++inner; });
    --within;
  };
  for (int round = 0; round < 200; ++round) {
    const WorkItemLimit limit(1);
    RunWorkItems(5, piece);
  }
  EXPECT_EQ(most, 1);
  EXPECT_EQ(inner, 200 * 5 * 3);
  if (std::thread::hardware_concurrency() < 2) return;
  std::atomic<int> arrived{0};
  RunWorkItems(2, [&](int) {
    for (++arrived; arrived < 2;) std::this_thread::yield();
  });
  EXPECT_EQ(arrived, 2);
}

// Callers whose pieces hold every thread of the pool keep nobody from going on.
TEST(WorkItems, ABusyPoolDelaysNobody) {
  std::atomic<bool> leave{false};
  std::vector<std::thread> busy;
  const int cores = static_cast<int>(std::thread::hardware_concurrency());
  for (int i = 0; i < cores; ++i) {
    busy.emplace_back([&] { RunWorkItems(2, [&](int) { leave.wait(false); }); });
  }
  std::atomic<int> done{0};
  for (int round = 0; round < 100; ++round) RunWorkItems(7, [&](int) { ++done; });
  EXPECT_EQ(done, 700);
  leave = true;
  leave.notify_all();
  for (std::thread& thread : busy) thread.join();
}

}  // namespace
}  // namespace xv
