#include <gmock/gmock.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <thread>

#include "support/loopback.h"
#include "support/media_probe.h"

namespace xv::test {
namespace {

#ifdef XV_SANITIZED
constexpr int kCycles = 40;
#else
constexpr int kCycles = 1000;
#endif

using Clock = std::chrono::steady_clock;

std::string Numbered(const char* stem, int number, const char* end) {
  return stem + std::to_string(number) + end;
}

double SecondsSince(Clock::time_point begin) {
  return std::chrono::duration<double>(Clock::now() - begin).count();
}

constexpr char kStream[] = "format=mpegts video::codec=mpeg2video video::b=40M io_timeout=1";

// Noise that no encoder makes small, so that a socket's buffers fill.
host::Ptr<IXvFrame> NoiseFrame(int number) {
  static const auto noise = [] {
    auto bytes = std::make_shared<std::vector<std::uint8_t>>(1280 * 720 * 2 + 64);
    std::uint32_t state = 1;
    for (auto& b : *bytes)
      b = static_cast<std::uint8_t>((state = state * 1664525 + 1013904223) >> 24);
    return bytes;
  }();
  host::FrameBuilder builder;
  builder.Video(kFccUYVY, 1280, 720, 25, noise->data() + number % 16 * 4, 1280 * 720 * 2, noise);
  return builder.Time(number * 400'000LL, (number + 1) * 400'000LL).Build();
}

TEST(Faults, ReceiverThatStopsReadingEndsItsOwnWriterOnly) {
  std::signal(SIGPIPE, SIG_IGN);
  TemporaryFolder folder;
  // The kernel takes the connection, and nobody reads what comes by it.
  const BoundSocket receiver(SOCK_STREAM, 0);
  ::listen(receiver.socket, 1);
  host::Writer stalled;
  ASSERT_EQ(stalled.Start(Numbered("tcp://127.0.0.1:", receiver.port, ""), kStream), S_OK);
  std::thread pushing([&] {
    HRESULT result = S_OK;
    for (int i = 0; i < 400 && Succeeded(result); ++i) result = stalled.Put(NoiseFrame(i));
    EXPECT_LT(result, 0);
  });
  // The neighbour records while the other one waits in its send call.
  const auto begin = Clock::now();
  ASSERT_EQ(Record(folder / "a.mp4", "video::codec=mpeg4", Feed(), 50), S_OK);
  const double neighbour = SecondsSince(begin);
  pushing.join();
  const auto stopping = Clock::now();
  stalled.Stop();
  EXPECT_LT(SecondsSince(stopping), 3.0);
  EXPECT_LT(neighbour, 20.0);
  EXPECT_EQ(Probe(folder / "a.mp4").Video()->frames, 50);
  EXPECT_THAT(stalled.LastError(), testing::HasSubstr("packet"));
}

TEST(Faults, NobodyListensIsAFailureOfTheFirstFrame) {
  host::Writer writer;
  ASSERT_EQ(writer.Start("tcp://127.0.0.1:1", kStream), S_OK);
  EXPECT_EQ(writer.Put(NoiseFrame(0)), E_FAIL);
  EXPECT_THAT(writer.LastError(), testing::HasSubstr("output"));
}

// A file system of a few megabytes; needs the right to mount.
class SmallDisk {
 public:
  explicit SmallDisk(int megabytes) {
    mounted_ = ::mount("tmpfs", folder_.Path().c_str(), "tmpfs", 0,
                       Numbered("size=", megabytes, "m").c_str()) == 0;
  }
  ~SmallDisk() {
    if (mounted_) ::umount2(folder_.Path().c_str(), MNT_DETACH);
  }
  bool mounted() const { return mounted_; }
  std::string operator/(const std::string& name) const { return folder_ / name; }

 private:
  TemporaryFolder folder_;
  bool mounted_;
};

TEST(Faults, FullDiskKeepsWhatWasWrittenPlayable) {
  const SmallDisk disk(24);
  if (!disk.mounted()) GTEST_SKIP() << "no right to mount";
  for (const char* name : {"a.mov", "a.mkv", "a.avi"}) {
    host::Writer writer;
    ASSERT_EQ(writer.Start(disk / name, "video::codec=rawvideo video.buffers=1"), S_OK);
    HRESULT result = S_OK;
    int pushed = 0;
    while (pushed < 28 && Succeeded(result = writer.Put(NoiseFrame(pushed)))) ++pushed;
    EXPECT_EQ(result, XV_E_DISK_FULL) << name;
    writer.Stop();
    EXPECT_THAT(writer.LastError(), testing::HasSubstr("0x80070070")) << name;
    const ProbedFile file = Probe(disk / name);
    EXPECT_GE(file.Pictures().frames, 10) << name;
    std::filesystem::remove(disk / name);
  }
}

TEST(Faults, FailingSecondOutputLeavesTheMainOneAlone) {
  TemporaryFolder folder;
  const Feed feed{.width = 1280, .height = 720, .channels = 1};
  const std::string common =
      "video::codec=mpeg2video video::threads=1 audio::codec=mp2 start_timecode=10:00:00:00 ";
  ASSERT_EQ(Record(folder / "alone.ts", common, feed, 60), S_OK);
  std::string noted;
  ASSERT_EQ(
      Record(folder / "both.ts", common + "second_encoder=/dev/full second_encoder::format=mpegts",
             feed, 60, &noted),
      S_OK);
  EXPECT_THAT(noted, testing::HasSubstr("second output"));
  EXPECT_TRUE(folder.Read("alone.ts") == folder.Read("both.ts"));
  ASSERT_EQ(Record(folder / "third.ts", common + "second_encoder=" + (folder / "no/such.mp4"), feed,
                   10, &noted),
            S_OK);
  EXPECT_THAT(noted, testing::HasSubstr("second output"));
}

std::size_t Entries(const char* folder) {
  return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder), {}));
}

long ResidentKilobytes() {
  std::ifstream status("/proc/self/statm");
  long total = 0, resident = 0;
  status >> total >> resident;
  return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

TEST(Faults, StartAndStopGrowNothing) {
  TemporaryFolder folder;
  const Feed feed{.width = 64, .height = 48};
  host::Writer writer;
  const auto cycle = [&](int i) {
    ASSERT_EQ(writer.Start(folder / Numbered("a", i % 4, ".mp4"), "video::codec=mpeg4"), S_OK);
    ASSERT_EQ(PushFrames(writer, feed, 2), S_OK);
    writer.Stop();
  };
  for (int i = 0; i < 20; ++i) cycle(i);
  const std::size_t threads = Entries("/proc/self/task");
  const std::size_t descriptors = Entries("/proc/self/fd");
  const long resident = ResidentKilobytes();
  for (int i = 0; i < kCycles; ++i) cycle(i);
  EXPECT_EQ(Entries("/proc/self/task"), threads);
  EXPECT_EQ(Entries("/proc/self/fd"), descriptors);
#ifndef XV_SANITIZED
  EXPECT_LT(ResidentKilobytes() - resident, 8 * 1024);
#else
  (void)resident;
#endif
}

TEST(Faults, EightWritersShareOneProcess) {
  TemporaryFolder folder;
  std::vector<std::thread> hosts;
  std::vector<HRESULT> results(8, E_FAIL);
  for (std::size_t i = 0; i < results.size(); ++i) {
    hosts.emplace_back([&, i] {
      const char* codec =
          i % 2 == 0 ? "video::codec=libx264 video::preset=ultrafast" : "video::codec=mpeg2video";
      results[i] = Record(folder / Numbered("w", static_cast<int>(i), ".mkv"), codec, Feed(), 40);
    });
  }
  for (std::thread& host : hosts) host.join();
  for (std::size_t i = 0; i < results.size(); ++i) {
    EXPECT_EQ(results[i], S_OK);
    const ProbedFile file = Probe(folder / Numbered("w", static_cast<int>(i), ".mkv"));
    EXPECT_EQ(file.Pictures().frames, 40);
    EXPECT_EQ(file.Pictures().errors, 0);
  }
}

TEST(Faults, PropertiesMayBeReadWhileFramesFlow) {
  TemporaryFolder folder;
  host::Writer writer;
  ASSERT_EQ(writer.Start(folder / "a.mp4", "video::codec=mpeg4"), S_OK);
  std::atomic<bool> stop{false};
  std::thread reader([&] {
    while (!stop) {
      for (const char* name : {"quality::frames_in", "quality::packets.0", "quality::encode_ms.p99",
                               "quality::last_error", "video::x"}) {
        (void)writer.Get(name);
      }
      (void)writer.Set("video::x", "1");
    }
  });
  EXPECT_EQ(PushFrames(writer, Feed(), 60), S_OK);
  stop = true;
  reader.join();
  EXPECT_EQ(writer.Get("quality::frames_in"), "60");
  writer.Stop();
  EXPECT_EQ(writer.Get("quality::packets.0"), "60");
}

}  // namespace
}  // namespace xv::test
