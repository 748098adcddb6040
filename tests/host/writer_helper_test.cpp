#include <gmock/gmock.h>

#include <atomic>
#include <clocale>
#include <thread>

#include "support/fixtures.h"
#include "support/media_probe.h"
#include "xvwriter/registration.h"

// host::Writer: what it answers in each state, and its texts; nodes and the version.
namespace xv::test {
namespace {

using HostWriter = WithWriter;

constexpr char kCodec[] = "video::codec=mpeg4 ";

TEST_F(HostWriter, TakesFramesBetweenStartAndStopOnly) {
  EXPECT_EQ(writer_.Put(MakeFrame(Feed(), 0)), E_UNEXPECTED);
  EXPECT_EQ(writer_.Start("", kCodec), E_UNEXPECTED);
  EXPECT_EQ(writer_.Put(MakeFrame(Feed(), 0)), E_UNEXPECTED);
  ASSERT_EQ(writer_.Start(folder_ / "a.mp4", kCodec), S_OK);
  EXPECT_EQ(writer_.Stop(), S_FALSE) << "nothing was recorded";
  EXPECT_EQ(writer_.Put(MakeFrame(Feed(), 0)), E_UNEXPECTED);
  ASSERT_EQ(writer_.Start(folder_ / "a.mp4", kCodec), S_OK);
  ASSERT_EQ(PushFrames(writer_, Feed(), 5), S_OK);
  EXPECT_EQ(writer_.Start(folder_ / "b.mp4"), XV_E_IN_USE);
  EXPECT_EQ(writer_.Put(MakeFrame(Feed(), 5)), S_OK) << "what runs goes on";
  EXPECT_EQ(writer_.Stop(), S_OK);
  EXPECT_EQ(writer_.Stop(), S_FALSE);
  const auto size = std::filesystem::file_size(folder_ / "a.mp4");
  EXPECT_EQ(writer_.Put(MakeFrame(Feed(), 6)), E_UNEXPECTED);
  EXPECT_EQ(std::filesystem::file_size(folder_ / "a.mp4"), size) << "the file is not begun anew";
  EXPECT_EQ(Probe(folder_ / "a.mp4").Pictures().frames, 6);
}

TEST_F(HostWriter, StopGivesTheSessionsStatus) {
  ASSERT_EQ(writer_.Start(folder_ / "no/a.mp4", kCodec), S_OK);
  EXPECT_EQ(writer_.Put(MakeFrame(Feed(), 0)), E_FAIL);
  EXPECT_EQ(writer_.Stop(), XV_E_FILE_NOT_FOUND) << "it knows more than the frame was told";
  // A side file that fails, while each frame is taken.
  const auto wav = host::Attribute("wav_path", folder_ / "no/a.wav");
  ASSERT_EQ(writer_.Start(folder_ / "a.mp4", kCodec + wav.value()), S_OK);
  ASSERT_EQ(PushFrames(writer_, Feed(), 5), S_OK);
  EXPECT_EQ(writer_.Stop(), XV_E_FILE_NOT_FOUND);
  EXPECT_THAT(writer_.LastError(), testing::HasSubstr("wav"));
  // What an earlier session left is not the next one's.
  ASSERT_EQ(writer_.Start(folder_ / "b.mp4", kCodec), S_OK);
  EXPECT_EQ(writer_.Stop(), S_FALSE);
  ASSERT_EQ(writer_.Start(folder_ / "b.mp4", kCodec), S_OK);
  ASSERT_EQ(PushFrames(writer_, Feed(), 2), S_OK);
  EXPECT_EQ(writer_.Stop(), S_OK);
}

TEST_F(HostWriter, FramesThatCouldNotBeBuiltSayWhy) {
  ASSERT_EQ(writer_.Start(folder_ / "a.mp4", kCodec), S_OK);
  EXPECT_EQ(writer_.Put(host::FrameBuilder().Aspect(-1, 1)), E_INVALIDARG);
  EXPECT_EQ(writer_.Put(host::Ptr<IXvFrame>()), E_POINTER);
  EXPECT_EQ(writer_.Stop(), S_FALSE) << "no frame got as far as the output";
  EXPECT_FALSE(std::filesystem::exists(folder_ / "a.mp4"));
}

// Four threads put, one stops and starts, one reads: each call has an answer, and each stop leaves
// a whole file.
TEST_F(HostWriter, AnyThreadMayCallAtAnyTime) {
  constexpr int kRounds = 6;
  std::atomic<bool> done{false};
  std::atomic<int> taken{0}, refused{0};
  std::atomic<HRESULT> other{S_OK};
  std::atomic<int> warnings{0};
  XvSetWarningHandler([](const char*, void* count) { ++*static_cast<std::atomic<int>*>(count); },
                      &warnings);
  const auto put = [&](bool throughObject) {
    const auto receiver = host::QueryAs<IXvReceiver_I>(writer_.object());
    for (int number = 0; !done; ++number) {
      const auto frame = MakeFrame({.width = 64, .height = 64}, number);
      const HRESULT result =
          throughObject ? receiver->ReceiverPut(nullptr, nullptr, frame.get()) : writer_.Put(frame);
      const bool known =
          result == E_UNEXPECTED || result == XV_E_NOT_OPEN || result == XV_E_ALREADY_EXISTS;
      if (Failed(result) && !known) other = result;
      ++(Succeeded(result) ? taken : refused);
    }
  };
  std::vector<std::thread> threads;
  for (const bool throughObject : {false, false, true, true}) {
    threads.emplace_back(put, throughObject);
  }
  threads.emplace_back([&] {
    while (!done) {
      (void)writer_.Stats();
      (void)writer_.Set("video::b", "300k");
      (void)writer_.Get("video::b");
    }
  });
  for (int round = 0; round < kRounds; ++round) {
    const std::string name = folder_ / ("a" + std::to_string(round) + ".mp4");
    while (writer_.Start(name, kCodec) == XV_E_IN_USE) (void)writer_.Stop();
    for (const int begin = taken; taken < begin + 20;) std::this_thread::yield();
    EXPECT_GE(writer_.Stop(), S_OK) << writer_.LastError();
    EXPECT_GT(Probe(name).Pictures().frames, 0);
  }
  done = true;
  for (std::thread& thread : threads) thread.join();
  EXPECT_GT(refused, 0);
  EXPECT_EQ(other, S_OK);
  XvSetWarningHandler(nullptr, nullptr);
  EXPECT_EQ(warnings, 0);
}

TEST_F(HostWriter, MovesWithItsRecording) {
  const auto begin = [&](host::Writer& writer, const char* name, int count) {
    ASSERT_EQ(writer.Start(folder_ / name, kCodec), S_OK);
    ASSERT_EQ(PushFrames(writer, Feed(), count), S_OK);
  };
  host::Writer first, third;
  begin(first, "a.mp4", 5);
  host::Writer second = std::move(first);
  // NOLINTBEGIN(bugprone-use-after-move)
  for (const HRESULT result : {first.Start(folder_ / "b.mp4"), first.Put(MakeFrame(Feed(), 5)),
                               first.Stop(), first.Set("a", "1"), first.Merge("a", "b=1")}) {
    EXPECT_EQ(result, E_UNEXPECTED);
  }
  EXPECT_EQ(first.Get("a") + first.LastError(), "");
  EXPECT_EQ(first.Stats().framesIn, 0);
  EXPECT_FALSE(first.object());
  // NOLINTEND(bugprone-use-after-move)
  ASSERT_EQ(PushFrames(second, Feed(), 5, 5), S_OK);
  begin(third, "c.mp4", 3);
  const auto held = third.object();
  third = std::move(second);
  EXPECT_EQ(Probe(folder_ / "c.mp4").Pictures().frames, 3) << "stopped before it was replaced";
  ASSERT_EQ(PushFrames(third, Feed(), 5, 10), S_OK);
  EXPECT_EQ(third.Stop(), S_OK);
  EXPECT_EQ(Probe(folder_ / "a.mp4").Pictures().frames, 15);
  begin(third, "e.mp4", 1);
  host::Writer fourth = std::move(third);
  EXPECT_EQ(fourth.Stop(), S_OK) << "it knows that there was a recording";
  first = host::Writer();
  EXPECT_EQ(first.Start(folder_ / "d.mp4"), S_OK) << "an empty one may be filled again";
}

TEST_F(HostWriter, ReadsItsStatisticsIntoARecord) {
  EXPECT_TRUE(writer_.Stats().streams.empty());
  const char* const kBoth = "video::codec=mpeg4 audio::codec=aac nobody=1 none::x=2";
  ASSERT_EQ(writer_.Start(folder_ / "a.mp4", kBoth), S_OK);
  ASSERT_EQ(PushFrames(writer_, Feed(), 20), S_OK);
  ASSERT_EQ(writer_.Put(MakeFrame(Feed(), 19)), S_OK) << "too far back: a new offset";
  ASSERT_EQ(writer_.Stop(), S_OK);
  // Where the decimal point of the locale is a comma.
  const std::string before = std::setlocale(LC_NUMERIC, nullptr);
  (void)(std::setlocale(LC_NUMERIC, "de_DE.UTF-8") || std::setlocale(LC_NUMERIC, "C.UTF-8"));
  const host::Statistics stats = writer_.Stats();
  std::setlocale(LC_NUMERIC, before.c_str());
  EXPECT_TRUE(stats.framesIn == 21 && stats.drops == 0 && stats.lastStatus == S_OK);
  EXPECT_EQ(stats.rebases, 1);
  EXPECT_THAT(stats.lastError, testing::StartsWith("time: "));
  EXPECT_THAT(stats.unusedOptions, testing::Contains("nobody"));
  ASSERT_EQ(stats.streams.size(), 2u);
  EXPECT_EQ(stats.streams[0].packets, 21);
  EXPECT_EQ(std::to_string(stats.streams[1].bytes), writer_.Get("quality::bytes.1"));
  EXPECT_GT(stats.streams[0].bytes, 0);
  EXPECT_NEAR(stats.encodeP50.count(), std::stod(writer_.Get("quality::encode_ms.p50")), 1e-9);
  EXPECT_NEAR(stats.writeP99.count(), std::stod(writer_.Get("quality::write_ms.p99")), 1e-9);
  EXPECT_GT(stats.encodeP99.count(), 0);
  EXPECT_TRUE(stats.others.empty()) << stats.others[0].first;
}

TEST_F(HostWriter, StatisticsOfANewerLibraryAreKeptAsText) {
  host::detail::StatisticsReader reader;
  for (const auto& [name, text] : {std::pair{"drops", "7"},
                                   {"frames_in", "seven"},
                                   {"encode_ms.p50", "1234.567"},
                                   {"encode_ms.p99", "12.34"},
                                   {"write_ms.p50", "soon"},
                                   {"packets.2", "5"},
                                   {"packets.x", "5"},
                                   {"packets.4097", "5"},
                                   {"unused_options", "a\nb::c (did you mean d::c?)\n"},
                                   {"bad_values", "e=f (expected 1 or 2)"},
                                   {"last_status", "0x80070070"}}) {
    reader.Take(name, text);
  }
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
  EXPECT_EQ(others,
            "frames_in=seven encode_ms.p99=12.34 write_ms.p50=soon packets.x=5 packets.4097=5 ");
}

TEST_F(HostWriter, SetsAPropertyToTheTextThatItIs) {
  for (const char* value :
       {"plain", "/a=b/c.wav", "it's=1", "<x>", "<x y='1'>", "'a=b'", "a b=c"}) {
    EXPECT_EQ(writer_.Set("video::x", value), S_OK) << value;
    EXPECT_EQ(writer_.Get("video::x"), value);
  }
  EXPECT_EQ(writer_.Set("video::x", ""), S_OK);
  EXPECT_EQ(writer_.Get("video::x"), "");
  EXPECT_EQ(writer_.Set("", "a"), E_INVALIDARG);
  EXPECT_EQ(writer_.Set("a::::b", "c=d"), E_INVALIDARG);
  EXPECT_EQ(writer_.Set("a", "b='c\" d'=\"e"), E_INVALIDARG) << "both quotes and a blank";
  EXPECT_EQ(writer_.Set("a", std::string_view("b\0c", 3)), E_INVALIDARG);
  EXPECT_EQ(writer_.Start(std::string_view("/tmp/a\0.mp4", 11)), E_INVALIDARG) << "it would be cut";
  EXPECT_EQ(writer_.Merge("video", "x=1 y='2 3'"), S_OK);
  EXPECT_EQ(writer_.Get("video::x") + writer_.Get("video::y"), "12 3");
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
  for (const char* value : {"it's \"this\"", "'both\"", "\"both'", "x'\"\uFDD0", "a'b\"c\td",
                            "'\"\uFDD0", "'\"x\uFFEEy", "x'\"\uFFEF"}) {
    EXPECT_EQ(host::Quote(value), std::nullopt) << value;
  }
  EXPECT_EQ(host::Quote(std::string_view("a\0b", 3)), std::nullopt);
  for (const char* name : {"", "a b", "a=b", "::a", "a::", "a::::b", "::", "a\uFDD1"}) {
    EXPECT_EQ(host::Attribute(name, "v"), std::nullopt) << name;
  }
  EXPECT_EQ(host::Attribute("a:b", "v"), "a:b='v'");
}

std::string TextOf(const char16_t* given) {
  host::Ptr<IXvNode> node;
  if (XvNodeCreate(given, node.Receive()) != S_OK) return "failed";
  char16_t* text = nullptr;
  EXPECT_EQ(node->ToXML(&text), S_OK);
  return host::TakeString(text);
}

TEST(NodeCreate, MakesANodeOutOfAttributesOrXml) {
  for (const auto& [given, xml] :
       {std::pair{(const char16_t*)nullptr, "<node/>"},
        {u"", "<node/>"},
        {u"a=1 b='2 3' c::d=4", "<node a='1' b='2 3'><c d='4'/></node>"},
        {u"\r\n <mine a=1><0>x</0></mine>", "<mine a='1'><0>x</0></mine>"},
        {u"<?xml version='1.0'?><mine _x0030_='&lt;'/>", "<mine 0='<'/>"},
        {u"a='<b>'", "<node a='<b>'/>"}}) {  // attribute text that has a bracket
    EXPECT_EQ(TextOf(given), xml);
  }
  EXPECT_EQ(XvNodeCreate(u"a=1", nullptr), E_POINTER);
}

TEST(Version, OfHeadersAndLibraryAreThoseOfTheProject) {
  EXPECT_EQ(XvVersionGet(), std::uint32_t{XV_VERSION_NUMBER});
  const std::string text = std::to_string(XV_VERSION_MAJOR) + "." +
                           std::to_string(XV_VERSION_MINOR) + "." +
                           std::to_string(XV_VERSION_PATCH) + ".0";
  EXPECT_EQ(host::Writer().Get("dll-version"), text);
}

}  // namespace
}  // namespace xv::test
