#include <gmock/gmock.h>

#include "component/component_setup.h"
#include "support/media_probe.h"
#include "support/peer_process.h"
#include "xvwriter/packets.hpp"

// Encoded pictures that are passed on as they are.
namespace xv::test {
namespace {

using testing::HasSubstr;

// Pictures of a stream that another recording made, H.264 with pictures out of order.
class PassedPackets : public testing::Test {
 protected:
  static constexpr int kCount = 36;

  void SetUp() override {
    stream_->info.nWidth = 640;
    stream_->info.nHeight = 360;
    stream_->info.dblRate = 25;
    stream_->info.nTimeBaseNum = 1;
    stream_->info.nTimeBaseDen = 90'000;
    stream_->info.nReorder = 2;
    ASSERT_EQ(Record(folder_ / "source.ts", "video::codec=libx264 video::bf=2 video::g=12",
                     {.width = 640, .height = 360, .channels = 0}, kCount),
              S_OK);
    source_ = Probe(folder_ / "source.ts").Pictures();
    ASSERT_EQ(source_.packets.size(), static_cast<std::size_t>(kCount));
  }

  host::EncodedData Data(std::size_t i) const {
    host::EncodedData data;
    data.data = source_.packets[i].bytes.data();
    data.bytes = source_.packets[i].bytes.size();
    data.pts = source_.packets[i].pts;
    data.key = source_.keys[i] == 'K';
    return data;
  }

  // A frame without a picture, at the time at which picture `i` of the file is shown; with sound
  // where `sound` has some.
  host::Ptr<IXvFrame> Frame(std::size_t i, const std::vector<std::int16_t>& sound = {}) const {
    const host::Ticks time(Units(source_.packets[i].pts));
    host::FrameBuilder builder;
    builder.Video(kFccUYVY, 640, 360, 25, nullptr, 0).Time(time, time + host::Ticks(400'000));
    if (!sound.empty()) {
      builder.Audio(1, 48000, 16, sound.data(), sound.size() * sizeof(std::int16_t));
    }
    return std::move(builder).Build();
  }

  static std::int64_t Units(std::int64_t pts) { return pts * 1000 / 9; }

  HRESULT Put(std::size_t i, const host::EncodedData& data,
              const std::vector<std::int16_t>& sound = {}) {
    const auto frame = Frame(i, sound);
    const HRESULT added = AddPacket(frame, stream_, data);
    return Failed(added) ? added : writer_.Put(frame);
  }

  TemporaryFolder folder_;
  host::Writer writer_;
  ProbedStream source_;
  const std::shared_ptr<host::PacketStream> stream_ =
      std::make_shared<host::PacketStream>(eXfMT_Video, "h264");
};

TEST_F(PassedPackets, GoIntoOtherContainersUntouched) {
  for (const char* name : {"a.ts", "a.mp4", "a.mkv"}) {
    ASSERT_EQ(writer_.Start(folder_ / name, "video::codec=Packets"), S_OK);
    for (std::size_t i = 0; i < kCount; ++i) ASSERT_EQ(Put(i, Data(i)), S_OK);
    ASSERT_EQ(writer_.Stop(), S_OK) << writer_.LastError();
    const ProbedStream pictures = Probe(folder_ / name).Pictures();
    EXPECT_EQ(pictures.errors, 0);
    EXPECT_EQ(pictures.lumaMeans, source_.lumaMeans) << name;
    EXPECT_EQ(pictures.pictureTypes, source_.pictureTypes) << name;
    EXPECT_EQ(pictures.keys, source_.keys) << name;
    EXPECT_NEAR(pictures.seconds, 0.04 * kCount, 0.001) << name;
    if (std::string(name) != "a.mkv") continue;
    for (std::size_t i = 0; i < source_.packets.size(); ++i) {
      const std::int64_t milliseconds = (source_.packets[i].pts - source_.packets[0].pts) / 90;
      EXPECT_EQ(pictures.packets[i].pts - pictures.packets[0].pts, milliseconds) << i;
    }
  }
}

TEST_F(PassedPackets, BeginAtAKeyWithTheirSoundAtZero) {
  const std::vector<std::int16_t> sound(1920, 1000);
  ASSERT_EQ(writer_.Start(folder_ / "a.mkv", "video::codec=packets audio::codec=pcm_s16le"), S_OK);
  const std::size_t key = source_.keys.find('K', 1);
  for (std::size_t i = 5; i < source_.packets.size(); ++i) {
    EXPECT_EQ(Put(i, Data(i), sound), S_OK);
  }
  ASSERT_EQ(writer_.Stop(), S_OK) << writer_.LastError();
  EXPECT_EQ(writer_.Stats().drops, static_cast<std::int64_t>(key) - 5);
  const ProbedFile file = Probe(folder_ / "a.mkv");
  EXPECT_EQ(file.Pictures().packets.size(), source_.packets.size() - key);
  EXPECT_EQ(file.Pictures().keys.front(), 'K');
  EXPECT_EQ(file.Pictures().packets.front().pts, 0);
  EXPECT_NEAR(file.Sound().start, 0.0, 0.002);
}

TEST_F(PassedPackets, OddOnesHaveTheirResults) {
  ASSERT_EQ(writer_.Start(folder_ / "a.mkv", "video::codec=packets"), S_OK);
  EXPECT_EQ(Put(0, Data(0)), S_OK);
  host::EncodedData bare = Data(1);
  bare.pts = kNoTime;
  EXPECT_EQ(Put(1, bare), S_OK);
  host::EncodedData empty = Data(2);
  empty.bytes = 0;
  EXPECT_EQ(Put(2, empty), E_INVALIDARG);
  const auto other = Frame(2);
  ASSERT_EQ(
      AddPacket(other, std::make_shared<host::PacketStream>(eXfMT_Video, "mpeg2video"), Data(2)),
      S_OK);
  EXPECT_EQ(writer_.Put(other), XV_E_NOT_SUPPORTED);
  EXPECT_THAT(writer_.LastError(), HasSubstr("mpeg2video in a stream of h264"));
  EXPECT_EQ(writer_.Put(Frame(2)), XV_E_NO_VALID_MEDIA) << "a frame without anything";
  // Its decoding stamp lies at the first one.
  host::EncodedData late = Data(0);
  late.dts = late.pts;
  host::EncodedData known = Data(4);
  known.dts = known.pts;
  EXPECT_EQ(Put(4, known), S_OK);
  EXPECT_EQ(Put(0, late), S_OK);
  EXPECT_EQ(writer_.Stats().drops, 1);
  EXPECT_EQ(writer_.Stats().ptsErrors, 1);
  EXPECT_EQ(writer_.Stats().streams.at(0).packets, 3);
  EXPECT_NE(writer_.Stop(), E_UNEXPECTED);
  EXPECT_EQ(Probe(folder_ / "a.mkv").Pictures().packets.size(), 3u);
}

TEST_F(PassedPackets, ElsewhereTheFramesPictureCounts) {
  for (const char* attributes : {"", "xfcodecs=true"}) {
    ASSERT_EQ(writer_.Start(folder_ / "a.mp4", attributes), S_OK);
    EXPECT_EQ(Put(0, Data(0)), XV_E_NO_VALID_MEDIA);
    EXPECT_THAT(writer_.LastError(), HasSubstr("video::codec=packets"));
    for (int i = 0; i < 5; ++i) {
      const auto frame = MakeFrame(kPlain, i);
      ASSERT_EQ(AddPacket(frame, stream_, Data(0)), S_OK);
      EXPECT_EQ(writer_.Put(frame), S_OK);
    }
    EXPECT_EQ(writer_.Stop(), S_OK);
    EXPECT_EQ(Probe(folder_ / "a.mp4").Pictures().frames, 5);
  }
  EXPECT_EQ(AddPacket(Frame(0), nullptr, Data(0)), E_POINTER);
  host::EncodedData nowhere;
  nowhere.bytes = 5;
  EXPECT_EQ(AddPacket(Frame(0), stream_, nowhere), E_POINTER);
}

// A stream of pictures, one a second, and sound of which nobody tells the codec.
class MuxerAlone : public testing::Test {
 protected:
  MuxerAlone() {
    pictures_->info.nWidth = pictures_->info.nHeight = 16;
    pictures_->info.dblRate = 1;
  }
  static host::Ptr<IXfPacket> Packet(std::shared_ptr<const host::PacketStream> stream,
                                     std::int64_t second) {
    host::EncodedData data;
    data.data = "0123456789ab";
    data.bytes = 12;
    data.pts = data.dts = second * kTimeUnitsPerSecond;
    data.duration = kTimeUnitsPerSecond;
    data.key = true;
    return MakePacket(std::move(stream), data);
  }
  HRESULT Begin(const std::string& name) {
    return muxer_->Init(host::Wide(folder_ / name).c_str(), u"metadata::title=Alone");
  }

  TemporaryFolder folder_;
  const std::shared_ptr<host::PacketStream> pictures_ =
      std::make_shared<host::PacketStream>(eXfMT_Video, "mjpeg");
  const host::Ptr<IXfMuxer> muxer_ = MakeObject<IXfMuxer>(CLSID_CoXfMuxer);
};

TEST_F(MuxerAlone, BeginsWithTheFirstPacketOfAStreamThatIsKnown) {
  ASSERT_EQ(Begin("a.mkv"), S_OK);
  std::int32_t index = -1;
  EXPECT_EQ(muxer_->AddStream(&pictures_->info, &index, nullptr), S_OK);
  EXPECT_EQ(index, 0);
  XV_STREAM_INFO info{};
  host::Ptr<IUnknown> owner;
  EXPECT_EQ(muxer_->GetStream(0, &info, owner.Receive()), S_OK);
  EXPECT_TRUE(owner);
  EXPECT_EQ(host::Narrow(info.tag), "mjpeg");
  EXPECT_EQ(muxer_->GetStream(1, &info, owner.Receive()), XV_E_NOT_FOUND);
  EXPECT_EQ(muxer_->PutPacket(1, Packet(pictures_, 0).get(), nullptr), XV_E_NOT_FOUND);
  EXPECT_FALSE(std::filesystem::exists(folder_ / "a.mkv"));
  EXPECT_EQ(muxer_->PutPacket(0, Packet(pictures_, 0).get(), nullptr), S_OK);
  EXPECT_TRUE(std::filesystem::exists(folder_ / "a.mkv"));
  EXPECT_EQ(muxer_->AddStream(&pictures_->info, nullptr, nullptr), E_UNEXPECTED);
  EXPECT_EQ(muxer_->PutPacket(0, Packet(pictures_, 0).get(), nullptr), S_FALSE) << "late";
  EXPECT_EQ(muxer_->Close(), S_OK);
  EXPECT_EQ(muxer_->Close(), S_FALSE);
  const ProbedFile file = Probe(folder_ / "a.mkv");
  EXPECT_EQ(file.title, "Alone");
  EXPECT_EQ(file.Pictures().packets.size(), 1u);
}

TEST_F(MuxerAlone, WaitsTenSecondsForAStreamThatNobodyTells) {
  ASSERT_EQ(Begin("a.mkv"), S_OK);
  const auto sound = std::make_shared<host::PacketStream>(eXfMT_Audio, "");
  ASSERT_EQ(muxer_->AddStream(&pictures_->info, nullptr, nullptr), S_OK);
  ASSERT_EQ(muxer_->AddStream(&sound->info, nullptr, nullptr), S_OK);
  EXPECT_EQ(muxer_->PutPacket(1, Packet(sound, 0).get(), nullptr), E_INVALIDARG);
  for (int i = 0; i < 13; ++i) {
    EXPECT_EQ(muxer_->PutPacket(0, Packet(pictures_, i).get(), nullptr), S_OK);
  }
  EXPECT_EQ(muxer_->PutPacket(1, Packet(sound, 13).get(), nullptr), XV_E_NOT_FOUND);
  EXPECT_EQ(muxer_->Close(), S_OK);
  const ProbedFile file = Probe(folder_ / "a.mkv");
  EXPECT_EQ(file.streams.size(), 1u);
  EXPECT_EQ(file.Pictures().packets.size(), 13u);
}

// The hashes of the decoded pictures, in their order.
std::string Hashes(const std::string& file) {
  const ProgramResult result = RunProgram({"ffmpeg", "-v", "error", "-i", file, "-map", "0:v",
                                           "-fps_mode", "passthrough", "-f", "framemd5", "-"});
  std::istringstream lines(result.out);
  std::string hashes;
  for (std::string line; std::getline(lines, line);) {
    if (!line.empty() && line[0] != '#') hashes += line.substr(line.rfind(',') + 1) + "\n";
  }
  return hashes;
}

TEST(XvrecordPackets, RemuxesWithoutTouchingThePictures) {
  TemporaryFolder folder;
  const std::string clip = BUNNY;
  const ProgramResult made =
      RunProgram({"ffmpeg", "-v", "error", "-i", clip, "-c:v", "mpeg2video", "-bf", "2", "-g", "12",
                  "-q:v", "4", "-c:a", "mp2", "-t", "3", folder / "source.mpg"});
  ASSERT_EQ(made.status, 0) << made.err;
  for (const auto& [source, target] : {std::pair(clip, "a.ts"),
                                       {folder / "source.mpg", "a.ts"},
                                       {folder / "source.mpg", "a.mp4"}}) {
    const ProgramResult result = RunProgram({XVRECORD, "-y", "--packets", source, folder / target});
    ASSERT_EQ(result.status, 0) << result.err;
    const std::string hashes = Hashes(source);
    EXPECT_GT(hashes.size(), 1000u);
    EXPECT_TRUE(Hashes(folder / target) == hashes) << source << " " << target;
    const ProbedFile file = Probe(folder / target);
    EXPECT_EQ(file.Sound().errors, 0);
    EXPECT_NEAR(file.Sound().start, file.Pictures().start, 0.06) << source << " " << target;
  }
  // From the middle: the first key from there on.
  const ProgramResult late =
      RunProgram({XVRECORD, "-y", "--packets", "-a", "audio::codec=pcm_s16le", "-ss", "1",
                  folder / "source.mpg", folder / "l.mkv"});
  ASSERT_EQ(late.status, 0) << late.err;
  const ProbedFile file = Probe(folder / "l.mkv");
  EXPECT_EQ(file.Pictures().keys.front(), 'K');
  EXPECT_EQ(file.Pictures().packets.front().pts, 0);
  EXPECT_EQ(RunProgram({XVRECORD, "-y", "--packets", "test:", folder / "t.mp4"}).status, 2);
  EXPECT_EQ(
      RunProgram({XVRECORD, "-y", "--packets", "--codec", "x", clip, folder / "t.mp4"}).status, 2);
}

}  // namespace
}  // namespace xv::test
