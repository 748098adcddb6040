#include <gmock/gmock.h>

#include <clocale>

#include "support/media_probe.h"

// host::Writer: what it answers in each state, and its texts.
namespace xv::test {
namespace {

constexpr char kCodec[] = "video::codec=mpeg4 ";

TEST(HostWriter, TakesFramesBetweenStartAndStopOnly) {
  TemporaryFolder folder;
  host::Writer writer;
  EXPECT_EQ(writer.Put(MakeFrame(Feed(), 0)), E_UNEXPECTED);
  EXPECT_EQ(writer.Start("", kCodec), E_UNEXPECTED);
  EXPECT_EQ(writer.Put(MakeFrame(Feed(), 0)), E_UNEXPECTED);
  ASSERT_EQ(writer.Start(folder / "a.mp4", kCodec), S_OK);
  EXPECT_EQ(writer.Stop(), S_FALSE) << "nothing was recorded";
  EXPECT_EQ(writer.Put(MakeFrame(Feed(), 0)), E_UNEXPECTED);
  ASSERT_EQ(writer.Start(folder / "a.mp4", kCodec), S_OK);
  ASSERT_EQ(PushFrames(writer, Feed(), 5), S_OK);
  EXPECT_EQ(writer.Start(folder / "b.mp4"), XV_E_IN_USE);
  EXPECT_EQ(writer.Put(MakeFrame(Feed(), 5)), S_OK) << "what runs goes on";
  EXPECT_EQ(writer.Stop(), S_OK);
  EXPECT_EQ(writer.Stop(), S_FALSE);
  const auto size = std::filesystem::file_size(folder / "a.mp4");
  EXPECT_EQ(writer.Put(MakeFrame(Feed(), 6)), E_UNEXPECTED);
  EXPECT_EQ(std::filesystem::file_size(folder / "a.mp4"), size) << "the file is not begun anew";
  EXPECT_EQ(Probe(folder / "a.mp4").Video()->frames, 6);
}

TEST(HostWriter, StopGivesTheSessionsStatus) {
  TemporaryFolder folder;
  host::Writer writer;
  ASSERT_EQ(writer.Start(folder / "no/a.mp4", kCodec), S_OK);
  EXPECT_EQ(writer.Put(MakeFrame(Feed(), 0)), E_FAIL);
  EXPECT_EQ(writer.Stop(), XV_E_FILE_NOT_FOUND) << "it knows more than the frame was told";
  // A side file that fails, while each frame is taken.
  const auto wav = host::Attribute("wav_path", folder / "no/a.wav");
  ASSERT_EQ(writer.Start(folder / "a.mp4", kCodec + wav.value()), S_OK);
  ASSERT_EQ(PushFrames(writer, Feed(), 5), S_OK);
  EXPECT_EQ(writer.Stop(), XV_E_FILE_NOT_FOUND);
  EXPECT_THAT(writer.LastError(), testing::HasSubstr("wav"));
  // What an earlier session left is not the next one's.
  ASSERT_EQ(writer.Start(folder / "b.mp4", kCodec), S_OK);
  EXPECT_EQ(writer.Stop(), S_FALSE);
  ASSERT_EQ(writer.Start(folder / "b.mp4", kCodec), S_OK);
  ASSERT_EQ(PushFrames(writer, Feed(), 2), S_OK);
  EXPECT_EQ(writer.Stop(), S_OK);
}

TEST(HostWriter, FramesThatCouldNotBeBuiltSayWhy) {
  TemporaryFolder folder;
  host::Writer writer;
  ASSERT_EQ(writer.Start(folder / "a.mp4", kCodec), S_OK);
  EXPECT_EQ(writer.Put(host::FrameBuilder().Aspect(-1, 1)), E_INVALIDARG);
  EXPECT_EQ(writer.Put(host::Ptr<IXvFrame>()), E_POINTER);
  EXPECT_EQ(writer.Stop(), S_FALSE) << "no frame got as far as the output";
  EXPECT_FALSE(std::filesystem::exists(folder / "a.mp4"));
}

TEST(HostWriter, MovesWithItsRecording) {
  TemporaryFolder folder;
  host::Writer first;
  ASSERT_EQ(first.Start(folder / "a.mp4", kCodec), S_OK);
  ASSERT_EQ(PushFrames(first, Feed(), 5), S_OK);
  host::Writer second = std::move(first);
  // NOLINTBEGIN(bugprone-use-after-move)
  EXPECT_EQ(first.Start(folder / "b.mp4"), E_UNEXPECTED);
  EXPECT_EQ(first.Put(MakeFrame(Feed(), 5)), E_UNEXPECTED);
  EXPECT_EQ(first.Stop(), E_UNEXPECTED);
  EXPECT_EQ(first.Set("a", "1"), E_UNEXPECTED);
  EXPECT_EQ(first.Merge("a", "b=1"), E_UNEXPECTED);
  EXPECT_EQ(first.Get("a") + first.LastError(), "");
  EXPECT_EQ(first.Stats().framesIn, 0);
  EXPECT_FALSE(first.object());
  // NOLINTEND(bugprone-use-after-move)
  ASSERT_EQ(PushFrames(second, Feed(), 5, 5), S_OK);
  host::Writer third;
  ASSERT_EQ(third.Start(folder / "c.mp4", kCodec), S_OK);
  ASSERT_EQ(PushFrames(third, Feed(), 3), S_OK);
  const auto held = third.object();
  third = std::move(second);
  EXPECT_EQ(Probe(folder / "c.mp4").Video()->frames, 3) << "stopped before it was replaced";
  ASSERT_EQ(PushFrames(third, Feed(), 5, 10), S_OK);
  EXPECT_EQ(third.Stop(), S_OK);
  EXPECT_EQ(Probe(folder / "a.mp4").Video()->frames, 15);
  ASSERT_EQ(third.Start(folder / "e.mp4", kCodec), S_OK);
  ASSERT_EQ(PushFrames(third, Feed(), 1), S_OK);
  host::Writer fourth = std::move(third);
  EXPECT_EQ(fourth.Stop(), S_OK) << "it knows that there was a recording";
  first = host::Writer();
  EXPECT_EQ(first.Start(folder / "d.mp4"), S_OK) << "an empty one may be filled again";
}

TEST(HostWriter, ReadsItsStatisticsIntoARecord) {
  TemporaryFolder folder;
  host::Writer writer;
  EXPECT_TRUE(writer.Stats().streams.empty());
  ASSERT_EQ(
      writer.Start(folder / "a.mp4", "video::codec=mpeg4 audio::codec=aac nobody=1 none::x=2"),
      S_OK);
  ASSERT_EQ(PushFrames(writer, Feed(), 20), S_OK);
  ASSERT_EQ(writer.Put(MakeFrame(Feed(), 19)), S_OK) << "too far back: a new offset";
  ASSERT_EQ(writer.Stop(), S_OK);
  // Where the decimal point of the locale is a comma.
  const std::string before = std::setlocale(LC_NUMERIC, nullptr);
  for (const char* name : {"de_DE.UTF-8", "C.UTF-8"}) {
    if (std::setlocale(LC_NUMERIC, name) != nullptr) break;
  }
  const host::Statistics stats = writer.Stats();
  std::setlocale(LC_NUMERIC, before.c_str());
  EXPECT_EQ(stats.framesIn, 21);
  EXPECT_EQ(stats.drops, 0);
  EXPECT_EQ(stats.lastStatus, S_OK);
  EXPECT_EQ(stats.rebases, 1);
  EXPECT_THAT(stats.lastError, testing::StartsWith("time: "));
  EXPECT_THAT(stats.unusedOptions, testing::Contains("nobody"));
  ASSERT_EQ(stats.streams.size(), 2u);
  EXPECT_EQ(stats.streams[0].packets, 21);
  EXPECT_EQ(std::to_string(stats.streams[1].bytes), writer.Get("quality::bytes.1"));
  EXPECT_GT(stats.streams[0].bytes, 0);
  const auto text = [](host::Milliseconds time) {
    char out[32];
    std::snprintf(out, sizeof out, "%.3f", time.count());
    return std::string(out);
  };
  EXPECT_EQ(text(stats.encodeP50), writer.Get("quality::encode_ms.p50"));
  EXPECT_EQ(text(stats.writeP99), writer.Get("quality::write_ms.p99"));
  EXPECT_GT(stats.encodeP99.count(), 0);
  EXPECT_TRUE(stats.others.empty()) << stats.others[0].first;
}

TEST(HostWriter, StatisticsOfANewerLibraryAreKeptAsText) {
  host::detail::StatisticsReader reader;
  reader.Take("drops", "7");
  reader.Take("frames_in", "seven");
  reader.Take("encode_ms.p50", "1234.567");
  reader.Take("write_ms.p50", "soon");
  reader.Take("packets.2", "5");
  reader.Take("packets.x", "5");
  reader.Take("packets.99999999999", "5");
  reader.Take("unused_options", "a\nb::c (did you mean d::c?)\n");
  reader.Take("bad_values", "e=f (expected 1 or 2)");
  reader.Take("last_status", "0x80070070");
  const host::Statistics stats = reader.Done();
  EXPECT_EQ(stats.drops, 7);
  EXPECT_DOUBLE_EQ(stats.encodeP50.count(), 1234.567);
  ASSERT_EQ(stats.streams.size(), 3u);
  EXPECT_EQ(stats.streams[2].packets, 5);
  EXPECT_THAT(stats.unusedOptions, testing::ElementsAre("a", "b::c (did you mean d::c?)"));
  EXPECT_THAT(stats.badValues, testing::ElementsAre("e=f (expected 1 or 2)"));
  EXPECT_EQ(stats.lastStatus, XV_E_DISK_FULL);
  std::string others;
  for (const auto& [name, value] : stats.others) others += name + "=" + value + " ";
  EXPECT_EQ(others, "frames_in=seven write_ms.p50=soon packets.x=5 packets.99999999999=5 ");
}

TEST(HostWriter, SetsAPropertyToTheTextThatItIs) {
  host::Writer writer;
  for (const char* value :
       {"plain", "/a=b/c.wav", "it's=1", "<x>", "<x y='1'>", "'a=b'", "a b=c"}) {
    EXPECT_EQ(writer.Set("video::x", value), S_OK) << value;
    EXPECT_EQ(writer.Get("video::x"), value);
  }
  EXPECT_EQ(writer.Set("video::x", ""), S_OK);
  EXPECT_EQ(writer.Get("video::x"), "");
  EXPECT_EQ(writer.Set("", "a"), E_INVALIDARG);
  EXPECT_EQ(writer.Set("a::::b", "c=d"), E_INVALIDARG);
  EXPECT_EQ(writer.Set("a", "b='c\" d'=\"e"), E_INVALIDARG) << "both quotes and a blank";
  EXPECT_EQ(writer.Set("a", std::string_view("b\0c", 3)), E_INVALIDARG);
  EXPECT_EQ(writer.Start(std::string_view("/tmp/a\0.mp4", 11)), E_INVALIDARG) << "it would be cut";
  EXPECT_EQ(writer.Merge("video", "x=1 y='2 3'"), S_OK);
  EXPECT_EQ(writer.Get("video::x") + writer.Get("video::y"), "12 3");
}

TEST(AttributeText, WhatIsQuotedIsReadBack) {
  const char* const values[] = {"",
                                "plain",
                                "two words",
                                "it's",
                                "say \"hi\"",
                                "both'\"kinds",
                                "a=b c=d",
                                "line\nend\t",
                                "<b>&amp;",
                                "\u00fc\U0001F600",
                                "x'\"\u0640\uFDFA"};
  for (const char* value : values) {
    const auto written = host::Attribute("n::v", value);
    ASSERT_TRUE(written) << value;
    host::Ptr<IXvNode> node;
    const std::string text = "first=1 " + *written + " last=2";
    ASSERT_EQ(XvNodeCreate(host::Wide(text).c_str(), node.Receive()), S_OK);
    const auto read = [&](const char16_t* name) {
      char16_t* out = nullptr;
      EXPECT_EQ(node->GetString(name, &out), S_OK) << value;
      return host::TakeString(out);
    };
    EXPECT_EQ(read(u"n::v"), value);
    EXPECT_EQ(read(u"first") + read(u"last"), "12") << value;
  }
}

TEST(AttributeText, WhatCannotBeWrittenIsRefused) {
  for (const char* value : {"it's \"this\"", "'both\"", "\"both'", "a'b\"c\td", "'\"\uFDD0",
                            "'\"x\uFFEEy", "x'\"\uFFEF"}) {
    EXPECT_EQ(host::Quote(value), std::nullopt) << value;
  }
  EXPECT_EQ(host::Quote(std::string_view("a\0b", 3)), std::nullopt);
  for (const char* name : {"", "a b", "a=b", "::a", "a::", "a::::b", "::", "a\uFDD1"}) {
    EXPECT_EQ(host::Attribute(name, "v"), std::nullopt) << name;
  }
  EXPECT_EQ(host::Attribute("a:b", "v"), "a:b='v'");
}

}  // namespace
}  // namespace xv::test
