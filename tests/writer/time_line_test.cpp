#include <gmock/gmock.h>

#include <cmath>
#include <cstring>
#include <map>
#include <random>

#include "support/media_probe.h"

// Picture and sound that tell the number of the frame they came with, and where they stand in the
// recording.
namespace xv::test {
namespace {

constexpr int kRate = 8000;
constexpr int kWidth = 32;
constexpr int kHeight = 16;
constexpr int kNumbers = 30000;  // told apart in a sample

struct Source {
  double rate = 25;
  double Step() const { return 1 / rate; }
  // Samples of frame `n`.
  std::int64_t First(int n) const { return std::llround(n * kRate / rate); }
};

struct Put {
  double start = 0;  // seconds
  double stop = 0;
  bool picture = true;
  int sound = 1;  // frames of sound, up to this one
  std::uint32_t flags = 0;
};

HRESULT PutOne(host::Writer& writer, const Source& source, int n, const Put& put) {
  host::FrameBuilder frame;
  if (put.picture) {
    auto picture = std::make_shared<std::vector<std::uint8_t>>(kWidth * kHeight * 2, 128);
    std::memcpy(picture->data(), &n, sizeof n);
    frame.Video(kFccUYVY, kWidth, kHeight, source.rate, picture->data(), picture->size(), picture);
  }
  if (put.sound > 0) {
    auto sound = std::make_shared<std::vector<std::int16_t>>();
    for (int block = n - put.sound + 1; block <= n; ++block) {
      sound->insert(sound->end(),
                    static_cast<std::size_t>(source.First(block + 1) - source.First(block)),
                    static_cast<std::int16_t>(1 + block % kNumbers));
    }
    frame.Audio(1, kRate, 16, sound->data(), sound->size() * 2, sound);
  }
  const auto ticks = [](double seconds) { return host::Ticks(std::llround(seconds * 1e7)); };
  frame.Time(ticks(put.start), ticks(put.stop), put.flags);
  return writer.Put(std::move(frame));
}

// Sound as blocks of samples that tell their frame, pictures by number; times in seconds.
struct Recorded {
  std::vector<std::pair<int, double>> pictures;  // repeats left out
  std::int64_t repeats = 0;
  double pictureSeconds = 0;
  double soundSeconds = 0;
  std::map<int, double> blocks;  // where the samples of a frame begin

  // The furthest that a picture is from the sound that came with it.
  double FurthestApart() const {
    double furthest = 0;
    for (const auto& [number, time] : pictures) {
      const auto block = blocks.find(number);
      if (block != blocks.end()) furthest = std::max(furthest, std::fabs(block->second - time));
    }
    return furthest;
  }
};

void ReadPictures(const ProbedStream& stream, double rate, Recorded& recorded) {
  const std::int64_t tick = stream.packets.at(1).pts;
  int last = -1;
  for (const ProbedPacket& packet : stream.packets) {
    int number = 0;
    std::memcpy(&number, packet.bytes.data(), sizeof number);
    const double time = static_cast<double>(packet.pts) / static_cast<double>(tick) / rate;
    if (number == last) {
      ++recorded.repeats;
    } else {
      recorded.pictures.emplace_back(number, time);
    }
    last = number;
    recorded.pictureSeconds = time + 1 / rate;
  }
}

void ReadSound(const ProbedStream& stream, Recorded& recorded) {
  const std::vector<int> samples = stream.SamplesOf(0);
  int block = -1;
  for (std::size_t i = 0; i < samples.size(); ++i) {
    if (samples[i] == 0 || (block >= 0 && samples[i] == 1 + block % kNumbers)) continue;
    const int before = std::max(block, 0);
    block = before + (samples[i] - 1 - before % kNumbers + kNumbers) % kNumbers;
    recorded.blocks[block] = static_cast<double>(i) / kRate;
  }
  recorded.soundSeconds = static_cast<double>(samples.size()) / kRate;
}

Recorded Read(const std::string& path, double rate = 25) {
  const ProbedFile file = Probe(path);
  Recorded recorded;
  ReadPictures(file.Pictures(), rate, recorded);
  ReadSound(file.Sound(), recorded);
  return recorded;
}

constexpr const char* kRaw = "video::codec=rawvideo audio::codec=pcm_s16le ";

// A recording of what a host puts.
class TimeLine : public testing::Test {
 protected:
  void Start(const std::string& attributes = {}, const std::string& name = "a.mov") {
    path_ = folder_ / name;
    ASSERT_EQ(writer_.Start(path_, kRaw + attributes), S_OK);
  }
  // Frame `n` at its own time, but for what `put` says. Seconds.
  HRESULT Frame(int n, double off = 0, const Put& put = {}) {
    Put placed = put;
    placed.start = 1 + n * source_.Step() + off;
    placed.stop = placed.start + source_.Step();
    return PutOne(writer_, source_, n, placed);
  }
  Recorded Stop() {
    EXPECT_EQ(writer_.Stop(), S_OK);
    return Read(path_, source_.rate);
  }
  std::int64_t Count(const std::string& name) {
    return std::stoll(writer_.Get("quality::" + name));
  }

  static constexpr Put kMute{.sound = 0};
  static constexpr Put kSoundAlone{.picture = false};

  TemporaryFolder folder_;
  Source source_;
  host::Writer writer_;
  std::string path_;
};

enum class Loss { kNone, kFrame, kPictureSoundWithNext, kPictureSoundAlone };

struct Trouble {
  int frames;
  bool trembling;
  bool mute;
  Loss loss;
};

class Troubled : public TimeLine, public testing::WithParamInterface<Trouble> {};

// Stamps that tremble by 10 ms, 1 frame of 100 lost, 1 of 100 without samples.
TEST_P(Troubled, PictureAndSoundStayTogether) {
  const Trouble& trouble = GetParam();
  Start();
  std::mt19937 random(7);
  std::uniform_real_distribution<double> within(-0.010, 0.010);
  std::uniform_int_distribution<int> percent(0, 99);
  Put put;
  for (int n = 0; n < trouble.frames; ++n) {
    const double off = trouble.trembling ? within(random) : 0;
    const bool lost = percent(random) == 0 && n > 0;
    const bool mute = percent(random) == 0 && trouble.mute;
    if (mute) put.sound = 0;
    put.picture = !(lost && trouble.loss == Loss::kPictureSoundAlone);
    if (lost && trouble.loss == Loss::kFrame) continue;
    if (lost && trouble.loss == Loss::kPictureSoundWithNext) {
      ++put.sound;
      continue;
    }
    const bool brings = put.picture || put.sound > 0;
    if (brings) {
      ASSERT_FALSE(Failed(Frame(n, off, put)));
    }
    put = {};
  }
  const Recorded recorded = Stop();
  EXPECT_LT(recorded.FurthestApart(), 0.020);
  EXPECT_NEAR(recorded.soundSeconds, recorded.pictureSeconds, 0.040);
  const bool whole = trouble.loss != Loss::kFrame;
  EXPECT_TRUE(trouble.loss != Loss::kNone || Count("rebases") == 0);
  EXPECT_NEAR(recorded.pictureSeconds / trouble.frames, whole ? 0.04 : 0.0396, 5e-5);
  EXPECT_EQ(Count("audio.silence") > 50, trouble.mute);
  EXPECT_LT(Count("audio.cut"), 50);
  EXPECT_LE(Count("drops"), 2);
  EXPECT_EQ(Count("repeats"), recorded.repeats);
}

// The whole trouble for an hour, each part of it for some minutes.
std::vector<Trouble> Combinations() {
  std::vector<Trouble> all;
  for (const Loss loss :
       {Loss::kNone, Loss::kFrame, Loss::kPictureSoundWithNext, Loss::kPictureSoundAlone}) {
    for (const bool trembling : {false, true}) {
      for (const bool mute : {false, true}) {
        all.push_back({trembling && mute ? 90'000 : 9'000, trembling, mute, loss});
      }
    }
  }
  return all;
}

INSTANTIATE_TEST_SUITE_P(Combinations, Troubled, testing::ValuesIn(Combinations()));

TEST_F(TimeLine, ToleranceOfTheTimes) {
  for (const bool narrow : {false, true}) {
    Start(narrow ? "time.tolerance=10" : "");
    for (int n = 0; n < 50; ++n) ASSERT_EQ(Frame(n, n < 25 ? 0 : 0.015), S_OK);
    EXPECT_EQ(Stop().pictures.size(), 50u);
    EXPECT_EQ(Count("rebases"), narrow ? 1 : 0);
    EXPECT_EQ(writer_.LastError().find("time: ") == 0, narrow);
  }
}

TEST_F(TimeLine, SoundThatDidNotComeIsSilence) {
  for (const bool placed : {true, false}) {
    Start(placed ? "" : "audio.tolerance=0");
    for (int n = 0; n < 150; ++n) ASSERT_EQ(Frame(n, 0, n >= 75 && n < 100 ? kMute : Put()), S_OK);
    const Recorded recorded = Stop();
    EXPECT_NEAR(recorded.blocks.at(100), placed ? 4.0 : 3.0, 1e-6);
    EXPECT_NEAR(recorded.soundSeconds, placed ? 6.0 : 5.0, 1e-6);
    EXPECT_EQ(Count("audio.silence"), placed ? 1000 : 0);
    EXPECT_EQ(writer_.LastError().find("silence") != std::string::npos, placed);
  }
}

TEST_F(TimeLine, SoundForWhichThereIsNoTimeIsCut) {
  Start();
  for (int n = 0; n < 50; ++n) {
    ASSERT_EQ(Frame(n), S_OK);
    if (n == 24) {
      ASSERT_EQ(Frame(20, 0, kSoundAlone), S_OK) << "comes twice";
    }
  }
  const Recorded recorded = Stop();
  EXPECT_LT(recorded.FurthestApart(), 1e-6);
  EXPECT_NEAR(recorded.soundSeconds, 2.0, 1e-6);
  EXPECT_EQ(Count("audio.cut"), 40);
  EXPECT_THAT(writer_.LastError(), testing::HasSubstr("cut"));
}

TEST_F(TimeLine, SoundOfAnEndMarkIsSilence) {
  Start();
  for (int n = 0; n < 10; ++n) {
    Put put;
    if (n == 5) put.flags = eXvTF_EndMark;
    ASSERT_EQ(Frame(n, 0, put), S_OK);
  }
  const Recorded recorded = Stop();
  EXPECT_EQ(recorded.blocks.size(), 9u);
  EXPECT_EQ(recorded.blocks.count(5), 0u);
  EXPECT_NEAR(recorded.soundSeconds, 0.4, 1e-6);
}

// Sound that comes late, early or in large blocks belongs to the frames beside.
TEST_F(TimeLine, SoundInBlocksKeepsEverySample) {
  for (const bool late : {true, false}) {
    Start();
    for (int n = 0; n < 100; ++n) {
      Put put{.sound = n % 10 == 0 ? 10 : 0};
      if (late && n == 0) put.sound = 1;
      ASSERT_EQ(Frame(n, 0, put), S_OK);
    }
    EXPECT_NEAR(Stop().soundSeconds, late ? 3.64 : 4.0, 1e-6);
    EXPECT_EQ(Count("audio.silence") + Count("audio.cut"), 0);
  }
}

TEST_F(TimeLine, NoGapIsFilledWithMoreThanAThousandPictures) {
  Start("time.tolerance=0");
  for (const int n : {0, 3000}) ASSERT_EQ(Frame(n), S_OK);
  EXPECT_EQ(Stop().repeats, 1000);
}

// `ahead`: frames by which sound comes earlier than its picture.
TEST_F(TimeLine, PictureAndSoundInFramesOfTheirOwn) {
  for (const int ahead : {0, 1, 8}) {
    Start();
    ASSERT_EQ(Frame(0), S_OK) << "the first one has both";
    for (int n = 1; n < 100 + ahead; ++n) {
      if (n < 100) {
        ASSERT_EQ(Frame(n, 0, kSoundAlone), S_OK);
      }
      if (n > ahead) {
        ASSERT_EQ(Frame(n - ahead, 0, kMute), S_OK);
      }
    }
    const Recorded recorded = Stop();
    EXPECT_EQ(recorded.pictures.size(), 100u);
    EXPECT_NEAR(recorded.pictureSeconds, 4.0, 1e-6);
    EXPECT_NEAR(recorded.soundSeconds, 4.0, 1e-6);
    EXPECT_LT(recorded.FurthestApart(), 1e-6);
    EXPECT_EQ(writer_.LastError(), "");
  }
}

// An encoder slower than the host: what is dropped leaves a gap in the stamps, never repeats that
// fill the queue in the place of pictures.
TEST_F(TimeLine, DroppedPicturesLeaveGaps) {
  const Feed feed{.layout = kFccI420, .width = 1280, .height = 720, .channels = 0};
  std::vector<host::Ptr<IXvFrame>> frames;
  for (int i = 0; i < 100; ++i) frames.push_back(MakeFrame(feed, i));
  for (const char* name : {"a.mp4", "a.mkv", "a.mxf"}) {
    ASSERT_EQ(writer_.Start(folder_ / name,
                            "video::codec=libx264 video::preset=slower video::bf=0 video.buffers=4 "
                            "video.drop_frames=1"),
              S_OK);
    std::vector<int> taken;
    for (int i = 0; i < 100; ++i) {
      if (writer_.Put(frames[static_cast<std::size_t>(i)]) == S_OK) taken.push_back(i);
    }
    EXPECT_EQ(writer_.Stop(), S_OK);
    const bool counts = std::string(name) == "a.mxf";
    const ProbedFile file = Probe(folder_ / name);
    const std::vector<std::uint8_t>& levels = file.Pictures().lumaMeans;
    EXPECT_EQ(Count("drops"), 100 - static_cast<std::int64_t>(taken.size()));
    ASSERT_GT(Count("drops"), 20);
    // A last repeat, where the last frame was dropped.
    const std::size_t hold = taken.back() == 99 ? 0 : 1;
    ASSERT_EQ(levels.size(), counts ? 100 : taken.size() + hold) << name;
    if (!counts) {
      for (std::size_t i = 0; i < taken.size(); ++i) {
        EXPECT_NEAR(levels[i], 40 + 5 * (taken[i] % 32), 2) << name << i;
      }
    }
    EXPECT_NEAR(file.seconds, 4.0, 0.041) << name;
  }
}

// Tracks are those of the first frame.
TEST_F(TimeLine, WhatTheFirstFrameLacksIsLeftOutAndTold) {
  for (const bool picture : {true, false}) {
    for (const bool wanted : {true, false}) {
      const std::string other = picture ? "audio::codec=" : "video::codec=";
      Start(wanted ? "" : other + "null");
      Put first;
      first.picture = picture;
      first.sound = picture ? 0 : 1;
      ASSERT_EQ(Frame(0, 0, first), S_OK);
      for (int n = 1; n < 10; ++n) ASSERT_EQ(Frame(n), S_OK);
      EXPECT_EQ(writer_.Stop(), S_OK);
      EXPECT_EQ(Probe(path_).Count(picture ? AVMEDIA_TYPE_AUDIO : AVMEDIA_TYPE_VIDEO), 0);
      EXPECT_EQ(Count("audio.left_out"), picture && wanted ? 9 : 0);
      EXPECT_EQ(Count("video.left_out"), !picture && wanted ? 9 : 0);
      EXPECT_EQ(writer_.LastError().find("first frame") != std::string::npos, wanted);
    }
  }
}

}  // namespace
}  // namespace xv::test
