#include "captions/capture.h"

#include <gmock/gmock.h>

#include "captions/caption_frame.h"
#include "platform/whole_file.h"
#include "support/needed.h"
#include "support/temporary_folder.h"
#include "xvrecord/cea608_text.h"
#include "xvrecord/host_items.h"

namespace xv {
namespace {

using test::CaptionFrame;
using test::TemporaryFolder;
using XMLParse::CoXMLNode;
using XMLParse::MergeMode;
using XMLParse::XMLNodePtr;

XMLNodePtr Node(std::string_view text) {
  XMLNodePtr node = CoXMLNode::Create("n");
  node->MergeText(text, MergeMode::kReplace);
  return node;
}

std::vector<std::uint8_t> C708(std::uint16_t pair) {
  return MakeCaptionItems(ConstructsForPair(pair, 25), 25, 0).c708;
}

CaptureOptions Options(std::string_view first, std::string_view second, const std::string& output) {
  const XMLNodePtr a = Node(first);
  const XMLNodePtr b = Node(second);
  const CoXMLNode* const nodes[] = {nullptr, a.get(), b.get()};
  return ReadCaptureOptions(nodes, output);
}

TEST(CaptureOptions, FirstNodeThatHasItWins) {
  const CaptureOptions plain = Options("", "", "/x/a.b/rec.mov");
  EXPECT_TRUE(plain.scc && !plain.anc && plain.maxSkip == 3);
  EXPECT_EQ(plain.sccPath + plain.ancPath, "/x/a.b/rec.scc/x/a.b/rec.anc");
  EXPECT_EQ(plain.tags.size(), 33u);
  const CaptureOptions set = Options("scc_capture=no cc_max_skip=-7 scc_path=/y/z",
                                     "scc_capture=yes anc_capture=1 cc_max_skip=9", "rec");
  EXPECT_TRUE(!set.scc && set.anc && set.maxSkip == 0);
  EXPECT_EQ(set.sccPath + " " + set.ancPath, "/y/z rec.anc");
  // Never over the recording itself.
  for (const char* nowhere : {"udp://127.0.0.1:1234", "/x/already.scc", ""}) {
    EXPECT_EQ(Options("", "", nowhere).sccPath, "") << nowhere;
  }
  EXPECT_THAT(CaptureTags("a, B;c|d e"), testing::ElementsAre("a", "B", "c", "d", "e"));
  const std::vector<std::string> both = CaptureTags("Default,mine");
  EXPECT_EQ(both.size(), 34u);
  EXPECT_EQ(both.front(), "mine");
}

struct Session {
  explicit Session(std::string_view attributes) {
    capture.SetupCapture(folder.Path("rec.mov"), *Node(attributes), &stats);
  }
  ~Session() { capture.ResetCapture(); }

  int Put(CaptionFrame& frame, std::int64_t start) {
    XV_TIME time{};
    time.rtStart = start;
    return capture.CaptureFrame(frame.get(), &time);
  }
  void Gap(int frames) {
    CaptionFrame empty;
    for (int i = 0; i < frames; ++i) Put(empty, 0);
  }

  TemporaryFolder folder;
  CaptionCounters stats;
  CaptionCapture capture;
};

TEST(Capture, PairComesFromThePacketElseFromTheWord) {
  Session session("");
  CaptionFrame both, broken, word, shortWord;
  both.Bytes("C708", C708(0x2094)).Word(0x1111);
  std::vector<std::uint8_t> packet = C708(0x2094);
  packet[4 + 7] = 0x73;  // another section
  broken.Bytes("C708", packet).Word(0xABCD2222);
  word.Word(0x3333);
  shortWord.Bytes("C608", {0x44, 0x44, 0});
  std::int64_t start = 10'000'000;
  for (CaptionFrame* frame : {&both, &broken, &word, &shortWord}) {
    EXPECT_EQ(session.Put(*frame, start), CaptionCapture::kLookedForPair);
    start += 400'000;
  }
  session.Gap(3);
  EXPECT_EQ(session.folder.Read("rec.scc"),
            "Scenarist_SCC V1.0\r\n\r\n00:00:01:00\t9420 2222 3333\r\n");
  EXPECT_EQ(session.stats.seen, 3);
  EXPECT_EQ(session.stats.written, 3);
}

TEST(Capture, NullPairsNeverOpenALine) {
  Session session("cc_max_skip=0");
  CaptionFrame null;
  null.Word(0x8080).Bytes("C708", C708(Cea608Text::kNullPair));
  for (int i = 0; i < 50; ++i) session.Put(null, i);
  EXPECT_FALSE(FileExists(session.folder.Path("rec.scc")));
  CaptionFrame pair;
  pair.Word(0x2094);
  session.Put(pair, 0);
  session.Put(null, 1);
  EXPECT_TRUE(FileExists(session.folder.Path("rec.scc")));
  session.Put(pair, 2);
  session.capture.ResetCapture();
  EXPECT_EQ(session.stats.seen, 2);
  EXPECT_EQ(session.stats.written, 1);
  EXPECT_EQ(session.stats.lost, 1);
}

TEST(Capture, FramesOwnAttributesWinForThatFrame) {
  Session session("scc_capture=false anc_capture=false");
  CaptionFrame plain;
  plain.Word(0x2094);
  EXPECT_EQ(session.Put(plain, 0), 0);
  CaptionFrame special;
  const XMLNodePtr node = Node("scc_capture=1 anc_capture=1 anc_capture.tags=C608 cc_max_skip=0");
  special.Word(0x2094).Bytes("GA94", {1}).Node(node.get());
  EXPECT_EQ(session.Put(special, 400000),
            CaptionCapture::kLookedForPair | CaptionCapture::kWroteAnc);
  EXPECT_EQ(session.Put(plain, 800000), 0);
  session.capture.ResetCapture();
  CANCDataFile file;
  ASSERT_EQ(file.SetPath(session.folder.Path("rec.anc"), true, false), S_OK);
  EXPECT_EQ(file.Count(), 1u);
  EXPECT_EQ(test::Needed(file.FindAt(400000)).items.size(), 1u);
  EXPECT_EQ(session.stats.seen, 3);
  EXPECT_EQ(session.stats.lost, 1);
}

TEST(Capture, PathOfAFrameStays) {
  Session session("cc_max_skip=0");
  const XMLNodePtr node = Node("scc_path=" + session.folder.Path("other.scc"));
  const XMLNodePtr other = Node("cc_max_skip=0");
  CaptionFrame pair, moved, later;
  pair.Word(0x2094);
  later.Word(0x2094).Node(other.get());
  moved.Word(0x2C94).Node(node.get());
  std::int64_t start = 0;
  for (CaptionFrame* frame : {&pair, &moved, &pair, &later}) {
    session.Put(*frame, start);
    session.Gap(1);
    start += 400'000;
  }
  EXPECT_THAT(session.folder.Read("rec.scc"), testing::HasSubstr("9420"));
  EXPECT_THAT(session.folder.Read("other.scc"),
              testing::AllOf(testing::HasSubstr("942c"), testing::HasSubstr("00:00:00:02\t9420"),
                             testing::HasSubstr("00:00:00:03\t9420")));
}

TEST(Capture, FailuresAndNullsAreHarmless) {
  const TemporaryFolder folder;
  CaptionCapture capture;
  EXPECT_EQ(capture.CaptureFrame(nullptr, nullptr), 0);
  CaptionFrame frame(0);
  frame.Word(0x2094);
  EXPECT_EQ(capture.CaptureFrame(frame.get(), nullptr), 0);  // not set up
  capture.SetupCapture(folder.Path("none/rec.mov"), *Node("anc_capture=1 cc_max_skip=0"), nullptr);
  EXPECT_EQ(capture.CaptureCaption(nullptr, nullptr), E_INVALIDARG);
  CaptionFrame empty;
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(capture.CaptureFrame(frame.get(), nullptr), 3);
    EXPECT_EQ(capture.CaptureFrame(empty.get(), nullptr), 3);
  }
  capture.ResetCapture();
  EXPECT_EQ(capture.CaptureFrame(frame.get(), nullptr), 0);
}

}  // namespace
}  // namespace xv
