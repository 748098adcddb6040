#include <gmock/gmock.h>

#include <algorithm>
#include <csignal>
#include <fstream>

#include "growing/growing_files.h"
#include "growing/index.h"
#include "platform/whole_file.h"
#include "support/host_frames.h"
#include "support/media_probe.h"
#include "support/peer_process.h"
#include "support/run_program.h"

namespace xv::test {
namespace {

using testing::HasSubstr;

const std::string kRecord = XVRECORD;
const std::string kFollow = XVFOLLOW;
constexpr int kWantedFrames = 60;
constexpr double kPatience = 60;  // seconds

std::vector<std::string> RecordCommand(const std::string& attributes, const std::string& input,
                                       const std::string& output) {
  return {kRecord, "--quiet", "-a", attributes, input, output};
}

std::vector<IndexRecord> ReadRecords(const std::string& recording) {
  std::vector<IndexRecord> records;
  IndexReader index;
  if (index.Open(IndexPath(recording)).Failed()) return records;
  IndexRecord record;
  while (index.Next(&record) == Status(S_OK)) records.push_back(record);
  return records;
}

std::size_t CountOf(const std::vector<IndexRecord>& records, int stream) {
  return static_cast<std::size_t>(std::count_if(
      records.begin(), records.end(), [&](const IndexRecord& r) { return r.stream == stream; }));
}

// Records in real time until there are some sixty pictures, then the writer dies without a word.
void RecordAndKill(const std::string& attributes, const std::string& output) {
  PeerProcess writer({kRecord, "--quiet", "--realtime", "-a", "play_while_rec=true " + attributes,
                      "test:size=320x240,seconds=120", output},
                     output + ".log");
  EXPECT_TRUE(
      Eventually(kPatience, [&] { return CountOf(ReadRecords(output), 0) >= kWantedFrames; }));
  writer.Send(SIGKILL);
  ASSERT_TRUE(writer.WaitForEnd(kPatience));
  ASSERT_EQ(writer.ExitStatus(), 128 + SIGKILL) << "the recording ended by itself";
}

TEST(GrowingIndex, HasTheDocumentedBytes) {
  TemporaryFolder folder;
  const std::string target = folder / "\xC3\xA4.mov";
  GrowingIndex index;
  ASSERT_FALSE(index.Create(target, true).Failed());
  const IndexRecord record{0x0102030405060708, AV_NOPTS_VALUE, -2, 0x11121314, 7, 3, 1, 0x40, true};
  ASSERT_FALSE(index.Append(record, true).Failed());
  const std::string name = std::string("\xE4\0.\0m\0o\0v\0", 10);
  const std::string expected = std::string("XIDX\x20\0\0\0\x0A\0\0\0", 12) + name +
                               std::string("\x0A\0\0\0", 4) + name +
                               std::string(
                                   "\x08\x07\x06\x05\x04\x03\x02\x01"
                                   "\0\0\0\0\0\0\0\x80"
                                   "\xFE\xFF\xFF\xFF\xFF\xFF\xFF\xFF"
                                   "\x14\x13\x12\x11"
                                   "\x07\0\0\0"
                                   "\x03\0"
                                   "\x01\0"
                                   "\x40\0\0\x80",
                                   40);
  EXPECT_EQ(folder.Read("\xC3\xA4.mov.idx"), expected);
}

TEST(GrowingIndex, ReaderWaitsForAWholeRecord) {
  TemporaryFolder folder;
  const std::string target = folder / "a.ts";
  GrowingIndex index;
  ASSERT_FALSE(index.Create(target, false).Failed());
  IndexReader reader;
  ASSERT_FALSE(reader.Open(IndexPath(target)).Failed());
  EXPECT_EQ(reader.firstName(), "a.ts");
  EXPECT_FALSE(reader.hasHeaderFile());
  IndexRecord record;
  EXPECT_EQ(reader.Next(&record), Status(S_FALSE));
  const auto bytes = EncodeIndexRecord({1, 2, 3, 4, 5, 6, 7, 8, true});
  std::ofstream file(IndexPath(target), std::ios::binary | std::ios::app);
  file.write(reinterpret_cast<const char*>(bytes.data()), 39).flush();
  EXPECT_EQ(reader.Next(&record), Status(S_FALSE));
  file.write(reinterpret_cast<const char*>(bytes.data()) + 39, 1).flush();
  EXPECT_EQ(reader.Next(&record), Status(S_OK));
  EXPECT_EQ(record.stream, 7);
  EXPECT_EQ(record.duration, 8u);
  EXPECT_TRUE(record.key);
}

TEST(GrowingIndex, ReaderRefusesOtherFilesAndCutHeads) {
  TemporaryFolder folder;
  IndexReader reader;
  const std::string head("XIDX\x10\0\0\0\x04\0\0\0a\0", 14);
  for (const std::string& text : {std::string("RIFF12345678"), std::string("XIDX"), head,
                                  std::string("XIDX\xFF\xFF\xFF\xFF\0\0\0\0", 12),
                                  std::string("XIDX\x0C\0\0\0\xFF\0\0\0\0\0\0\0", 16)}) {
    EXPECT_TRUE(reader.Open(folder.Write("a.idx", text)).Failed()) << text;
  }
}

struct Container {
  const char* name;
  const char* attributes;
  bool headerFile;
};

void PrintTo(const Container& container, std::ostream* out) {
  *out << container.name << ' ' << container.attributes;
}

class KilledRecording : public testing::TestWithParam<Container> {};

TEST_P(KilledRecording, LeavesSideFilesAndEveryCompletePacket) {
  const Container& container = GetParam();
  TemporaryFolder folder;
  const std::string output = folder / container.name;
  RecordAndKill(container.attributes, output);
  const std::vector<IndexRecord> records = ReadRecords(output);
  ASSERT_GE(CountOf(records, 0), static_cast<std::size_t>(kWantedFrames));
  EXPECT_EQ(FileExists(HeaderPath(output)), container.headerFile);

  const std::string copy = folder / ("copy." + std::string(container.name).substr(2));
  const auto copied = RunProgram({kFollow, "--copy", copy, output});
  ASSERT_EQ(copied.status, 0) << copied.err;
  const ProbedFile probed = Probe(copy);
  ASSERT_TRUE(probed.Video() != nullptr && probed.Audio() != nullptr);
  EXPECT_EQ(probed.Video()->errors + probed.Audio()->errors, 0);
  // Matroska writes whole clusters, so that its index is ahead of the file.
  const bool clusters = std::string(container.name) == "a.mkv";
  const auto pictures = static_cast<std::int64_t>(CountOf(records, 0));
  EXPECT_LE(probed.Video()->frames, pictures);
  EXPECT_GE(probed.Video()->frames, clusters ? 1 : pictures - 1);
  EXPECT_NEAR(probed.Audio()->seconds, probed.Video()->seconds, 0.25);
}

INSTANTIATE_TEST_SUITE_P(
    Containers, KilledRecording,
    testing::Values(
        Container{"a.mov", "video::codec=mpeg2video audio::codec=pcm_s16le", true},
        Container{"a.mp4", "video::codec=libx264 video::preset=ultrafast audio::codec=aac", true},
        Container{"a.mp4",
                  "video::codec=libx264 video::preset=ultrafast play_while_rec.low_level_io=true",
                  true},
        Container{"a.avi", "video::codec=mpeg2video audio::codec=pcm_s16le", true},
        Container{"a.mxf", "video::codec=mpeg2video audio::codec=pcm_s16le", true},
        Container{"a.ts", "video::codec=mpeg2video audio::codec=mp2", false},
        Container{"a.mkv",
                  "video::codec=libx264 video::preset=ultrafast video::g=12 audio::codec=aac",
                  true}));

TEST(GrowingFiles, AreGoneAfterAProperEnd) {
  TemporaryFolder folder;
  for (const char* seconds : {"0.2", "2"}) {
    const std::string output = folder / "a.mov";
    ASSERT_EQ(RunProgram(RecordCommand("play_while_rec=true video::codec=mpeg2video",
                                       std::string("test:size=320x240,seconds=") + seconds, output))
                  .status,
              0);
    EXPECT_FALSE(FileExists(IndexPath(output)));
    EXPECT_FALSE(FileExists(HeaderPath(output)));
    const auto shown = RunProgram({kFollow, output});
    EXPECT_EQ(shown.status, 0);
    EXPECT_THAT(shown.out, HasSubstr("The recording is closed."));
  }
}

TEST(GrowingFiles, HooksLeaveTheRecordingAsItWas) {
  struct Case {
    const char* name;
    const char* attributes;
  };
  TemporaryFolder folder;
  for (const Case& one :
       {Case{"a.mov", "video::codec=mpeg2video"},
        Case{"a.mp4", "video::codec=libx264 video::preset=ultrafast"},
        Case{"a.avi", "video::codec=mpeg2video audio::codec=mp2"},
        Case{"a.ts", "video::codec=mpeg2video"},
        Case{"a.vob", "format=vob video::codec=mpeg2video audio::codec=mp2"},
        Case{"a.mxf", "video::codec=mpeg2video"},
        Case{"b.mxf", "format=mxf_opatom video::codec=mpeg2video audio::enabled=false"},
        Case{"a.mkv", "video::codec=mpeg2video"}}) {
    const std::string output = folder / one.name;
    std::vector<std::string> files;
    for (const char* growing : {"false", "true"}) {
      const std::string attributes =
          std::string("fflags=bitexact play_while_rec=") + growing + " " + one.attributes;
      const auto run = RunProgram(RecordCommand(attributes, "test:size=320x240,seconds=2", output));
      ASSERT_EQ(run.status, 0) << one.attributes << run.err;
      files.push_back(folder.Read(one.name));
    }
    EXPECT_GT(files[0].size(), 10000u) << one.attributes;
    EXPECT_TRUE(files[0] == files[1]) << one.attributes;
  }
}

TEST(Xvfollow, SaysWhatIsWrong) {
  TemporaryFolder folder;
  const auto missing = RunProgram({kFollow, folder / "none.mov"});
  EXPECT_EQ(missing.status, 1);
  EXPECT_THAT(missing.err, HasSubstr("There is no file"));
  const std::string noise = folder.Write("noise.mov", "no recording");
  EXPECT_EQ(RunProgram({kFollow, noise}).status, 1);
  const auto itself = RunProgram({kFollow, "--copy", noise, noise});
  EXPECT_EQ(itself.status, 1);
  EXPECT_EQ(folder.Read("noise.mov"), "no recording");
  EXPECT_EQ(RunProgram({kFollow}).status, 2);
}

}  // namespace
}  // namespace xv::test
