#include "captions/scc_writer.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "support/temporary_folder.h"

namespace xv {
namespace {

using test::TemporaryFolder;

XV_TIME At(std::int64_t start) {
  XV_TIME time{};
  time.rtStart = start;
  return time;
}

struct SccWriter : testing::Test {
  const TemporaryFolder folder;
  CaptionCounters stats;
  SCCWriter writer{&stats};
};

TEST_F(SccWriter, LinesAsTheFormatWantsThem) {
  writer.SetPath(folder.Path("a.scc"), 0);
  EXPECT_EQ(writer.SkipFrame(), S_OK);  // nothing is pending
  for (const std::uint16_t pair : {0x2094, 0x2094, 0xae94}) {
    EXPECT_EQ(writer.AppendPair(pair, At(36'000'000'000 + 4'004'000), 30000.0 / 1001), S_OK);
  }
  EXPECT_EQ(folder.Read("a.scc"), "");
  EXPECT_EQ(writer.SkipFrame(), S_OK);
  EXPECT_EQ(writer.AppendPair(0x7091, At(0), 25), S_OK);
  EXPECT_EQ(writer.SkipFrame(), S_OK);
  EXPECT_EQ(folder.Read("a.scc"),
            "Scenarist_SCC V1.0\r\n"
            "\r\n01:00:00;12\t9420 9420 94ae\r\n"
            "\r\n00:00:00:00\t9170\r\n");
  EXPECT_EQ(stats.written, 4);
}

TEST_F(SccWriter, LineEndsAfterTheFramesThatMayBeSkipped) {
  writer.SetPath(folder.Path("a.scc"), 2);
  const auto append = [&] { EXPECT_EQ(writer.AppendPair(0x2094, At(0), 25), S_OK); };
  const auto linesBehind = [&](int skips) {
    for (int i = 0; i < skips; ++i) EXPECT_EQ(writer.SkipFrame(), S_OK);
    const std::string text = folder.Read("a.scc");
    return std::count(text.begin(), text.end(), '\t');
  };
  for (int round = 0; round < 4; ++round) {
    append();  // starts the count anew
    EXPECT_EQ(linesBehind(2), 0);
  }
  EXPECT_EQ(linesBehind(1), 1);
  writer.SetMaxSkip(-4);
  append();
  EXPECT_EQ(linesBehind(1), 2);
  // What has not ended is dropped, and told.
  append();
  writer.Close();
  EXPECT_EQ(linesBehind(0), 2);
  EXPECT_EQ(stats.written, 5);
  EXPECT_EQ(stats.lost, 1);
}

// One pair a frame; what the stop finds waiting behind a line that has ended is written.
TEST_F(SccWriter, FurtherPairsWaitForTheFramesBehind) {
  writer.SetPath(folder.Path("a.scc"), 0);
  const std::uint16_t pairs[] = {0x2094, 0x2194, 0x2294};
  const auto put = [&](std::size_t count, int start) {
    EXPECT_EQ(writer.PutFrame({pairs, count}, At(start * 400'000), 25), S_OK);
  };
  put(3, 0);
  put(0, 1);
  put(1, 2);  // comes as the second line's first: the frames until then have pairs
  for (int n = 3; n < 6; ++n) put(0, n);
  EXPECT_EQ(folder.Read("a.scc"), "Scenarist_SCC V1.0\r\n\r\n00:00:00:00\t9420 9421 9422 9420\r\n");
  put(3, 10);
  put(0, 11);
  writer.Close();
  EXPECT_EQ(stats.written, 7);
  writer.SetPath(folder.Path("b.scc"), 0);
  for (int n = 0; n < 300; ++n) put(3, n);
  EXPECT_EQ(stats.lost, 301);
  writer.Close();
  EXPECT_EQ(stats.lost, 900);
}

TEST_F(SccWriter, LineStaysUntilThereIsAFile) {
  writer.SetMaxSkip(0);
  writer.AppendPair(0x2094, At(0), 25).Ok();
  EXPECT_EQ(writer.SkipFrame(), S_FALSE);
  writer.SetPath(folder.Path("none/a.scc"), 0);
  EXPECT_EQ(writer.SkipFrame(), XV_E_FILE_NOT_FOUND);
  writer.SetPath(folder.Path("a.scc"), 0);
  EXPECT_EQ(writer.SkipFrame(), S_OK);
  EXPECT_NE(folder.Read("a.scc").find("9420"), std::string::npos);
  writer.SetPath("/dev/full", 0);  // a line that does not fit is counted
  writer.AppendPair(0x2094, At(0), 25).Ok();
  EXPECT_EQ(writer.SkipFrame(), S_OK);
  EXPECT_TRUE(stats.lost == 1 && stats.written == 1);
}

}  // namespace
}  // namespace xv
