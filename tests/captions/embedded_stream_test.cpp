#include <gmock/gmock.h>

#include <map>
#include <random>

#include "captions/caption_reader.h"
#include "support/host_frames.h"
#include "support/media_probe.h"
#include "support/peer_process.h"
#include "tree/node.h"
#include "xvrecord/cea608_text.h"
#include "xvrecord/host_items.h"

// Captions that a host attaches, recorded by the writer and read back by a reader of our own; those
// of hosts' programs and of vendors' encoders are read by FFmpeg.
namespace xv::test {
namespace {

constexpr double kPal = 25;
constexpr double kNtsc = 30000.0 / 1001;
constexpr std::uint16_t kEndOfCaption = 0x2F94;

// What is said, from which of 64 parts of the recording on.
struct Line {
  int part;
  const char* text;
};
constexpr Line kLines[] = {{0, "HELLO CAPTION"}, {20, "SECOND ONE\nTWO ROWS"}, {42, "THE END"}};

constexpr Feed kSmall{.width = 176, .height = 144, .channels = 0};

struct Case {
  std::string extension;
  std::string attributes;
  double rate = kPal;
  bool bPictures = false;
  int frames = 64;
  double tolerance = 0.4;  // of the time at which a caption appears, in frames
};

// The first pair of each picture's constructs (first byte in the low one), by the number of the
// picture in display order.
std::map<int, std::uint16_t> PairsOf(const ProbedStream& video) {
  std::map<int, std::uint16_t> pairs;
  int number = 0;
  for (const std::string& constructs : ConstructsOf(video)) {
    const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(constructs.at(i)); };
    if (!constructs.empty()) pairs[number] = static_cast<std::uint16_t>(byte(1) | byte(2) << 8);
    ++number;
  }
  return pairs;
}

struct Recorded {
  std::vector<ShownCaption> said;      // with the times at which they are to appear
  std::map<int, std::uint16_t> pairs;  // by frame, all of them
  std::int64_t embedded = 0;
  std::int64_t lost = 0;
  std::int64_t withText = 0;  // frames with a pair that is not null
};

void Attach(const host::Ptr<IXvFrame>& frame, std::uint16_t pair, double rate, int number) {
  const auto items = std::make_shared<CaptionItems>(
      MakeCaptionItems(ConstructsForPair(pair, rate), rate, static_cast<std::uint16_t>(number)));
  EXPECT_EQ(host::AddExtra(frame, FourCC("GA94"), items->ga94.data(), items->ga94.size(), items),
            S_OK);
  EXPECT_EQ(host::AddExtra(frame, FourCC("C608"), &items->c608, sizeof(items->c608), items), S_OK);
}

std::int64_t Counted(host::Writer& writer, const std::string& what) {
  return std::stoll(writer.Get("quality::captions." + what));
}

// Puts `count` frames with a pair of captions each; gives how many were taken.
int PutPairs(host::Writer& writer, int count) {
  int taken = 0;
  for (int n = 0; n < count; ++n) {
    const auto frame = MakeFrame(kSmall, n);
    Attach(frame, 0x2094, kPal, n);
    taken += writer.Put(frame) == S_OK ? 1 : 0;
  }
  return taken;
}

Recorded RecordCaptions(const Case& one, const std::string& path) {
  Feed feed = kSmall;
  feed.rate = one.rate;
  Recorded done;
  host::Writer writer;
  EXPECT_EQ(writer.Start(path, "embed_cc=true scc_capture=false " + one.attributes), S_OK);
  Cea608Text text;
  std::string pending;
  for (int n = 0; n < one.frames; ++n) {
    for (const Line& line : kLines) {
      if (n != line.part * one.frames / 64) continue;
      text.Say(line.text);
      pending = line.text;
    }
    const std::uint16_t pair = text.NextPair();
    // A caption appears with its last control code; that is sent twice, the first counts.
    if (pair == kEndOfCaption && !pending.empty()) {
      done.said.push_back({n / one.rate, std::exchange(pending, {})});
    }
    done.pairs[n] = pair;
    done.withText += pair != Cea608Text::kNullPair;
    const auto frame = MakeFrame(feed, n);
    Attach(frame, pair, one.rate, n);
    EXPECT_EQ(writer.Put(frame), S_OK);
  }
  EXPECT_EQ(writer.Stop(), S_OK);
  EXPECT_EQ(writer.LastError(), "");
  done.embedded = Counted(writer, "embedded");
  done.lost = Counted(writer, "lost");
  return done;
}

void ExpectPictures(const ProbedFile& file, const Case& one) {
  EXPECT_EQ(file.Pictures().frames, one.frames);
  EXPECT_EQ(file.Pictures().errors, 0);
  EXPECT_EQ(file.Pictures().pictureTypes.find('B') != std::string::npos, one.bPictures);
}

void ExpectReadBack(const Case& one) {
  SCOPED_TRACE(one.extension + " " + one.attributes + " at " + std::to_string(one.rate));
  const TemporaryFolder folder;
  const std::string path = folder / ("a." + one.extension);
  const Recorded recorded = RecordCaptions(one, path);
  EXPECT_EQ(recorded.lost, 0);
  EXPECT_EQ(recorded.embedded, recorded.withText);
  const ProbedFile file = Probe(path);
  ExpectPictures(file, one);
  ASSERT_EQ(recorded.said.size(), std::size(kLines));
  const auto shown = ReadCaptions(ConstructsOf(file.Pictures()), one.rate);
  ASSERT_EQ(shown.size(), recorded.said.size());
  for (std::size_t i = 0; i < shown.size(); ++i) {
    EXPECT_EQ(shown[i].text, recorded.said[i].text);
    EXPECT_NEAR(shown[i].start, recorded.said[i].start, one.tolerance / one.rate);
  }
}

std::string BPictures(bool with) { return with ? " video::bf=2" : " video::bf=0"; }

TEST(EmbeddedStream, H264InEachContainer) {
  const std::string codec = "video::codec=libx264 video::preset=ultrafast video::b_strategy=0";
  for (const char* extension : {"mp4", "mov", "ts"}) {
    for (const double rate : {kPal, kNtsc}) {
      for (const bool b : {false, true}) {
        ExpectReadBack({extension, codec + BPictures(b), rate, b});
      }
    }
  }
}

TEST(EmbeddedStream, Mpeg2InEachContainerAndPlace) {
  for (const char* extension : {"ts", "mpg", "mxf"}) {
    for (const double rate : {kPal, kNtsc}) {
      for (const bool b : {false, true}) {
        for (const std::string place : {"sequence", "picture"}) {
          // A block ahead of its picture may stand in another packet of a program stream than the
          // picture's start code, which is what readers give the packet's time to.
          const bool apart = place == "sequence" && extension == std::string("mpg");
          ExpectReadBack({extension,
                          "video::codec=mpeg2video embed_cc.placement=" + place + BPictures(b),
                          rate, b, 64, apart ? 1.1 : 0.4});
        }
      }
    }
  }
}

// Every block waits for up to 78 frames until its packet comes.
TEST(EmbeddedStream, LongestLookaheadKeepsEveryBlock) {
  for (const char* extension : {"mp4", "ts"}) {
    ExpectReadBack({extension,
                    "video::codec=libx264 video::preset=veryfast video::rc-lookahead=60 "
                    "video::bf=16 video::b_strategy=1 video::mbtree=1",
                    kNtsc, true, 160});
  }
}

// "embed_cc" of a frame's own node counts for that frame.
TEST(EmbeddedStream, FramesOwnAttributeWins) {
  const TemporaryFolder folder;
  for (const bool session : {false, true}) {
    const std::string path = folder / "a.mp4";
    host::Writer writer;
    ASSERT_EQ(writer.Start(path, std::string("video::codec=mpeg4 video::bf=0 scc_capture=false ") +
                                     (session ? "embed_cc=true" : "embed_cc=false")),
              S_OK);
    const auto node = XMLParse::CoXMLNode::Create("props");
    node->SetAttribute("embed_cc", session ? "false" : "true");
    for (int n = 0; n < 4; ++n) {
      const auto frame = MakeFrame(kSmall, n);
      Attach(frame, 0x2094, kPal, n);
      if (n == 2) host::QueryAs<IXvFrameExtras>(frame)->NodeSet(node.get());
      ASSERT_EQ(writer.Put(frame), S_OK);
    }
    EXPECT_EQ(writer.Stop(), S_OK);
    const std::map<int, std::uint16_t> read = PairsOf(Probe(path).Pictures());
    EXPECT_EQ(read.count(2), session ? 0u : 1u);
    EXPECT_EQ(read.size(), session ? 3u : 1u);
  }
}

// Whatever hosts attach, the recording goes on, and each block is embedded or counted as lost.
TEST(EmbeddedStream, BlocksOfAnySizeAndContentLeaveTheRecordingWhole) {
  const TemporaryFolder folder;
  const std::size_t sizes[] = {1, 2, 3, 4, 7, 252, 253, 254, 1000, 65535, 65536};
  std::mt19937 random(5);
  for (const char* codec : {"libx264", "mpeg2video", "mpeg4", "mjpeg"}) {
    const std::string path = folder / "a.mkv";
    host::Writer writer;
    ASSERT_EQ(
        writer.Start(path, std::string("embed_cc=true anc_capture=true video::codec=") + codec),
        S_OK);
    constexpr int kFrames = 44;
    for (int n = 0; n < kFrames; ++n) {
      const auto frame = MakeFrame(kSmall, n);
      for (const auto key : {FourCC("ATSC"), FourCC("GA94"), FourCC("C708"), FourCC("C608")}) {
        const auto block = std::make_shared<std::string>(sizes[random() % std::size(sizes)], '\0');
        for (char& byte : *block) byte = static_cast<char>(random() % 4 == 0 ? random() : 0xFC);
        ASSERT_EQ(host::AddExtra(frame, key, block->data(), block->size(), block), S_OK);
      }
      ASSERT_EQ(writer.Put(frame), S_OK) << codec;
    }
    EXPECT_EQ(writer.Stop(), S_OK);
    EXPECT_EQ(writer.LastError(), "") << codec;
    EXPECT_EQ(writer.Get("quality::packets.0"), std::to_string(kFrames)) << codec;
    const bool carries = std::string(codec) != "mjpeg";
    EXPECT_EQ(Counted(writer, "embedded"), carries ? kFrames : 0) << codec;
    EXPECT_GE(Counted(writer, "lost"), carries ? 0 : kFrames) << codec;
  }
}

// Two pairs in a frame, as two pictures of fields bring them: the side file says each word.
TEST(SideFile, FurtherPairsOfAFrameFollow) {
  const TemporaryFolder folder;
  host::Writer writer;
  ASSERT_EQ(writer.Start(folder / "a.mov", "video::codec=mpeg4"), S_OK);
  Cea608Text text;
  text.Say("FIRST ONE\nTWO ROWS");
  int said = 0;
  for (int n = 0; n < 60; ++n) {
    if (n == 20) text.Say("SECOND");
    std::vector<std::uint8_t> constructs;
    for (int field = 0; field < 2; ++field) {
      const std::uint16_t pair = text.NextPair();
      said += pair != Cea608Text::kNullPair ? 1 : 0;
      const auto one = ConstructsForPair(pair, kPal);  // 48 of both, more than a frame has room for
      constructs.insert(constructs.end(), one.begin(), one.end());
    }
    const auto items = std::make_shared<CaptionItems>(MakeCaptionItems(constructs, kPal, 0));
    const auto frame = MakeFrame(kSmall, n);
    ASSERT_EQ(host::AddExtra(frame, FourCC("C708"), items->c708.data(), items->c708.size(), items),
              S_OK);
    ASSERT_EQ(writer.Put(frame), S_OK);
  }
  ASSERT_EQ(writer.Stop(), S_OK);
  EXPECT_EQ(Counted(writer, "written"), said);
  EXPECT_EQ(Counted(writer, "lost"), 0);
  const ProgramResult read =
      RunProgram({"ffmpeg", "-v", "error", "-f", "scc", "-i", folder / "a.scc", "-f", "srt", "-"});
  for (const char* line : {"FIRST ONE", "TWO ROWS", "SECOND"}) {
    EXPECT_THAT(read.out, testing::HasSubstr(line));
  }
}

TEST(SideFile, FramesThatFailedAreNotSeen) {
  const TemporaryFolder folder;
  host::Writer writer;
  ASSERT_EQ(writer.Start(folder / "a.mov", "video::codec=mpeg4 diskspace.min=900000T"), S_OK);
  const int taken = PutPairs(writer, 40);
  EXPECT_EQ(writer.Stop(), XV_E_DISK_FULL);
  EXPECT_TRUE(taken > 20 && taken < 40) << taken;
  EXPECT_EQ(Counted(writer, "seen"), taken);
  EXPECT_EQ(Counted(writer, "lost"), taken) << "a line without an end";
}

// What an encoder has not given out by the end counts as lost.
TEST(EmbeddedStream, CaptionsOfPicturesThatAreGivenUpAreLost) {
  constexpr int kFrames = 30;
  const TemporaryFolder folder;
  host::Writer writer;
  ASSERT_EQ(writer.Start(folder / "a.mp4",
                         "video::codec=libx264 video::rc-lookahead=20 embed_cc=true "
                         "scc_capture=false video.buffers=0"),
            S_OK);
  EXPECT_EQ(PutPairs(writer, kFrames), kFrames);
  EXPECT_EQ(writer.StopAtOnce(), XV_E_ABORTED);
  EXPECT_GT(Counted(writer, "lost"), 10);
  EXPECT_EQ(Counted(writer, "embedded") + Counted(writer, "lost"), kFrames);
}

// As strict readers want it: behind the headers of the picture that it belongs to, ahead of slices.
TEST(EmbeddedStream, BlocksStandWithinTheirPictureByDefault) {
  const TemporaryFolder folder;
  for (const bool b : {false, true}) {
    const std::string path = folder / "a.mpg";
    const Recorded recorded =
        RecordCaptions({"mpg", "format=mpeg2video video::codec=mpeg2video" + BPictures(b)}, path);
    std::string codes;  // P: picture, U: captions, s: first slice
    const std::string bytes = folder.Read("a.mpg");
    const std::string start("\0\0\1", 3);
    std::size_t at = bytes.find(start);
    for (; at < bytes.size() - 8; at = bytes.find(start, at + 3)) {
      const auto code = static_cast<std::uint8_t>(bytes[at + 3]);
      if (code == 0x00) codes += 'P';
      if (code == 0x01) codes += 's';
      if (code == 0xB2 && bytes.compare(at + 4, 4, "GA94") == 0) codes += 'U';
    }
    EXPECT_EQ(recorded.lost, 0);
    ASSERT_EQ(codes.size(), 3 * recorded.pairs.size());
    for (std::size_t i = 0; i < codes.size(); i += 3) EXPECT_EQ(codes.substr(i, 3), "PUs") << i;
  }
}

TEST(EmbeddedStream, Mpeg4CarriesEachBlockWithItsPicture) {
  const TemporaryFolder folder;
  for (const char* place : {"sequence", "picture"}) {
    for (const bool b : {false, true}) {
      const Case one{"mp4",
                     std::string("video::codec=mpeg4 embed_cc.placement=") + place + BPictures(b),
                     kPal, b};
      const Recorded recorded = RecordCaptions(one, folder / "a.mp4");
      EXPECT_EQ(recorded.lost, 0);
      const ProbedFile file = Probe(folder / "a.mp4");
      ExpectPictures(file, one);
      EXPECT_EQ(PairsOf(file.Pictures()), recorded.pairs) << place << b;
    }
  }
}

}  // namespace
}  // namespace xv::test
