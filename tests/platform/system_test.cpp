#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <stdexcept>
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
  const std::int64_t before = SystemClock().SteadyNanoseconds();
  usleep(2000);
  EXPECT_GE(SystemClock().SteadyNanoseconds() - before, 2'000'000);
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

TEST(WorkItems, ThrownPieceIsGivenByWaitWhenTheOthersAreDone) {
  std::atomic<int> done{0};
  WorkItems items;
  for (int i = 0; i < 20; ++i) {
    items.Add([&done, i] {
      if (i == 3) throw std::runtime_error("piece");
      ++done;
    });
  }
  EXPECT_THROW(items.Wait(), std::runtime_error);
  EXPECT_EQ(done, 19);
  items.Add([&done] { ++done; });
  items.Wait();
  EXPECT_EQ(done, 20);
}

}  // namespace
}  // namespace xv
