#include <gmock/gmock.h>
#include <sys/mount.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <thread>

#include "support/fixtures.h"
#include "support/media_probe.h"

namespace xv::test {
namespace {

using Faults = WithWriter;

#ifdef XV_SANITIZED
constexpr int kCycles = 40;
#else
constexpr int kCycles = 1000;
#endif

constexpr Feed kNoisy{.width = 640, .height = 360, .timecode = false};

// Noise that no encoder makes small, so that buffers and disks fill.
host::Ptr<IXvFrame> NoiseFrame(int number) {
  constexpr int kDistinct = 5;
  static const auto noise = [] {
    std::vector<std::shared_ptr<std::vector<std::uint8_t>>> pictures;
    std::uint32_t state = 1;
    for (int i = 0; i < kDistinct; ++i) {
      pictures.push_back(std::make_shared<std::vector<std::uint8_t>>(640 * 360 * 2));
      for (auto& b : *pictures.back())
        b = static_cast<std::uint8_t>((state = state * 1664525 + 1013904223) >> 24);
    }
    return pictures;
  }();
  return MakeFrame(kNoisy, number, noise[static_cast<std::size_t>(number % kDistinct)]);
}

// A file system of a few megabytes; needs the right to mount.
class SmallDisk {
 public:
  explicit SmallDisk(int megabytes) {
    mounted_ = ::mount("tmpfs", folder_.Path().c_str(), "tmpfs", 0,
                       ("size=" + std::to_string(megabytes) + "m").c_str()) == 0;
  }
  ~SmallDisk() {
    if (mounted_) ::umount2(folder_.Path().c_str(), MNT_DETACH);
  }
  bool mounted() const { return mounted_; }
  bool MakeReadOnly() const {
    return ::mount(nullptr, folder_.Path().c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr) == 0;
  }
  std::string operator/(const std::string& name) const { return folder_ / name; }

 private:
  TemporaryFolder folder_;
  bool mounted_;
};

// Streams of unlike rates, so that packets wait in the muxers; pictures out of order.
constexpr std::pair<const char*, const char*> kFullDisk[] = {
    {"a.mov", "video::codec=rawvideo"},
    {"b.mov", "video::codec=libx264 video::b=60M audio::codec=mp2 movflags=faststart"},
    {"a.mp4", "video::codec=libx264 video::b=60M play_while_rec=true"},
    {"a.mkv", "video::codec=mpeg2video video::bf=2 video::b=60M audio::codec=mp2"},
    {"a.avi", "video::codec=mpeg4 video::bf=2 video::b=60M audio::codec=mp2"},
    {"a.mxf", "video::codec=mpeg2video video::bf=2 video::b=60M"},
    {"a.ts", "video::codec=mpeg2video video::bf=2 video::b=60M audio::codec=mp2"},
    {"a.m2v", "video::codec=mpeg2video video::bf=2 video::b=60M audio::codec=null"}};

// Fills the disk but for `bytes`.
void Fill(const SmallDisk& disk, std::uintmax_t bytes) {
  const std::uintmax_t free = std::filesystem::space(disk / "").available;
  if (free > bytes) std::ofstream(disk / "filler") << std::string(free - bytes, 'x');
}

TEST_F(Faults, FullDiskKeepsWhatWasWrittenPlayable) {
  constexpr int kLessThanTheDiskWatchLooksAt = 28;
  for (const auto& [target, attributes] : kFullDisk) {
    SCOPED_TRACE(std::string(target) + " " + attributes);
    const SmallDisk disk(24);
    if (!disk.mounted()) GTEST_SKIP() << "no right to mount";
    host::Writer writer;
    ASSERT_EQ(writer.Start(disk / target, attributes), S_OK);
    HRESULT result = S_OK;
    for (int i = 0; i < kLessThanTheDiskWatchLooksAt && Succeeded(result); ++i) {
      if (i == 3) Fill(disk, 1 << 20);
      result = writer.Put(NoiseFrame(i));
    }
    EXPECT_EQ(writer.Stop(), XV_E_DISK_FULL);
    EXPECT_THAT(writer.LastError(), testing::HasSubstr("0x80070070"));
    const ProbedFile file = Probe(disk / target);
    const auto told = writer.Stats().streams;
    EXPECT_GE(file.Pictures().frames, 1);
    EXPECT_EQ(file.Pictures().errors, 0);
    EXPECT_EQ(static_cast<std::int64_t>(file.Pictures().packets.size()), told.at(0).packets);
    if (told.size() < 2) continue;
    EXPECT_EQ(file.Sound().errors, 0);
    // Mxf lays sound beside pictures: what goes beyond the last one has no place.
    if (target == std::string("a.mxf")) continue;
    EXPECT_EQ(static_cast<std::int64_t>(file.Sound().Bytes().size()), told.at(1).bytes);
  }
}

// Thousands of pictures, whose table finds the room that is held back.
TEST_F(Faults, DiskThatSomebodyElseFillsHasRoomForTheTrailer) {
  const SmallDisk disk(64);
  if (!disk.mounted()) GTEST_SKIP() << "no right to mount";
  ASSERT_EQ(writer_.Start(disk / "a.mov", "video::codec=rawvideo diskspace.min=10M"), S_OK);
  ASSERT_EQ(PushFrames(writer_, {.width = 64, .height = 48, .channels = 0}, 3000), S_OK);
  std::ofstream(disk / "filler") << std::string(64 << 20, 'x');
  const HRESULT stopped = writer_.Stop();
  EXPECT_TRUE(stopped == S_OK || stopped == XV_E_DISK_FULL) << writer_.LastError();
  EXPECT_GT(Probe(disk / "a.mov").Pictures().frames, 2500);
}

TEST_F(Faults, FailingSecondOutputLeavesTheMainOneAlone) {
  const Feed feed{.width = 1280, .height = 720, .channels = 1};
  const std::string common =
      "video::codec=mpeg2video video::threads=1 audio::codec=mp2 start_timecode=10:00:00:00 ";
  ASSERT_EQ(Record(folder_ / "alone.ts", common, feed, 60), S_OK);
  ASSERT_EQ(Record(writer_, folder_ / "both.ts",
                   common + "second_encoder=/dev/full second_encoder::format=mpegts", feed, 60),
            XV_E_DISK_FULL)
      << "each frame was taken, the stop tells";
  EXPECT_THAT(writer_.LastError(), testing::HasSubstr("second output"));
  EXPECT_TRUE(folder_.Read("alone.ts") == folder_.Read("both.ts"));
  ASSERT_EQ(Record(writer_, folder_ / "third.ts",
                   common + "second_encoder=" + (folder_ / "no/such.mp4"), feed, 10),
            XV_E_FILE_NOT_FOUND);
  EXPECT_THAT(writer_.LastError(), testing::HasSubstr("second output"));
}

TEST_F(Faults, AFailedTrailerLeavesTheSideFilesOfAGrowingRecording) {
  ASSERT_EQ(writer_.Start(folder_ / "a.mov", "play_while_rec=true video::codec=rawvideo"), S_OK);
  ASSERT_EQ(PushFrames(writer_, {.width = 320, .height = 240}, 40), S_OK);
  {
    const FileSizeLimit full(1 << 20);
    EXPECT_TRUE(Failed(writer_.Stop()));
  }
  EXPECT_TRUE(std::filesystem::exists(folder_ / "a.mov.idx"));
  EXPECT_TRUE(std::filesystem::exists(folder_ / "a.hdr.mov"));
}

// The folder goes away with the recording and its index: what is open is written to its end,
// nothing appears anew, and the next recording finds its folder missing.
TEST_F(Faults, TargetThatVanishesHarmsNobody) {
  const std::string inner = folder_ / "inner";
  const std::string target = inner + "/a.mov";
  std::filesystem::create_directory(inner);
  ASSERT_EQ(writer_.Start(target, "play_while_rec=true video::codec=mpeg2video"), S_OK);
  ASSERT_EQ(PushFrames(writer_, Feed(), 10), S_OK);  // too few for the header file to be finished
  std::filesystem::remove_all(inner);
  EXPECT_EQ(PushFrames(writer_, Feed(), 50, 10), S_OK);
  EXPECT_EQ(writer_.Stop(), XV_E_FILE_NOT_FOUND) << "of the header file";
  EXPECT_EQ(writer_.Get("quality::packets.0"), "60");
  EXPECT_FALSE(std::filesystem::exists(inner));
  ASSERT_EQ(writer_.Start(target, "video::codec=mpeg2video"), S_OK);
  EXPECT_EQ(writer_.Put(MakeFrame(Feed(), 0)), E_FAIL);
  EXPECT_THAT(writer_.LastError(), testing::HasSubstr("output"));
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

TEST_F(Faults, StartAndStopGrowNothing) {
  const Feed feed{.width = 64, .height = 48};
  const std::string sessions[][2] = {
      {"a.mp4", "video::codec=mpeg4"},
      {"a.mov", "play_while_rec=true video::codec=mpeg2video audio::codec=pcm_s16le"},
      {"a.mkv", "video.buffers=0 video::codec=libx264 video::preset=ultrafast"},
      {"a.avi", "video::codec=mpeg4 audio::codec=mp2 second_encoder=" + (folder_ / "b.ts")}};
  auto writer = std::make_unique<host::Writer>();
  const auto cycle = [&](int i) {
    const auto& [name, attributes] = sessions[i % 4];
    if (i % 10 == 0) writer = std::make_unique<host::Writer>();
    ASSERT_EQ(writer->Start(folder_ / name, attributes), S_OK);
    ASSERT_EQ(PushFrames(*writer, feed, 2), S_OK);
    (void)writer->Stop();
    ASSERT_EQ(writer->LastError(), "");
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

TEST_F(Faults, AFolderThatTakesNoFileIsToldByItsName) {
  const SmallDisk disk(1);
  if (!disk.mounted() || !disk.MakeReadOnly()) GTEST_SKIP() << "needs the right to mount";
  host::Writer writer;
  ASSERT_EQ(writer.Start(disk / "a.mov", "video::codec=mpeg4 play_while_rec=true"), S_OK);
  EXPECT_EQ(writer.Put(NoiseFrame(0)), E_FAIL);
  EXPECT_THAT(writer.LastError(), testing::AllOf(testing::HasSubstr(disk / "a.mov"),
                                                 testing::HasSubstr("Permission denied")));
}

// The open file goes on under its folder's next name.
TEST_F(Faults, AFolderThatVanishesCostsNothing) {
  std::filesystem::create_directory(folder_ / "here");
  host::Writer writer;
  ASSERT_EQ(writer.Start(folder_ / "here/a.mov", "video::codec=mpeg4"), S_OK);
  ASSERT_EQ(PushFrames(writer, Feed(), 40), S_OK);
  std::filesystem::rename(folder_ / "here", folder_ / "there");
  ASSERT_EQ(PushFrames(writer, Feed(), 40, 40), S_OK);
  EXPECT_EQ(writer.Stop(), S_OK);
  const ProbedStream pictures = Probe(folder_ / "there/a.mov").Pictures();
  EXPECT_EQ(pictures.frames, 80);
  EXPECT_EQ(pictures.errors, 0);
}

// Files that the muxer opens by itself: no signal ends the process, the stop tells.
TEST_F(Faults, AFileOfTheMuxersOwnThatOutgrowsTheLimitIsAFailure) {
  const FileSizeLimit limit(30'000);
  const auto before = std::signal(SIGXFSZ, SIG_DFL);
  for (const char* name : {"a.m3u8", "a.mpd"}) {
    host::Writer writer;
    ASSERT_EQ(writer.Start(folder_ / name, "video::codec=mpeg4 video::b=4M"), S_OK);
    HRESULT result = S_OK;
    for (int i = 0; i < 50 && Succeeded(result); ++i) result = writer.Put(NoiseFrame(i));
    const HRESULT stopped = writer.Stop();
    EXPECT_TRUE(Failed(result) || Failed(stopped)) << name;
  }
  (void)std::signal(SIGXFSZ, before);
}

// No lock of the process lies on a frame's way: writers of unlike codecs take the same frames on
// threads of their own, each another run of levels, so that a picture in the wrong recording shows.
TEST_F(Faults, EightWritersSideBySideTakeTheSameFrames) {
  constexpr std::size_t kFrames = 40;
  const char* const codecs[] = {"libx264 video::preset=ultrafast", "mpeg2video", "prores",
                                "mpeg4 video::size=360x288P",      "ffv1",       "v210",
                                "rawvideo video.buffers=0",        "mpeg4"};
  std::vector<host::Ptr<IXvFrame>> frames;
  for (int i = 0; i < 48; ++i) frames.push_back(MakeFrame(Feed(), i));
  std::vector<std::thread> hosts;
  for (std::size_t n = 0; n < std::size(codecs); ++n) {
    hosts.emplace_back([&, n] {
      host::Writer writer;
      const std::string target = folder_ / (std::to_string(n) + ".mov");
      EXPECT_EQ(writer.Start(target, std::string("video::codec=") + codecs[n]), S_OK);
      for (std::size_t k = 0; k < kFrames; ++k) EXPECT_EQ(writer.Put(frames[n + k]), S_OK);
      EXPECT_EQ(writer.Stop(), S_OK) << codecs[n] << writer.LastError();
    });
  }
  for (std::thread& host : hosts) host.join();
  for (std::size_t n = 0; n < std::size(codecs); ++n) {
    const ProbedFile file = Probe(folder_ / (std::to_string(n) + ".mov"));
    ASSERT_EQ(file.Pictures().lumaMeans.size(), kFrames) << codecs[n];
    EXPECT_EQ(file.Pictures().errors + file.Sound().errors, 0) << codecs[n];
    EXPECT_NEAR(file.Sound().seconds, 1.6, 0.05) << codecs[n];
    for (std::size_t k = 0; k < kFrames; ++k) {
      EXPECT_NEAR(file.Pictures().lumaMeans[k], 40 + 5 * ((k + n) % 32), 3) << codecs[n] << k;
    }
  }
}

}  // namespace
}  // namespace xv::test
