#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <thread>

#include "support/fixtures.h"
#include "support/loopback.h"
#include "support/media_probe.h"

// Targets that are no plain files, and the loose files beside a recording.
namespace xv::test {
namespace {

using Targets = WithWriter;

constexpr Feed kSmall{.width = 320, .height = 240};
constexpr char kCodecs[] = "video::codec=mpeg4 audio::codec=mp2 ";

// Reads a new FIFO.
std::thread ReaderOf(const std::string& fifo, const std::function<void(std::istream&)>& read) {
  if (::mkfifo(fifo.c_str(), 0600) != 0) throw std::runtime_error("no fifo");
  return std::thread([fifo, read] {
    std::ifstream in(fifo, std::ios::binary);
    read(in);
  });
}

TEST_F(Targets, AFifoGetsTheWholeStream) {
  std::thread reading = ReaderOf(folder_ / "a.ts", [&](std::istream& in) {
    std::ofstream(folder_ / "copy.ts", std::ios::binary) << in.rdbuf();
  });
  EXPECT_EQ(Record(folder_ / "a.ts", kCodecs, kSmall, 50), S_OK);
  reading.join();
  EXPECT_EQ(Probe(folder_ / "copy.ts").Pictures().frames, 50);
  const std::string patience = std::string(kCodecs) + "io_timeout=0.2";
  EXPECT_EQ(Record(writer_, folder_ / "a.ts", patience, kSmall, 1), E_FAIL);
  EXPECT_THAT(writer_.LastError(), testing::HasSubstr("0x800705B4")) << "nobody reads";
  EXPECT_NE(Record(folder_ / "a.ts", std::string(kCodecs) + "format=mp4 io_timeout=0.2", kSmall, 1),
            S_OK)
      << "a container that goes back has no place there";
}

TEST_F(Targets, AReaderThatLeavesEndsTheRecordingAndNoMore) {
  std::thread reading = ReaderOf(folder_ / "a.ts", [](std::istream& in) {
    char bytes[4096];
    in.read(bytes, sizeof(bytes));
  });
  ASSERT_EQ(writer_.Start(folder_ / "a.ts", std::string(kCodecs) + "video.buffers=0"), S_OK);
  HRESULT result = S_OK;
  for (int i = 0; i < 500 && Succeeded(result); ++i) result = writer_.Put(MakeFrame(kSmall, i));
  reading.join();
  EXPECT_TRUE(Failed(result)) << "and no signal has ended this process";
  EXPECT_TRUE(Failed(writer_.Stop()));
  EXPECT_THAT(writer_.LastError(), testing::HasSubstr("Broken pipe (0x8007006D)"));
}

// 40 kB/s, of which a picture takes more than the patience: progress is what counts.
TEST_F(Targets, ASlowReceiverIsNoStalledOne) {
  const BoundSocket bound(SOCK_STREAM, 0);
  const int few = 4096;
  ::setsockopt(bound.socket, SOL_SOCKET, SO_RCVBUF, &few, sizeof(few));
  ::listen(bound.socket, 1);
  std::string received;
  std::thread reading([&] {
    const int connection = ::accept4(bound.socket, nullptr, nullptr, SOCK_CLOEXEC);
    char buffer[20'000];
    for (ssize_t got = 0; (got = ::recv(connection, buffer, sizeof(buffer), 0)) > 0;) {
      received.append(buffer, static_cast<std::size_t>(got));
      if (received.size() < 2'000'000) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    ::close(connection);
  });
  const std::string url =
      "tcp://127.0.0.1:" + std::to_string(bound.port) + "?send_buffer_size=4096";
  ASSERT_EQ(writer_.Start(url,
                          "format=nut video::codec=rawvideo audio::codec=null io_timeout=0.3 "
                          "video.buffers=0"),
            S_OK);
  EXPECT_EQ(PushFrames(writer_, {.width = 1920, .height = 1080}, 2), S_OK) << writer_.LastError();
  EXPECT_EQ(writer_.Stop(), S_OK) << writer_.LastError();
  reading.join();
  EXPECT_GT(received.size(), 2u * 1920 * 1080 * 2);
}

TEST_F(Targets, AUrlTellsItsFormat) {
  const BoundSocket receiver(SOCK_DGRAM, 0);
  const std::string url = "udp://127.0.0.1:" + std::to_string(receiver.port);
  EXPECT_EQ(Record(url, "video::codec=mpeg2video play_while_rec=true", kSmall, 5), S_OK)
      << "which has no side files";
  char packet[1500] = {};
  ASSERT_GE(::recv(receiver.socket, packet, sizeof(packet), MSG_DONTWAIT), 188);
  EXPECT_EQ(packet[0], 0x47) << "a transport stream";
}

TEST_F(Targets, PercentSignsAndRelativeFolders) {
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(folder_.path());
  std::filesystem::create_directory("d%03d");
  EXPECT_EQ(
      Record("d%03d/a.mov", "video::codec=mpeg4 audio::codec=null save_packets=true", kSmall, 5),
      S_OK);
  EXPECT_EQ(Record("b%03d.jpg", "format=image2 video::codec=mjpeg", kSmall, 5), S_OK);
  EXPECT_EQ(Record("x.jpg", "format=image2 create_folder=false", kSmall, 2), S_OK);
  std::filesystem::current_path(before);
  EXPECT_EQ(Probe(folder_ / "d%03d/a.mov").Pictures().frames, 5);
  EXPECT_TRUE(std::filesystem::exists(folder_ / "d%03d/a0000004.mov"));
  EXPECT_TRUE(std::filesystem::exists(folder_ / "b/b004.jpg"));
  EXPECT_EQ(Probe(folder_ / "x0000001.jpg").Pictures().codec, "mjpeg");
}

TEST_F(Targets, SideFilesThatFailAreCountedAndNamed) {
  ASSERT_EQ(writer_.Start(folder_ / "a.mkv", kCodecs + ("raw_video=" + folder_ / "no/v.bin") +
                                                 " raw_audio=" + folder_ / "no/a.bin"),
            S_OK);
  EXPECT_EQ(PushFrames(writer_, kSmall, 25), S_OK);
  EXPECT_TRUE(Failed(writer_.Stop())) << "it tells of the dumps";
  EXPECT_GT(writer_.Stats().sideFileErrors, 25);
  EXPECT_THAT(writer_.LastError(), testing::HasSubstr("raw_"));
  EXPECT_EQ(Probe(folder_ / "a.mkv").Pictures().frames, 25);
  // A device stays a device.
  const std::string paths[][2] = {{"scc", "/dev/full"}, {"anc", folder_ / "no/a.anc"}};
  for (const auto& [kind, path] : paths) {
    ASSERT_EQ(writer_.Start(folder_ / "b.mkv", std::string(kCodecs) + kind + "_capture=true " +
                                                   kind + "_path=" + path + " cc_max_skip=0"),
              S_OK);
    for (int i = 0; i < 6; ++i) {
      const auto frame = MakeFrame(kSmall, i);
      static constexpr std::uint32_t kPair = 0x2094;
      if (i % 2 == 0) (void)host::AddExtra(frame, FourCC("C608"), &kPair, sizeof(kPair));
      EXPECT_EQ(writer_.Put(frame), S_OK) << kind;
    }
    EXPECT_TRUE(Failed(writer_.Stop())) << kind;
    EXPECT_EQ(writer_.Stats().sideFileErrors, 3) << kind;
    EXPECT_THAT(writer_.LastError(), testing::StartsWith(kind + ": " + path));
  }
  EXPECT_TRUE(std::filesystem::is_character_file("/dev/full"));
}

TEST_F(Targets, SoundOfAnotherFormatGoesOnInAFurtherWavFile) {
  Feed feed = kSmall;
  ASSERT_EQ(writer_.Start(folder_ / "a.mkv", "video::codec=mpeg4 audio::codec=WAV_FILE"), S_OK);
  EXPECT_EQ(PushFrames(writer_, feed, 10), S_OK);
  feed.channels = 6;
  EXPECT_EQ(PushFrames(writer_, feed, 5, 10), S_OK);
  EXPECT_EQ(writer_.Stop(), S_OK);
  EXPECT_THAT(writer_.LastError(), testing::HasSubstr("a.2.wav"));
  const ProbedFile first = Probe(folder_ / "a.wav"), second = Probe(folder_ / "a.2.wav");
  EXPECT_EQ(first.Sound().channels, 2);
  EXPECT_EQ(first.Sound().samples, 10 * 1920);
  EXPECT_EQ(second.Sound().channels, 6);
  EXPECT_EQ(second.Sound().samples, 5 * 1920);
}

}  // namespace
}  // namespace xv::test
