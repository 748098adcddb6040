#include <gmock/gmock.h>

#include "component/component_setup.h"
#include "support/media_probe.h"

// Which classes are tried, and what becomes of those that do not work.
namespace xv::test {
namespace {

using testing::HasSubstr;

// Those in which the odd class stands at that place, registered.
struct OddSettings : ComponentSettings {
  explicit OddSettings(Odd odd, const std::string& more = {},
                       const std::string& place = "encoder_video")
      : ComponentSettings(more + place + " = '" + IdText(OddClass(odd)) + "'\n") {
    Register(IdText(OddClass(odd)), ODD_MODULE);
  }
};

// The settings' names of the classes that were tried, in order.
std::vector<std::string> Tried(const Traced& trace) {
  std::vector<std::string> out;
  for (const std::string& line : trace.Lines()) {
    if (line.rfind("class ", 0) == 0) out.push_back(line.substr(6, line.find(' ', 6) - 6));
  }
  return out;
}

TEST(ClassWalk, RowsAreTriedInTheirOrder) {
  for (const auto& [codec, rows] :
       {std::pair("Q264",
                  std::vector<std::string>{"encoder_q264hw", "encoder_q264sw", "encoder_video"}),
        {"n264", {"encoder_n264", "encoder_video"}},
        {"gpu_h264", {"encoder_q264hw", "encoder_n264", "encoder_q264sw", "encoder_video"}},
        {"libx264", {"encoder_video"}}}) {
    const ComponentSettings settings;
    const Traced trace;
    const auto encoder = MakeObject<IXfEncoder>(CLSID_CoXfEncoder);
    EXPECT_EQ(encoder->Init(eXfMT_Video, host::Wide(std::string("codec=") + codec).c_str()), S_OK);
    EXPECT_EQ(Tried(trace), rows);
  }
}

TEST(ClassWalk, WithoutAClassEveryCallSaysSo) {
  const ComponentSettings settings("encoder_video = '" + IdText(CLSID_CoXfEncoder) +
                                   "'\nencoder_audio = 'nonsense'\nmuxer = '" + IdText({}) + "'\n");
  const auto encoder = MakeObject<IXfEncoder>(CLSID_CoXfEncoder);
  host::Ptr<IXfPacket> packet;
  std::int32_t left = 5;
  EXPECT_EQ(encoder->Process(packet.Receive(), &left, 0, nullptr), XV_E_FILE_HANDLE);
  EXPECT_EQ(encoder->Configure(nullptr, nullptr, nullptr, nullptr), XV_E_FILE_HANDLE);
  EXPECT_EQ(encoder->Close(), S_FALSE);
  EXPECT_EQ(encoder->Init(eXfMT_Video, u""), XV_E_NOT_SUPPORTED) << "the table would walk itself";
  EXPECT_EQ(encoder->Init(eXfMT_Audio, u""), XV_E_NOT_SUPPORTED);
  EXPECT_EQ(encoder->Init(eXfMT_Data, u""), XV_E_NOT_SUPPORTED);
  const auto muxer = MakeObject<IXfMuxer>(CLSID_CoXfMuxer);
  XV_STREAM_INFO info{};
  EXPECT_EQ(muxer->AddStream(&info, nullptr, nullptr), XV_E_FILE_HANDLE);
  EXPECT_EQ(muxer->GetStream(0, &info, nullptr), XV_E_FILE_HANDLE);
  EXPECT_EQ(muxer->PutPacket(0, nullptr, nullptr), XV_E_FILE_HANDLE);
  EXPECT_EQ(muxer->Close(), S_FALSE);
  EXPECT_EQ(muxer->Init(u"a.mp4", u""), XV_E_NOT_SUPPORTED);
  const auto props = QueryAs<IXvProps>(muxer);
  char16_t* text = nullptr;
  ASSERT_EQ(props->PropsGet(u"_process_pid_", &text), S_OK);
  EXPECT_NE(host::TakeString(text), "");
  ASSERT_EQ(props->PropsSet(u"a::b", u"5"), S_OK);
  ASSERT_EQ(props->PropsGet(u"a::b", &text), S_OK);
  EXPECT_EQ(host::TakeString(text), "5");
}

// The walk goes on to the built-in class, and says why at the end of the table.
TEST(ClassWalk, BrokenClassesAreLeftForTheNext) {
  for (const auto& [odd, words] : {std::pair(Odd::kNoObject, "not in a state"),
                                   {Odd::kInitFails, "The operation failed"},
                                   {Odd::kInitThrows, "not in a state"},
                                   {Odd::kInitBlocks, "timed out"}}) {
    const OddSettings settings(odd, "patience_ms = 1000\n", "encoder_n264");
    const Traced trace;
    std::string noted;
    EXPECT_EQ(Record(settings / "a.mp4", "xfcodecs=true video::codec=n264", kPlain, 5, &noted),
              S_OK)
        << noted;
    EXPECT_THAT(trace.With("class encoder_n264"), HasSubstr(words));
    EXPECT_EQ(trace.With("odd encoder has its sink").empty(), odd == Odd::kNoObject);
    EXPECT_EQ(Probe(settings / "a.mp4").Pictures().frames, 5);
  }
  ComponentSettings settings("encoder_video = '" + IdText(OddClass(Odd::kInitFails)) + "'\n");
  std::string noted;
  EXPECT_EQ(Record(settings / "a.mp4", "xfcodecs=true", kPlain, 1, &noted), XV_E_NOT_SUPPORTED);
  EXPECT_THAT(noted, HasSubstr("it is not registered"));
  settings.Register(IdText(OddClass(Odd::kInitFails)), settings / "missing.so");
  EXPECT_EQ(Record(settings / "a.mp4", "xfcodecs=true", kPlain, 1, &noted), XV_E_NOT_SUPPORTED);
  EXPECT_THAT(noted, HasSubstr("missing.so"));
}

// Behind a good Init: the put answers, nothing crashes, and a stop ends it.
TEST(ClassWalk, BrokenCallsAreTheFramesFailures) {
  for (const auto& [odd, status] : {std::pair(Odd::kConfigureThrows, E_UNEXPECTED),
                                    {Odd::kNoBytes, E_INVALIDARG},
                                    {Odd::kNoCodec, E_INVALIDARG},
                                    {Odd::kEndless, E_UNEXPECTED},
                                    {Odd::kProcessBlocks, XV_E_TIMEOUT}}) {
    const OddSettings settings(odd, "patience_ms = 2000\n");
    const int channels = odd == Odd::kEndless ? 0 : 2;
    EXPECT_EQ(Record(settings / "a.avi", "xfcodecs=true",
                     {.width = 640, .height = 360, .channels = channels}, 1),
              status)
        << static_cast<int>(odd);
  }
}

TEST(ClassWalk, LatePacketsAreLeftOutAndAnEncoderThatOwesSomeIsLeft) {
  const OddSettings settings(Odd::kStandsStill);
  host::Writer writer;
  EXPECT_EQ(Record(writer, settings / "a.avi", "xfcodecs=true", kPlain, 4), S_OK);
  const host::Statistics counts = writer.Stats();
  EXPECT_EQ(counts.drops, 3);
  EXPECT_EQ(counts.ptsErrors, 3);
  EXPECT_EQ(counts.streams.at(0).packets, 1);

  const OddSettings owing(Odd::kNeverReady);
  EXPECT_EQ(Record(writer, owing / "a.avi", "xfcodecs=true", kPlain, 4), XV_E_TIMEOUT);
  EXPECT_EQ(writer.Stats().lastStatus, XV_E_TIMEOUT);
  EXPECT_EQ(Probe(owing / "a.avi").Pictures().frames, 4);
}

// The example's module encodes in place of ours.
TEST(ClassWalk, AnEncoderOfSomebodyElseIsUsed) {
  constexpr char kRawEncoder[] = "c1d9f0a7-3b52-4e68-9f14-d07a86e2b5c3";
  ComponentSettings settings(std::string("encoder_video = '{") + kRawEncoder + "}'\n");
  settings.Register(kRawEncoder, RAW_ENCODER);
  std::string noted;
  ASSERT_EQ(Record(settings / "a.avi", "xfcodecs=true audio::codec=pcm_s16le", kPlain, 8, &noted),
            S_OK)
      << noted;
  const ProbedFile file = Probe(settings / "a.avi");
  EXPECT_EQ(file.Pictures().codec, "rawvideo");
  EXPECT_EQ(file.Pictures().frames, 8);
  EXPECT_EQ(file.Pictures().lumaMeans.at(7), 75);
  EXPECT_EQ(file.Sound().errors, 0);
}

}  // namespace
}  // namespace xv::test
