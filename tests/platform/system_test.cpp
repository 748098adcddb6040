#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <thread>
#include <vector>

#include "platform/clock.h"
#include "platform/dynamic_library.h"
#include "platform/module.h"
#include "platform/work_items.h"

namespace xv {
namespace {

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
}

TEST(WorkItems, AThrownPieceIsGivenWhenTheOthersAreDone) {
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
