#include <fmt/format.h>
#include <gmock/gmock.h>

#include <cctype>
#include <cstdio>

#include "matrix/cell_recording.h"
#include "matrix/known_losses.h"

extern "C" {
#include <libavutil/log.h>
}

// What the served list offers must record and come back as it was pushed.
namespace xv::test {
namespace {

// "ok", the letters of what is lost, or what went wrong.
std::string RecordAndCheck(const Cell& cell) {
  const Outcome outcome = RecordCell(cell);
  const std::string found =
      outcome.trouble.empty() ? LossText(outcome.lost) : "FAIL: " + outcome.trouble;
  EXPECT_EQ(found, LossText(KnownLossOf(IdOf(cell.format), outcome.videoCodec)))
      << NameOf(cell.format) << ": " << NameOf(cell.video) << " + " << NameOf(cell.audio);
  return found;
}

std::string Heading(const XMLParse::XMLNodePtr& codec) {
  return IdOf(codec).empty() ? "default" : IdOf(codec);
}

class ServedFormat : public testing::TestWithParam<std::string> {};

TEST_P(ServedFormat, EachCodecRecordsWithTheFirstOfTheOtherKind) {
  for (const Cell& cell : CrossOf(FormatNamed(GetParam()))) RecordAndCheck(cell);
}

// Prints what it finds: a line a video codec, a column an audio codec.
TEST_P(ServedFormat, DISABLED_EachPairOfCodecsRecords) {
  const ListedFormat format = FormatNamed(GetParam());
  fmt::print("\n{} ({})\n{:32}", GetParam(), IdOf(format.node), "");
  for (const auto& audio : OrNothing(format.audios)) fmt::print("{:>13}", Heading(audio));
  for (const auto& video : OrNothing(format.videos)) {
    fmt::print("\n{:32.32}", NameOf(video));
    for (const auto& audio : OrNothing(format.audios)) {
      const bool empty = !Writes(video) && !Writes(audio);
      fmt::print("{:>13}", empty ? "" : RecordAndCheck({format.node, video, audio}));
      std::fflush(stdout);
    }
  }
  fmt::print("\n");
}

std::string TestName(const testing::TestParamInfo<std::string>& info) {
  std::string name = std::to_string(info.index) + "_";
  for (const char c : info.param) {
    if (std::isalnum(static_cast<unsigned char>(c)) != 0) name += c;
  }
  return name;
}

std::vector<std::string> QuietlyWalkedFormats() {
  av_log_set_level(AV_LOG_QUIET);
  return WalkedFormats();
}

INSTANTIATE_TEST_SUITE_P(Matrix, ServedFormat, testing::ValuesIn(QuietlyWalkedFormats()), TestName);

}  // namespace
}  // namespace xv::test
