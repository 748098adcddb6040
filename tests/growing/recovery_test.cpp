#include <gmock/gmock.h>

#include <sys/stat.h>

#include "growing/recovery.h"
#include "growing/side_files.h"
#include "platform/whole_file.h"
#include "support/media_probe.h"
#include "support/peer_process.h"

// What a recording leaves for its rescue, and what it leaves alone.
namespace xv::test {
namespace {

using testing::HasSubstr;

const std::string kFollow = XVFOLLOW;
constexpr Feed kSmall{.width = 320, .height = 240};
constexpr char kMpeg[] = "video::codec=mpeg2video audio::codec=pcm_s24le ";

// A copy of the folder as it is, as if its writer had died.
std::string CutOff(const TemporaryFolder& folder, const std::string& name) {
  const std::filesystem::path cut = folder / ("cut " + name);
  std::filesystem::create_directory(cut);
  for (const auto& one : std::filesystem::directory_iterator(folder.path())) {
    if (one.is_regular_file()) std::filesystem::copy(one.path(), cut / one.path().filename());
  }
  return (cut / name).string();
}

ProbedFile Rescued(const std::string& recording, const std::string& copy) {
  const auto run = RunProgram({kFollow, "--copy", copy, recording});
  EXPECT_EQ(run.status, 0) << run.err;
  return Probe(copy);
}

// No index, no tables: the note tells all. What waits is in the file a second after the last
// packet.
TEST(Recovery, NoteRescuesARecordingWithoutTables) {
  for (const auto& [name, attributes] :
       {std::pair{"a.mov", std::string(kMpeg)},
        {"a.mp4", "video::codec=libx264 video::preset=ultrafast audio::codec=aac "}}) {
    TemporaryFolder folder;
    host::Writer writer;
    ASSERT_EQ(writer.Start(folder / name, attributes), S_OK);
    ASSERT_EQ(PushFrames(writer, kSmall, 12), S_OK);
    const std::string note = RecoveryPath(folder / name);
    RecoveryReader reader;
    ASSERT_TRUE(Eventually(10, [&] { return reader.Open(note).Ok() && reader.HasRecords(); }));
    const std::string cut = CutOff(folder, name);
    EXPECT_THAT(RunProgram({kFollow, cut}).out, HasSubstr("no proper end"));
    const ProbedFile found = Rescued(cut, folder / "copy.mov");
    ASSERT_EQ(found.Count(AVMEDIA_TYPE_VIDEO) + found.Count(AVMEDIA_TYPE_AUDIO), 2) << name;
    EXPECT_GE(found.Pictures().frames, 8) << name;
    EXPECT_EQ(found.Pictures().errors + found.Sound().errors, 0) << name;
    EXPECT_NEAR(found.Sound().seconds, found.Pictures().seconds, 0.25) << name;
    EXPECT_EQ(writer.Stop(), S_OK);
    EXPECT_FALSE(FileExists(note));
    ASSERT_EQ(writer.Start(folder / name, attributes + " recovery=false"), S_OK);
    ASSERT_EQ(PushFrames(writer, kSmall, 12), S_OK);
    EXPECT_FALSE(FileExists(note));
  }
}

// Writes a file of numbers, moves it as a muxer does, and reads it as a rescuer would at each step.
TEST(Recovery, EveryByteIsThereAtEachMomentOfAMove) {
  TemporaryFolder folder;
  constexpr std::int64_t kBegin = 40, kDistance = 1000, kNumbers = 3000;
  const std::string path = folder / "a.bin";
  FileSink sink;
  ASSERT_EQ(sink.Open(path, std::chrono::seconds(1)), S_OK);
  std::vector<std::uint32_t> numbers(kNumbers);
  for (std::uint32_t i = 0; i < kNumbers; ++i) numbers[i] = i;
  const auto bytes = static_cast<int>(4 * numbers.size());
  avio_write(sink.io(), reinterpret_cast<const unsigned char*>(numbers.data()), bytes);
  avio_flush(sink.io());
  struct Reader final : ShiftLog {
    void Note(const DataShift& shift) override {
      File file;
      std::vector<std::uint32_t> found(kNumbers + 1);
      std::size_t got = 0;
      EXPECT_EQ(file.OpenRead(path), S_OK);
      EXPECT_EQ(ReadShifted(file, shift, 0, found.data(), 4 * found.size(), &got), S_OK);
      found.resize(got / 4);
      EXPECT_TRUE(found == expected) << shift.moved;
      ++steps;
    }
    std::string path;
    std::vector<std::uint32_t> expected;
    int steps = 0;
  } reader;
  reader.path = path;
  reader.expected = numbers;
  sink.SetShiftLog(&reader);
  // What still waits must be seen by the muxer that reads its file back.
  AVIOContext* const back = sink.OpenReadBack();
  ASSERT_NE(back, nullptr);
  avio_seek(sink.io(), kBegin + kDistance, SEEK_SET);
  avio_seek(back, kBegin, SEEK_SET);
  std::vector<unsigned char> block(kDistance);
  while (const int read = std::max(avio_read(back, block.data(), kDistance), 0)) {
    avio_write(sink.io(), block.data(), read);
  }
  ASSERT_TRUE(sink.CloseReadBack(back));
  EXPECT_EQ(sink.Close(), S_OK);
  EXPECT_EQ(reader.steps, (bytes - kBegin + kDistance - 1) / kDistance + 1);
  EXPECT_EQ(std::filesystem::file_size(path), static_cast<std::uintmax_t>(bytes + kDistance));
}

// Files that nobody knows as ours stay, whatever their name; those of an earlier recording go.
TEST(SideFiles, OthersFilesAreLeftAlone) {
  constexpr const char* kNames[] = {"b.hdr.mov", "b.mov.idx", "b.mov.recovery"};
  TemporaryFolder folder;
  const std::string target = folder / "b.mov";
  // Who asks for an index is told by the stop; a note that is missing harms no recording.
  for (const auto& [growing, status] :
       {std::pair{"play_while_rec=true", XV_E_FILE_EXISTS}, {"play_while_rec=false", S_OK}}) {
    for (const char* name : kNames) folder.Write(name, "mine");
    std::string noted;
    EXPECT_EQ(Record(target, std::string(growing) + " video::codec=mpeg2video", kSmall, 40, &noted),
              status);
    for (const char* name : kNames) {
      EXPECT_EQ(folder.Read(name), "mine") << name;
      std::filesystem::remove(folder / name);
    }
    EXPECT_THAT(noted, HasSubstr("b."));
    EXPECT_EQ(Probe(target).Pictures().frames, 40);
  }
  // A header file of somebody else beside an index of ours, and a device.
  ASSERT_EQ(::mkfifo((folder / "b.hdr.mov").c_str(), 0600), 0);
  EXPECT_EQ(Record(target, "play_while_rec=true video::codec=mpeg2video", kSmall, 40),
            XV_E_FILE_EXISTS);
  EXPECT_TRUE(std::filesystem::is_fifo(folder / "b.hdr.mov"));
  EXPECT_FALSE(FileExists(IndexPath(target)));
}

TEST(SideFiles, ThoseOfAnEarlierRecordingGo) {
  TemporaryFolder folder;
  host::Writer writer;
  ASSERT_EQ(writer.Start(folder / "a.mov", std::string("play_while_rec=true ") + kMpeg), S_OK);
  ASSERT_EQ(PushFrames(writer, kSmall, 40), S_OK);
  const std::string left = CutOff(folder, "a.mov");
  EXPECT_EQ(writer.Stop(), S_OK);
  const std::string beside[] = {HeaderPath(left), IndexPath(left), RecoveryPath(left)};
  for (const std::string& path : beside) EXPECT_TRUE(FileExists(path)) << path;
  EXPECT_EQ(Record(left, kMpeg, kSmall, 10), S_OK);
  for (const std::string& path : beside) EXPECT_FALSE(FileExists(path)) << path;
}

}  // namespace
}  // namespace xv::test
