#include "captions/anc_data_file.h"
#include "platform/whole_file.h"

#include <gtest/gtest.h>

#include <cstring>

#include "captions/caption_frame.h"
#include "support/loopback.h"
#include "support/needed.h"
#include "support/temporary_folder.h"

namespace xv {
namespace {

using test::CaptionFrame;
using test::TemporaryFolder;
using Bytes = std::vector<std::uint8_t>;

const std::vector<std::string> kTags = {"GA94", "ANC.Line.7", "note", "ANC.Line.9"};

std::string Number(std::uint32_t value) {
  std::string out(4, '\0');
  std::memcpy(out.data(), &value, 4);
  return out;
}

struct AncDataFile : testing::Test {
  const TemporaryFolder folder;
  CANCDataFile file;
};

std::string FrameHead(std::int64_t start) {
  XV_TIME time{};
  time.rtStart = start;
  return Number(kAncFrameMagic) + std::string(reinterpret_cast<const char*>(&time), sizeof(time));
}

std::string Item(const std::string& tag, const std::string& data, bool text = false) {
  const auto size = static_cast<std::uint32_t>(data.size());
  return Number(static_cast<std::uint32_t>(tag.size()) + size + 8) +
         Number(static_cast<std::uint32_t>(tag.size())) + tag +
         Number(size | (text ? kAncTextFlag : 0)) + data;
}

TEST_F(AncDataFile, WritesWhatTheFrameHas) {
  ASSERT_EQ(file.SetPath(folder.Path("a.anc"), false, false), S_OK);
  CaptionFrame bare(100);
  EXPECT_EQ(file.WriteFrame(kTags, *bare, nullptr), S_OK);
  EXPECT_FALSE(FileExists(folder.Path("a.anc")));
  CaptionFrame full(200);
  full.Bytes("GA94", {1, 2, 3})
      .Number("ANC.Line.7", -2)
      .Text("note", "grün")
      .Text("ANC.Line.9", "");
  XV_TIME corrected{};
  corrected.rtStart = 250;
  EXPECT_EQ(file.WriteFrame(kTags, *full, &corrected), S_OK);
  CaptionFrame second(300);
  second.Text("ANC.Line.9", "x");
  EXPECT_EQ(file.WriteFrame(kTags, *second, nullptr), S_OK);
  EXPECT_EQ(folder.Read("a.anc"), FrameHead(250) + Item("GA94", "\1\2\3") +
                                      Item("ANC.Line.7", "\xFE" + std::string(7, '\xFF')) +
                                      Item("note", "grün", true) + FrameHead(300) +
                                      Item("ANC.Line.9", "x", true));
  EXPECT_EQ(file.SetPath(folder.Path("none/b.anc"), false, false), S_OK);
  EXPECT_EQ(file.WriteFrame(kTags, *second, nullptr), XV_E_FILE_NOT_FOUND);
  EXPECT_EQ(file.SetPath("", false, false), S_OK);
  EXPECT_EQ(file.WriteFrame(kTags, *second, nullptr), E_INVALIDARG);
}

TEST_F(AncDataFile, ARecordThatDoesNotFitLeavesNoPartOfIt) {
  ASSERT_EQ(file.SetPath(folder.Path("a.anc"), false, false), S_OK);
  CaptionFrame frame(1);
  frame.Text("note", "n");
  EXPECT_EQ(file.WriteFrame(kTags, *frame, nullptr), S_OK);
  const std::string one = folder.Read("a.anc");
  {
    const test::FileSizeLimit full(one.size() + 9);
    EXPECT_TRUE(file.WriteFrame(kTags, *frame, nullptr).Failed());
  }
  EXPECT_EQ(folder.Read("a.anc"), one);
  EXPECT_EQ(file.WriteFrame(kTags, *frame, nullptr), S_OK);
  EXPECT_EQ(folder.Read("a.anc"), one + one);
}

TEST_F(AncDataFile, ReadsItsOwnFileInOrderOfTime) {
  const std::string path = folder.Write(
      "a.anc", FrameHead(500) + Item("A", "late") + FrameHead(100) + Item("A", "early") +
                   Item("B", "text", true) + FrameHead(700) + FrameHead(600) + Item("A", "6"));
  ASSERT_EQ(file.SetPath(path, true, false), S_OK);
  EXPECT_EQ(file.LastRead(), S_OK);
  EXPECT_EQ(file.Count(), 3u);  // a frame without items does not count
  EXPECT_EQ(file.FirstTime(), 100);
  EXPECT_EQ(file.LastTime(), 600);
  EXPECT_FALSE(file.FindAt(99));
  EXPECT_EQ(test::Needed(file.FindAt(100)).time.rtStart, 100);
  EXPECT_EQ(test::Needed(file.FindAt(599)).time.rtStart, 500);
  TimedValue value;
  ASSERT_TRUE(file.ItemAt(499, "B", &value));
  EXPECT_EQ(std::get<std::string>(value), "text");
  ASSERT_TRUE(file.ItemAt(9999, "A", &value));
  EXPECT_EQ(std::get<Ref<TimedBytes>>(value)->size(), 1u);
  EXPECT_FALSE(file.ItemAt(9999, "B", &value));
  file.Close();
  EXPECT_EQ(file.Count(), 0u);
}

TEST_F(AncDataFile, BrokenFilesHaveTheirStatus) {
  const std::string good = FrameHead(1) + Item("A", "data");
  for (const auto& [text, expected] : std::vector<std::pair<std::string, HRESULT>>{
           {"XXXX" + good, E_INVALIDARG},
           {good + Number(0xFFFFFFFF) + "anything", S_OK},
           {good + Number(0xFFFFFFFE), S_OK},
           {good + Number(13) + Number(1) + "A" + Number(5) + "12345", XV_E_CORRUPT_FILE},
           {good + Number(9) + Number(1) + "A" + Number(0), XV_E_CORRUPT_FILE},
           {good + Number(9) + Number(1) + "A" + Number(kAncTextFlag), XV_E_CORRUPT_FILE},
           // Lengths that no memory could hold, with and without agreement.
           {good + Number(0x7FFFFFFF) + Number(0x7FFFFF00), S_OK},
           {good + Number(7) + Number(0xFFFFFFFF), XV_E_CORRUPT_FILE}}) {
    EXPECT_EQ(file.SetPath(folder.Write("a.anc", text), true, false), expected) << text.size();
  }
  EXPECT_EQ(file.SetPath(folder.Path("none"), true, true), XV_E_FILE_NOT_FOUND);
  EXPECT_TRUE(file.SetPath(folder.Path(), true, false).Failed());
}

TEST_F(AncDataFile, CutAtEveryByteGivesTheCompleteItems) {
  const std::string first = FrameHead(1) + Item("A", "data"), second = Item("B", "text", true),
                    third = FrameHead(2) + Item("A", "x"), whole = first + second + third;
  for (std::size_t cut = 0; cut <= whole.size(); ++cut) {
    const std::size_t items =
        (cut >= first.size()) + (cut >= (first + second).size()) + std::size_t{cut == whole.size()};
    const Status status = file.SetPath(folder.Write("a.anc", whole.substr(0, cut)), true, false);
    EXPECT_EQ(status, cut < 4 ? E_INVALIDARG : items == 0 ? XV_E_FILE_HANDLE : S_OK) << cut;
    std::size_t found = 0;
    for (const std::int64_t time : {1, 2}) {
      const Ref<CTimedData> frame = file.FindAt(time);
      if (frame && frame->time.rtStart == time) found += frame->items.size();
    }
    EXPECT_EQ(found, items) << cut;
  }
}

TEST_F(AncDataFile, ThreadFollowsAFileThatGrows) {
  ASSERT_EQ(file.SetPath(folder.Path("a.anc"), false, false), S_OK);
  CANCDataFile reader;
  for (int i = 1; i <= 200; ++i) {
    CaptionFrame frame(i);
    frame.Bytes("GA94", Bytes(1000, static_cast<std::uint8_t>(i))).Text("note", "n");
    ASSERT_EQ(file.WriteFrame(kTags, *frame, nullptr), S_OK);
    if (i == 1) {
      ASSERT_EQ(reader.SetPath(folder.Path("a.anc"), true, true), S_OK);
    }
    if (i % 50 == 0) {
      EXPECT_TRUE(test::Eventually(5, [&] {
        TimedValue value;
        return reader.LastTime() == i && reader.ItemAt(i, "note", &value);
      }));
    }
  }
  EXPECT_EQ(reader.Count(), 200u);
  EXPECT_EQ(reader.LastRead(), S_FALSE);
  reader.Close();
  EXPECT_EQ(reader.LastRead(), AncReader::kStopped);
}

}  // namespace
}  // namespace xv
