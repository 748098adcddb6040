#include <gmock/gmock.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <thread>

#include "support/fixtures.h"
#include "support/loopback.h"
#include "support/media_probe.h"

// Receivers that fail in the middle of a stream while another writer of the process records.
namespace xv::test {
namespace {
using BrokenStream = WithFolder;

using StalledStream = WithFolder;

constexpr int kTaken = 100'000;      // bytes that the receiver reads before it fails
constexpr int kMostFrames = 4000;    // never reached: the stream breaks long before
constexpr double kStopWithin = 3.0;  // seconds

// Takes one connection on loopback, reads a while and then hangs up, or keeps the connection and
// reads no more.
class BrokenReceiver {
 public:
  explicit BrokenReceiver(bool hangsUp) {
    ::listen(bound_.socket, 1);
    reading_ = std::thread([this, hangsUp] { Read(hangsUp); });
  }
  ~BrokenReceiver() {
    ::shutdown(bound_.socket, SHUT_RDWR);
    reading_.join();
    if (connection_ >= 0) ::close(connection_);
  }
  std::string Url(const char* scheme) const {
    return std::string(scheme) + "://127.0.0.1:" + std::to_string(bound_.port) + "/a.ts";
  }
  bool HasTakenItsPart() const { return taken_ >= kTaken; }

 private:
  void Read(bool hangsUp) {
    connection_ = ::accept4(bound_.socket, nullptr, nullptr, SOCK_CLOEXEC);
    char buffer[4096];
    while (taken_ < kTaken) {
      const ssize_t got = ::recv(connection_, buffer, sizeof(buffer), 0);
      if (got <= 0) return;
      taken_ += static_cast<int>(got);
    }
    if (!hangsUp) return;
    ::close(connection_);
    connection_ = -1;
  }
  const BoundSocket bound_{SOCK_STREAM, 0};
  int connection_ = -1;
  std::atomic<int> taken_{0};
  std::thread reading_;
};

constexpr Feed kSmall{.width = 320, .height = 240};

// Every buffer on the way is full: the queue too, so that the host waits.
void AwaitStandstill(const std::atomic<int>& pushed) {
  for (int before = -1; before != pushed;) {
    before = pushed;
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
  }
}

TEST_F(BrokenStream, EndsItsOwnWriterInTimeAndNoOther) {
  std::signal(SIGPIPE, SIG_IGN);
  for (const auto& [scheme, hangsUp] :
       {std::pair{"tcp", true}, {"tcp", false}, {"http", true}, {"http", false}}) {
    SCOPED_TRACE(std::string(scheme) + (hangsUp ? " hangs up" : " reads no more"));
    BrokenReceiver receiver(hangsUp);
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
    const auto stopping = std::chrono::steady_clock::now();
    (void)broken.Stop();
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - stopping;
    EXPECT_LT(took.count(), kStopWithin);
    const ProbedStream neighbour = Probe(folder_ / "a.mp4").Pictures();
    EXPECT_EQ(neighbour.frames, 25);
    EXPECT_EQ(neighbour.errors, 0);
  }
}

// A stop that must not wait leaves a receiver that takes nothing at once, whatever its patience.
TEST_F(StalledStream, StopAtOnceDoesNotWaitForIt) {
  BrokenReceiver receiver(false);
  host::Writer writer;
  ASSERT_EQ(
      writer.Start(receiver.Url("tcp"), "format=matroska video::codec=rawvideo io_timeout=30"),
      S_OK);
  std::atomic<int> pushed{0};
  std::thread pushing([&] {
    while (writer.Put(MakeFrame(kSmall, pushed)) == S_OK) ++pushed;
  });
  EXPECT_TRUE(Eventually(10, [&] { return receiver.HasTakenItsPart(); }));
  AwaitStandstill(pushed);
  const auto stopping = std::chrono::steady_clock::now();
  EXPECT_LT(writer.StopAtOnce(), 0);
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - stopping;
  EXPECT_LT(took.count(), kStopWithin);
  pushing.join();
}

// Whatever becomes of the second output, the recording has the same bytes and its stop an end.
TEST_F(StalledStream, AsSecondOutputLeavesTheRecordingAlone) {
  std::signal(SIGPIPE, SIG_IGN);
  const std::string common =
      "video::codec=rawvideo audio::codec=pcm_s16le start_timecode=10:00:00:00 fflags=+bitexact ";
  ASSERT_EQ(Record(folder_ / "alone.nut", common, kSmall, 120), S_OK);
  for (const bool hangsUp : {true, false}) {
    BrokenReceiver receiver(hangsUp);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_LT(Record(folder_ / "both.nut",
                     common + "io_timeout=1 second_encoder::format=matroska second_encoder=" +
                         receiver.Url("tcp"),
                     kSmall, 120),
              0)
        << "the stop tells";
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
    EXPECT_LT(took.count(), 10) << hangsUp;
    EXPECT_TRUE(folder_.Read("alone.nut") == folder_.Read("both.nut")) << hangsUp;
  }
}

}  // namespace
}  // namespace xv::test
