#include <gmock/gmock.h>

#include <sstream>

#include "support/peer_process.h"

namespace xv::test {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using testing::UnorderedElementsAre;

// What bash offers for a command line with the cursor at its end.
std::vector<std::string> Offers(const std::string& line) {
  constexpr char kAsk[] =
      "source \"$1\"; COMP_LINE=$2; COMP_POINT=${#2}; _xvrecord; "
      "((${#COMPREPLY[@]})) && printf '%s\\n' \"${COMPREPLY[@]}\"";
  const ProgramResult run =
      RunProgram({"bash", "-c", kAsk, "bash", COMPLETION, std::string(XVRECORD) + " " + line});
  EXPECT_EQ(run.err, "");
  std::istringstream lines(run.out);
  std::vector<std::string> offers;
  for (std::string one; std::getline(lines, one);) offers.push_back(one);
  return offers;
}

TEST(Completion, OffersOptionsFormatsAndCodecs) {
  EXPECT_THAT(Offers("--cod"), UnorderedElementsAre("--codec", "--codecs"));
  EXPECT_THAT(Offers("--form"), Contains("--formats"));
  EXPECT_THAT(Offers("--quiet --format mx"), ElementsAre("mxf", "mxf_d10"));
  EXPECT_THAT(Offers("--format mxf --codec "), AllOf(Contains("dvvideo"), Not(Contains("prores"))));
  EXPECT_THAT(Offers("--format mov --audio-codec pcm_s2"), ElementsAre("pcm_s24le"));
  EXPECT_THAT(Offers("--options mp4 libx"), ElementsAre("libx264"));
  EXPECT_THAT(Offers("--input-format v2"), ElementsAre("v210"));
  EXPECT_THAT(Offers("clip"), IsEmpty()) << "a file's name is the shell's";
}

TEST(Completion, OffersAttributesAndTheirValues) {
  EXPECT_THAT(Offers("-a embed_cc.pl"), ElementsAre("embed_cc.placement="));
  EXPECT_THAT(Offers("-a hls_segment_f"), ElementsAre("hls_segment_filename="));
  // Outside of quotes bash replaces what stands behind the last ":" or "=" only.
  EXPECT_THAT(Offers("--codec libx264 -a video::rc-"), ElementsAre("rc-lookahead="));
  EXPECT_THAT(Offers("-a video::codec=libx264 -a video::preset=ultra"), ElementsAre("ultrafast"));
  EXPECT_THAT(Offers("-a embed_cc.placement="), ElementsAre("sequence", "picture"));
  // Inside of them, the whole text.
  EXPECT_THAT(Offers("-a \"format=mp4 video::codec=libx26"),
              ElementsAre("format=mp4 video::codec=libx264"));
  EXPECT_THAT(Offers("-a 'format=mov audio::codec=aac audio::aac_"),
              ElementsAre("format=mov audio::codec=aac audio::aac_coder="));
  EXPECT_THAT(Offers("--codec mpeg4 -a video::rc-"), IsEmpty()) << "no attribute of this codec";
  EXPECT_THAT(Offers("--format mov_dnxhd --codec DNxHD\\ 36"),
              AllOf(Not(IsEmpty()), Each(StartsWith("DNxHD\\ 36"))));
}

}  // namespace
}  // namespace xv::test
