#include <gmock/gmock.h>

#include <fstream>

#include "growing/growing_files.h"
#include "growing/index.h"
#include "platform/whole_file.h"
#include "support/peer_process.h"
#include "support/temporary_folder.h"

namespace xv::test {
namespace {

using testing::HasSubstr;

const std::string kRecord = XVRECORD;
const std::string kFollow = XVFOLLOW;
TEST(GrowingIndex, HasTheDocumentedBytes) {
  TemporaryFolder folder;
  const std::string target = folder / "\xC3\xA4.mov";
  GrowingIndex index;
  ASSERT_FALSE(index.Create(target, true).Failed());
  const IndexRecord record{0x0102030405060708, AV_NOPTS_VALUE, -2, 0x11121314, 7, 3, 1, 0x40, true};
  index.Add(record, true);
  index.WriteWaiting();
  ASSERT_FALSE(index.failure().Failed());
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

// The recording has the bytes that it has without them, and the files beside it are gone.
TEST(GrowingFiles, LeaveTheRecordingAsItWas) {
  TemporaryFolder folder;
  for (const auto& [name, options] :
       {std::pair{"a.mov", "video::codec=mpeg2video"},
        {"short.mov", "video::codec=mpeg2video"},
        {"a.mp4", "video::codec=libx264 video::preset=ultrafast"},
        {"a.avi", "video::codec=mpeg2video audio::codec=mp2"},
        {"a.ts", "video::codec=mpeg2video"},
        {"a.vob", "format=vob video::codec=mpeg2video audio::codec=mp2"},
        {"a.mxf", "video::codec=mpeg2video"},
        {"b.mxf", "format=mxf_opatom video::codec=mpeg2video audio::enabled=false"},
        {"a.mkv", "video::codec=mpeg2video"}}) {
    const std::string output = folder / name;
    const bool brief = std::string(name) == "short.mov";
    const std::string input =
        brief ? "test:size=320x240,seconds=0.2" : "test:size=320x240,seconds=2";
    std::vector<std::string> files;
    for (const char* growing : {"false", "true"}) {
      const std::string attributes =
          std::string("fflags=bitexact play_while_rec=") + growing + " " + options;
      const auto run = RunProgram({kRecord, "-y", "--quiet", "-a", attributes, input, output});
      ASSERT_EQ(run.status, 0) << options << run.err;
      files.push_back(folder.Read(name));
      EXPECT_FALSE(FileExists(IndexPath(output)) || FileExists(HeaderPath(output))) << options;
    }
    EXPECT_THAT(RunProgram({kFollow, output}).out, HasSubstr("The recording is closed."));
    EXPECT_GT(files[0].size(), 5000u) << options;
    EXPECT_TRUE(files[0] == files[1]) << options;
  }
}

}  // namespace
}  // namespace xv::test
