#include <gmock/gmock.h>

#include <csignal>
#include <fstream>
#include <map>
#include <thread>

#include "growing/growing_files.h"
#include "growing/index.h"
#include "growing/recovery.h"
#include "support/fixtures.h"
#include "support/media_probe.h"
#include "support/peer_process.h"

// Recordings as xvfollow finds them: at work, cut off early, with sound alone.
namespace xv::test {
namespace {

using Xvfollow = WithWriter;

using testing::HasSubstr;

const std::string kFollow = XVFOLLOW;
constexpr double kPatience = 20;  // seconds

constexpr char kMpeg[] = "video::codec=mpeg2video audio::codec=pcm_s16le ";
constexpr char kH264[] =
    "video::codec=libx264 video::preset=ultrafast video::g=12 audio::codec=aac ";

std::vector<IndexRecord> ReadRecords(const std::string& index) {
  std::vector<IndexRecord> records;
  IndexReader reader;
  if (reader.Open(index).Failed()) return records;
  IndexRecord record;
  while (reader.Next(&record) == Status(S_OK)) records.push_back(record);
  return records;
}

constexpr Feed kSmall{.width = 320, .height = 240};

// Several times faster than the clock, with a growing index beside it.
void PushSlowly(host::Writer& writer, int count, int first) {
  for (int i = first; i < first + count; ++i) {
    ASSERT_EQ(writer.Put(MakeFrame(kSmall, i)), S_OK) << writer.LastError();
    std::this_thread::sleep_for(std::chrono::milliseconds(6));
  }
}

std::uintmax_t SizeOf(const std::string& path) {
  std::error_code error;
  const auto size = std::filesystem::file_size(path, error);
  return error ? 0 : size;
}

struct Container {
  const char* name;  // of the recording
  std::string attributes;
};

void PrintTo(const Container& container, std::ostream* out) {
  *out << container.name << ' ' << container.attributes;
}

std::string CopyName(const Container& container) {
  return "copy." + std::string(container.name).substr(2);
}

// What a writer that died now would leave: every packet that its index tells of can be rescued. The
// index is copied ahead of the recording, as nothing else keeps it behind that.
void ExpectRescued(const std::string& from, const Container& container) {
  const TemporaryFolder folder;
  const std::string recording = folder / container.name, copy = folder / CopyName(container);
  ASSERT_TRUE(Eventually(kPatience, [&] { return !ReadRecords(IndexPath(from)).empty(); }));
  for (const auto path : {IndexPath, HeaderPath, RecoveryPath}) {
    if (std::filesystem::exists(path(from)))
      std::filesystem::copy_file(path(from), path(recording));
  }
  std::filesystem::copy_file(from, recording);
  const auto records = ReadRecords(IndexPath(recording));
  const auto pictures = std::ranges::count(records, 0U, &IndexRecord::stream);
  const auto run = RunProgram({kFollow, "--copy", copy, recording});
  ASSERT_EQ(run.status, 0) << run.err;
  const ProbedFile probed = Probe(copy);
  EXPECT_EQ(probed.Sound().errors, 0);
  if (probed.Count(AVMEDIA_TYPE_VIDEO) == 0) return;
  EXPECT_EQ(probed.Pictures().errors, 0);
  EXPECT_LE(probed.Pictures().frames, pictures);
  // Matroska writes whole clusters, so that its index is ahead of the file.
  EXPECT_GE(probed.Pictures().frames, copy.ends_with("mkv") ? 1 : pictures - 1);
  EXPECT_NEAR(probed.Sound().seconds, probed.Pictures().seconds, 0.25);
}

class FollowedRecording : public testing::TestWithParam<Container> {};

TEST_P(FollowedRecording, CopyGrowsAlongAndIsCompleteAtTheEnd) {
  constexpr int kBefore = 20, kHalf = 80, kAll = 150;
  TemporaryFolder folder;
  const std::string recording = folder / GetParam().name;
  const std::string copy = folder / CopyName(GetParam());
  host::Writer writer;
  ASSERT_EQ(writer.Start(recording, "play_while_rec=true " + GetParam().attributes), S_OK);
  PushSlowly(writer, kBefore, 0);
  // Where there is a header file, it is not complete yet.
  EXPECT_EQ(std::filesystem::exists(HeaderPath(recording)), !recording.ends_with(".ts"));
  if (!recording.ends_with(".mkv")) ExpectRescued(recording, GetParam());
  PeerProcess follower({kFollow, "--follow", "--copy", copy, recording}, folder / "log");
  PushSlowly(writer, kHalf - kBefore, kBefore);
  ASSERT_TRUE(Eventually(kPatience, [&] { return SizeOf(copy) > 0; })) << folder.Read("log");
  const std::uintmax_t half = SizeOf(copy);
  ExpectRescued(recording, GetParam());
  PushSlowly(writer, kAll - kHalf, kHalf);
  EXPECT_TRUE(Eventually(kPatience, [&] { return SizeOf(copy) > half; }));
  EXPECT_FALSE(follower.WaitForEnd(0));
  EXPECT_EQ(writer.Stop(), S_OK);
  ASSERT_TRUE(follower.WaitForEnd(kPatience));
  EXPECT_EQ(follower.ExitStatus(), 0);
  EXPECT_THAT(folder.Read("log"), HasSubstr("The recording is closed."));
  const ProbedFile original = Probe(recording), copied = Probe(copy);
  ASSERT_EQ(copied.streams.size(), original.streams.size());
  for (std::size_t i = 0; i < copied.streams.size(); ++i) {
    EXPECT_EQ(copied.streams[i].codec, original.streams[i].codec);
    EXPECT_EQ(copied.streams[i].errors, 0);
    EXPECT_EQ(copied.streams[i].frames, original.streams[i].frames);
    EXPECT_EQ(copied.streams[i].samples, original.streams[i].samples);
  }
  if (copied.Count(AVMEDIA_TYPE_VIDEO) > 0) {
    EXPECT_EQ(copied.Pictures().frames, kAll);
  }
  EXPECT_NEAR(copied.Sound().seconds, kAll / 25.0, 0.05);
}

const std::string kSoundAlone = "video::enabled=false audio::codec=";
// The data moves at the close, while the follower reads on.
const std::string kMoved = std::string("movflags=faststart ") + kMpeg;

INSTANTIATE_TEST_SUITE_P(Containers, FollowedRecording,
                         testing::Values(Container{"a.mov", kMpeg}, Container{"a.mov", kMoved},
                                         Container{"a.mp4", kH264}, Container{"a.avi", kMpeg},
                                         Container{"a.mxf", kMpeg}, Container{"a.mkv", kH264},
                                         Container{"a.ts",
                                                   "video::codec=mpeg2video audio::codec=mp2"},
                                         Container{"a.mov", kSoundAlone + "pcm_s24le"},
                                         Container{"a.mp4", kSoundAlone + "aac"},
                                         Container{"a.ts", kSoundAlone + "mp2"}));

// The writer died between its last two steps: index and header file are gone, the note is not.
TEST(ClosedRecording, IsReadAsItLiesUnderALeftNote) {
  TemporaryFolder folder;
  const std::string recording = folder / "a.mov";
  host::Writer writer;
  ASSERT_EQ(writer.Start(recording, "play_while_rec=true " + kMoved), S_OK);
  ASSERT_EQ(PushFrames(writer, kSmall, 40), S_OK);
  std::filesystem::create_hard_link(RecoveryPath(recording), folder / "kept");
  EXPECT_EQ(writer.Stop(), S_OK);
  std::filesystem::rename(folder / "kept", RecoveryPath(recording));
  const std::string copy = folder / "copy.mov";
  for (const auto& command : {std::vector<std::string>{kFollow, "--copy", copy, recording},
                              {kFollow, "--follow", "--copy", copy, recording}}) {
    const auto copied = RunProgram(command);
    EXPECT_EQ(copied.status, 0) << copied.err;
    EXPECT_EQ(Probe(copy).Pictures().frames, 40) << command.size();
  }
}

class IndexedRecording : public testing::TestWithParam<Container> {};

TEST_P(IndexedRecording, RecordsNameEveryByteOfPicturesAndSound) {
  TemporaryFolder folder;
  const std::string recording = folder / GetParam().name;
  host::Writer writer;
  ASSERT_EQ(writer.Start(recording,
                         "play_while_rec=true start_timecode=disabled " + GetParam().attributes),
            S_OK);
  ASSERT_EQ(PushFrames(writer, kSmall, 40), S_OK);
  // A second name keeps the index over the end of the recording.
  std::filesystem::create_hard_link(IndexPath(recording), folder / "kept.idx");
  ASSERT_EQ(PushFrames(writer, kSmall, 35, 40), S_OK);
  EXPECT_EQ(writer.Stop(), S_OK);
  ASSERT_FALSE(std::filesystem::exists(IndexPath(recording)));
  const std::string file = folder.Read(GetParam().name);
  std::map<int, std::string> indexed;
  std::map<int, std::uint32_t> number;
  std::string keys;  // of the pictures
  for (const IndexRecord& record : ReadRecords(folder / "kept.idx")) {
    EXPECT_EQ(record.frameNumber, number[record.stream]++);
    if (record.stream == 0) keys += record.key ? 'K' : '-';
    ASSERT_LE(static_cast<std::size_t>(record.position) + record.size, file.size());
    indexed[record.stream] += file.substr(static_cast<std::size_t>(record.position), record.size);
  }
  const ProbedFile probed = Probe(recording);
  ASSERT_FALSE(probed.streams.empty());
  if (probed.Count(AVMEDIA_TYPE_VIDEO) > 0) {
    EXPECT_EQ(keys, probed.Pictures().keys);
  }
  ASSERT_EQ(indexed.size(), probed.streams.size());
  for (const auto& [stream, payload] : indexed) {
    // Readers cut sound into pieces of their own.
    const std::string demuxed = probed.streams.at(static_cast<std::size_t>(stream)).Bytes();
    EXPECT_GT(payload.size(), 1000u) << stream;
    EXPECT_TRUE(payload == demuxed)
        << stream << ": " << payload.size() << " bytes of " << demuxed.size();
  }
}

const std::string kLowLevel = "play_while_rec.low_level_io=true ";

INSTANTIATE_TEST_SUITE_P(
    Containers, IndexedRecording,
    testing::Values(Container{"a.mov", kMpeg}, Container{"a.mov", kLowLevel + kMpeg},
                    Container{"a.mp4", kH264}, Container{"a.mp4", kLowLevel + kH264},
                    Container{"a.avi", kMpeg}, Container{"a.avi", kLowLevel + kMpeg},
                    Container{"a.mxf", kMpeg}, Container{"a.mov", kSoundAlone + "pcm_s16le"},
                    Container{"a.mov", "video::codec=rawvideo"}));

TEST_F(Xvfollow, SaysWhatIsWrong) {
  const auto missing = RunProgram({kFollow, folder_ / "none.mov"});
  EXPECT_EQ(missing.status, 1);
  EXPECT_THAT(missing.err, HasSubstr("There is no file"));
  const std::string noise = folder_.Write("noise.mov", "no recording");
  EXPECT_EQ(RunProgram({kFollow, noise}).status, 1);
  const auto itself = RunProgram({kFollow, "--copy", noise, noise});
  EXPECT_EQ(itself.status, 1);
  EXPECT_EQ(folder_.Read("noise.mov"), "no recording");
  EXPECT_EQ(RunProgram({kFollow}).status, 2);
}

TEST_F(Xvfollow, SaysThatNoStreamHasPacketsYet) {
  const std::string recording = folder_ / "a.mp4";
  // The encoder looks some forty pictures ahead, and the sound waits for them.
  const std::string ahead = "play_while_rec=true video::codec=libx264 audio::codec=aac";
  ASSERT_EQ(writer_.Start(recording, ahead), S_OK);
  ASSERT_EQ(PushFrames(writer_, kSmall, 30), S_OK);
  const auto told = RunProgram({kFollow, recording});
  EXPECT_EQ(told.out,
            "stream 0: video h264, no packets yet\nstream 1: audio aac, no packets yet\n"
            "The recording has no proper end yet.\n")
      << told.err;
  ASSERT_EQ(writer_.Stop(), S_OK);
  // Without a note the header file alone tells the streams.
  ASSERT_EQ(writer_.Start(recording, ahead + " recovery=false"), S_OK);
  ASSERT_EQ(PushFrames(writer_, kSmall, 30), S_OK);
  const auto early = RunProgram({kFollow, recording});
  EXPECT_EQ(early.status, 1);
  EXPECT_THAT(early.err,
              HasSubstr("more than 25 frames and a packet of each stream. No stream has"));
}

TEST_F(Xvfollow, SaysThatAnIndexIsEmpty) {
  const std::string recording = folder_ / "b.mov";
  ASSERT_EQ(writer_.Start(recording, std::string("play_while_rec=true ") + kMpeg), S_OK);
  PushSlowly(writer_, 40, 0);
  ASSERT_TRUE(Eventually(kPatience, [&] { return Probe(HeaderPath(recording)).opened; }));
  std::filesystem::create_directory(folder_ / "cut");
  const std::string cut = folder_ / "cut/b.mov";
  std::filesystem::copy_file(recording, cut);
  std::filesystem::copy_file(HeaderPath(recording), HeaderPath(cut));
  // The head alone: four bytes of magic, then what its first number counts.
  const std::string index = folder_.Read("b.mov.idx");
  const auto head = 4 + static_cast<std::size_t>(static_cast<unsigned char>(index.at(4)));
  std::ofstream(IndexPath(cut), std::ios::binary) << index.substr(0, head);
  const auto shown = RunProgram({kFollow, cut});
  EXPECT_EQ(shown.status, 0) << shown.err;
  EXPECT_EQ(shown.out,
            "stream 0: video mpeg2video, no packets yet\n"
            "stream 1: audio pcm_s16le, no packets yet\n"
            "The recording has no proper end yet.\n");
  const auto copied = RunProgram({kFollow, "--copy", folder_ / "c.mov", cut});
  EXPECT_EQ(copied.status, 1);
  EXPECT_THAT(copied.err, HasSubstr("no complete packet yet"));
}

TEST_F(Xvfollow, CopyKeepsTheTagWhereTheContainerKnowsIt) {
  const std::string recording = folder_ / "a.mp4";
  ASSERT_EQ(Record(recording, std::string(kH264) + " video::vtag=avc3", kSmall, 10), S_OK);
  const auto tag = Probe(recording).Pictures().tag;
  ASSERT_EQ(tag, MKTAG('a', 'v', 'c', '3'));
  for (const auto& [name, expected] : {std::pair{"b.mp4", tag}, {"b.mkv", 0u}}) {
    ASSERT_EQ(RunProgram({kFollow, "--copy", folder_ / name, recording}).status, 0);
    EXPECT_EQ(Probe(folder_ / name).Pictures().tag, expected) << name;
  }
}

TEST_F(Xvfollow, InterruptLeavesAPlayableCopy) {
  const std::string copy = folder_ / "copy.mov";
  ASSERT_EQ(writer_.Start(folder_ / "a.mov", std::string("play_while_rec=true ") + kMpeg), S_OK);
  PushSlowly(writer_, 60, 0);
  PeerProcess follower({kFollow, "--follow", "--copy", copy, folder_ / "a.mov"}, folder_ / "log");
  // Some twenty-five frames: the sound of each is 7,680 bytes.
  ASSERT_TRUE(Eventually(kPatience, [&] { return SizeOf(copy) > 250'000; }));
  follower.Send(SIGINT);
  ASSERT_TRUE(follower.WaitForEnd(kPatience));
  EXPECT_EQ(follower.ExitStatus(), 0);
  EXPECT_GE(Probe(copy).Pictures().frames, 20);
  EXPECT_EQ(Probe(copy).Pictures().errors, 0);
}

}  // namespace
}  // namespace xv::test
