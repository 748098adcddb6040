#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <functional>
#include <thread>

#include "support/fixtures.h"
#include "support/loopback.h"
#include "support/media_probe.h"
#include "support/odd_receiver.h"

// Receivers that fail in the middle of a stream while another writer of the process records.
namespace xv::test {
namespace {

using BrokenStream = WithFolder;
using StalledStream = WithFolder;

constexpr int kMostFrames = 4000;    // never reached: the stream breaks long before
constexpr double kStopWithin = 3.0;  // seconds, with a patience of as many
constexpr double kAtOnce = 15;       // seconds, with one of 30

constexpr Feed kSmall{.width = 320, .height = 240};

// Every buffer on the way is full: the queue too, so that the host waits.
void AwaitStandstill(const std::atomic<int>& pushed) {
  for (int before = -1; before != pushed;) {
    before = pushed;
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
  }
}

double SecondsOf(const std::function<void()>& work) {
  const auto begin = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

TEST_F(BrokenStream, EndsItsOwnWriterInTimeAndNoOther) {
  std::signal(SIGPIPE, SIG_IGN);
  for (const auto& [scheme, receiving] : {std::pair{"tcp", Receiving::kResets},
                                          {"tcp", Receiving::kStops},
                                          {"http", Receiving::kResets},
                                          {"http", Receiving::kStops}}) {
    const bool hangsUp = receiving == Receiving::kResets;
    SCOPED_TRACE(std::string(scheme) + (hangsUp ? " hangs up" : " reads no more"));
    OddReceiver receiver(receiving);
    host::Writer broken;
    // Uncompressed pictures fill every buffer on the way.
    ASSERT_EQ(
        broken.Start(receiver.Url(scheme), "format=matroska video::codec=rawvideo io_timeout=3"),
        S_OK);
    std::atomic<HRESULT> result{S_OK};
    std::atomic<int> pushed{0};
    std::thread pushing([&] {
      while (pushed < kMostFrames && Succeeded(result)) {
        result = broken.Put(MakeFrame(kSmall, pushed));
        ++pushed;
      }
    });
    EXPECT_TRUE(Eventually(10, [&] { return receiver.HasTakenItsPart(); }));
    if (!hangsUp) AwaitStandstill(pushed);
    EXPECT_EQ(Record(folder_ / "a.mp4", "video::codec=mpeg4", kSmall, 25), S_OK);
    // The neighbour was done while the other one still waited in its send call.
    EXPECT_TRUE(hangsUp || Succeeded(result));
    pushing.join();
    EXPECT_LT(result, 0);
    EXPECT_THAT(broken.LastError(), testing::HasSubstr("packet"));
    EXPECT_LT(SecondsOf([&] { (void)broken.Stop(); }), kStopWithin);
    const ProbedStream neighbour = Probe(folder_ / "a.mp4").Pictures();
    EXPECT_EQ(neighbour.frames, 25);
    EXPECT_EQ(neighbour.errors, 0);
  }
}

// Puts into `target` until nothing moves any more; a stop that must not wait leaves it at once,
// whatever its patience.
void ExpectStopAtOnce(const std::string& target) {
  host::Writer writer;
  ASSERT_EQ(writer.Start(target, "format=matroska video::codec=rawvideo io_timeout=30"), S_OK);
  std::atomic<int> pushed{0};
  std::thread pushing([&] {
    while (writer.Put(MakeFrame(kSmall, pushed)) == S_OK) ++pushed;
  });
  AwaitStandstill(pushed);
  EXPECT_LT(SecondsOf([&] { EXPECT_LE(writer.StopAtOnce(), 0); }), kAtOnce) << target;
  pushing.join();
}

TEST_F(StalledStream, StopAtOnceDoesNotWaitForIt) {
  OddReceiver receiver(Receiving::kStops);
  ExpectStopAtOnce(receiver.Url("tcp"));
  EXPECT_TRUE(receiver.HasTakenItsPart());
  const std::string fifo = folder_ / "fifo";
  ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
  ExpectStopAtOnce(fifo);
  const int reader = ::open(fifo.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  ASSERT_GE(reader, 0);
  ExpectStopAtOnce(fifo);
  ::close(reader);
}

// Whatever becomes of the second output, the recording has the same bytes and its stop an end.
TEST_F(StalledStream, AsSecondOutputLeavesTheRecordingAlone) {
  std::signal(SIGPIPE, SIG_IGN);
  const std::string common =
      "video::codec=rawvideo audio::codec=pcm_s16le start_timecode=10:00:00:00 fflags=+bitexact ";
  ASSERT_EQ(Record(folder_ / "alone.nut", common, kSmall, 120), S_OK);
  for (const Receiving receiving :
       {Receiving::kResets, Receiving::kStops, Receiving::kSlowly, Receiving::kHalfCloses}) {
    SCOPED_TRACE(static_cast<int>(receiving));
    OddReceiver receiver(receiving);
    const std::string attributes =
        common +
        "io_timeout=1 second_encoder::format=matroska second_encoder=" + receiver.Url("tcp");
    HRESULT stopped = S_OK;
    EXPECT_LT(SecondsOf([&] { stopped = Record(folder_ / "both.nut", attributes, kSmall, 120); }),
              10);
    // One that only has nothing to say gets it all.
    EXPECT_EQ(Succeeded(stopped), receiving == Receiving::kHalfCloses) << "the stop tells";
    EXPECT_TRUE(folder_.Read("alone.nut") == folder_.Read("both.nut"));
  }
}

}  // namespace
}  // namespace xv::test
