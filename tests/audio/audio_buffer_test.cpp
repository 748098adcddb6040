#include "audio/audio_buffer.h"

#include <gmock/gmock.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <numbers>
#include <numeric>

namespace xv {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::FloatNear;
using ::testing::Pointwise;

XV_AUD_PROPS Props(int channels, int rate, int bits) { return {channels, rate, bits, 0}; }

template <class T>
Status Put(XvAudioBuffer2& buffer, const XV_AUD_PROPS& format, const std::vector<T>& samples,
           bool mixDown = false) {
  return buffer.Append(format, reinterpret_cast<const std::uint8_t*>(samples.data()),
                       static_cast<std::uint32_t>(samples.size() * sizeof(T)), true, mixDown);
}

// Makes the buffer keep its samples in that form.
void Prepare(XvAudioBuffer2& buffer, const XV_AUD_PROPS& format, int samples = 0) {
  ASSERT_EQ(buffer.Prepare(&format, samples), S_OK);
}

// One channel of everything that is held.
template <class T>
std::vector<T> Read(XvAudioBuffer2& buffer, int channel, AVSampleFormat format) {
  std::vector<T> samples(static_cast<std::size_t>(buffer.AvailableSamples()));
  auto* plane = reinterpret_cast<std::uint8_t*>(samples.data());
  EXPECT_EQ(buffer.ReadTrack(channel, 1, buffer.AvailableSamples(), format, &plane), S_OK);
  return samples;
}

std::vector<float> Sine(int rate, int samples) {
  std::vector<float> wave(static_cast<std::size_t>(samples));
  for (int i = 0; i < samples; ++i) {
    wave[static_cast<std::size_t>(i)] =
        static_cast<float>(0.5 * std::sin(2 * std::numbers::pi * 997.0 * i / rate));
  }
  return wave;
}

TEST(AudioBuffer, Integers24BitComeOutExactly) {
  XvAudioBuffer2 buffer;
  // -2^23, -1, 0, 1, 2^23 - 1, 0x123456
  const std::vector<std::uint8_t> bytes = {0x00, 0x00, 0x80, 0xFF, 0xFF, 0xFF, 0,    0,    0,
                                           0x01, 0x00, 0x00, 0xFF, 0xFF, 0x7F, 0x56, 0x34, 0x12};
  for (const int bits : {24, 20}) {
    buffer.Reset(true);
    ASSERT_EQ(Put(buffer, Props(1, 48000, bits), bytes), S_OK);
    EXPECT_THAT(Read<std::int32_t>(buffer, 0, AV_SAMPLE_FMT_S32),
                ElementsAre(INT32_MIN, -256, 0, 256, 0x7FFFFF00, 0x12345600));
  }
}

TEST(AudioBuffer, NarrowBufferTakesTheUpper16BitsOf24) {
  XvAudioBuffer2 buffer;
  Prepare(buffer, Props(1, 48000, 16));
  ASSERT_EQ(Put(buffer, Props(1, 48000, 24), std::vector<std::uint8_t>{0xFF, 0x34, 0x12}), S_OK);
  ASSERT_EQ(Put(buffer, Props(1, 48000, 32), std::vector<std::int32_t>{0x12348000, INT32_MAX}),
            S_OK);
  ASSERT_EQ(Put(buffer, Props(1, 48000, -32), std::vector<float>{-2.0F, 0.25F}), S_OK);
  EXPECT_THAT(Read<std::int16_t>(buffer, 0, AV_SAMPLE_FMT_S16),
              ElementsAre(0x1234, 0x1234, 32767, -32768, 8192));
}

TEST(AudioBuffer, ReadRoundsSaturatesAndSilencesWhatIsNotANumber) {
  XvAudioBuffer2 buffer;
  const float step = 1.0F / 32768;
  ASSERT_EQ(Put(buffer, Props(1, 48000, -32),
                std::vector<float>{1.5F, -1.5F, 0.6F * step, -0.6F * step,
                                   std::numeric_limits<float>::quiet_NaN()}),
            S_OK);
  EXPECT_THAT(Read<std::int16_t>(buffer, 0, AV_SAMPLE_FMT_S16P),
              ElementsAre(32767, -32768, 1, -1, 0));
  EXPECT_THAT(Read<std::int32_t>(buffer, 0, AV_SAMPLE_FMT_S32P),
              ElementsAre(INT32_MAX, INT32_MIN, 39322, -39322, 0));
  EXPECT_THAT(Read<std::uint8_t>(buffer, 0, AV_SAMPLE_FMT_U8), ElementsAre(255, 0, 128, 128, 128));
  EXPECT_EQ(Read<double>(buffer, 0, AV_SAMPLE_FMT_DBL)[0], 1.5);
  std::int64_t wide[5];
  auto* plane = reinterpret_cast<std::uint8_t*>(wide);
  EXPECT_EQ(buffer.ReadTrack(0, 1, 5, AV_SAMPLE_FMT_S64, &plane), E_INVALIDARG);
}

TEST(AudioBuffer, Integers16BitWidenAndNarrowExactly) {
  XvAudioBuffer2 buffer;
  ASSERT_EQ(Put(buffer, Props(1, 48000, 16),
                std::vector<std::int16_t>{-32768, -12345, -1, 0, 128, 12345, 32767}),
            S_OK);
  EXPECT_EQ(Read<std::int32_t>(buffer, 0, AV_SAMPLE_FMT_S32)[1], -12345 * 65536);
  EXPECT_EQ(Read<float>(buffer, 0, AV_SAMPLE_FMT_FLT)[0], -1.0F);
  EXPECT_THAT(Read<std::uint8_t>(buffer, 0, AV_SAMPLE_FMT_U8),
              ElementsAre(0, 80, 128, 128, 129, 176, 255));
}

TEST(AudioBuffer, EveryChannelKeepsItsOwnSamples) {
  for (const int channels : {1, 2, 3, 5, 6, 8, 16, 32}) {
    std::vector<std::int16_t> words;
    std::vector<std::int32_t> longs;
    for (int i = 0; i < 10 * channels; ++i) {
      words.push_back(static_cast<std::int16_t>(100 * (i % channels) + i / channels));
      longs.push_back(words.back() * 65536);
    }
    for (const int bits : {16, 32}) {
      XvAudioBuffer2 buffer;
      const XV_AUD_PROPS props = Props(channels, 48000, bits);
      ASSERT_EQ(bits == 16 ? Put(buffer, props, words) : Put(buffer, props, longs), S_OK);
      for (int c = 0; c < channels; ++c) {
        std::vector<std::int16_t> own(10);
        std::iota(own.begin(), own.end(), static_cast<std::int16_t>(100 * c));
        EXPECT_EQ(Read<std::int16_t>(buffer, c, AV_SAMPLE_FMT_S16), own);
      }
      std::vector<std::int16_t> back(words.size());
      auto* plane = reinterpret_cast<std::uint8_t*>(back.data());
      ASSERT_EQ(buffer.ReadTrack(0, channels, 10, AV_SAMPLE_FMT_S16, &plane), S_OK);
      EXPECT_EQ(back, words) << channels << " channels";
    }
  }
}

TEST(AudioBuffer, ReadPastTheEndAndAbsentChannelsAreSilence) {
  XvAudioBuffer2 buffer;
  ASSERT_EQ(Put(buffer, Props(2, 48000, 16), std::vector<std::int16_t>{1, 2, 3, 4}), S_OK);
  std::int16_t frame[9];
  std::memset(frame, 0x55, sizeof frame);
  auto* plane = reinterpret_cast<std::uint8_t*>(frame);
  ASSERT_EQ(buffer.ReadTrack(1, 2, 4, AV_SAMPLE_FMT_S16, &plane), S_OK);
  EXPECT_THAT(frame, ElementsAre(2, 0, 4, 0, 0, 0, 0, 0, 0x5555));
}

TEST(AudioBuffer, SkipConsumesFromTheHead) {
  XvAudioBuffer2 buffer;
  const XV_AUD_PROPS stereo = Props(2, 48000, 16);
  ASSERT_EQ(Put(buffer, stereo, std::vector<std::int16_t>{1, 11, 2, 12, 3, 13, 4, 14}), S_OK);
  EXPECT_EQ(buffer.Skip(3), 3);
  ASSERT_EQ(Put(buffer, stereo, std::vector<std::int16_t>{5, 15}), S_OK);
  EXPECT_THAT(Read<std::int16_t>(buffer, 0, AV_SAMPLE_FMT_S16), ElementsAre(4, 5));
  EXPECT_THAT(Read<std::int16_t>(buffer, 1, AV_SAMPLE_FMT_S16), ElementsAre(14, 15));
  EXPECT_EQ(buffer.Skip(7), 2);
  EXPECT_EQ(buffer.AvailableSamples(), 0);
}

TEST(AudioBuffer, SilenceAndFewerChannelsFillUpWithZeros) {
  XvAudioBuffer2 buffer;
  const XV_AUD_PROPS stereo = Props(2, 48000, 16);
  Prepare(buffer, stereo, 1);
  ASSERT_EQ(Put(buffer, Props(1, 48000, 16), std::vector<std::int16_t>{8, 9}), S_OK);
  ASSERT_EQ(buffer.Append(stereo, nullptr, 8, true, false), S_OK);
  EXPECT_THAT(Read<std::int16_t>(buffer, 0, AV_SAMPLE_FMT_S16), ElementsAre(0, 8, 9, 0, 0));
  EXPECT_THAT(Read<std::int16_t>(buffer, 1, AV_SAMPLE_FMT_S16), Each(0));
  ASSERT_EQ(buffer.Append(stereo, nullptr, 4, false, false), S_OK);
  EXPECT_EQ(buffer.AvailableSamples(), 1);
}

TEST(AudioBuffer, FoldMapsHaveTheDocumentedCoefficients) {
  // FL, FR, C, LFE, BL, BR, SL, SR; of four the last is back centre.
  const std::vector<float> surround = {0.1F, -0.2F, 0.3F, 0.9F, 0.05F, -0.4F, 0.02F, 0.04F};
  const auto fold = [&](int to, int from, int bits = -32) {
    XvAudioBuffer2 buffer;
    Prepare(buffer, Props(to, 48000, bits));
    const std::vector<float> set(surround.begin(), surround.begin() + from);
    EXPECT_EQ(Put(buffer, Props(from, 48000, -32), set, true), S_OK);
    std::vector<float> out;
    for (int c = 0; c < to; ++c) out.push_back(Read<float>(buffer, c, AV_SAMPLE_FMT_FLT).at(0));
    return out;
  };
  const auto near = [](const std::vector<float>& expected, float within = 1e-6F) {
    return Pointwise(FloatNear(within), expected);
  };
  const float half = std::sqrt(0.5F);
  EXPECT_THAT(fold(2, 6), near({0.1F + half * 0.35F, -0.2F - half * 0.1F}));
  EXPECT_THAT(fold(2, 6, 16), near({0.1F + half * 0.35F, -0.2F - half * 0.1F}, 1e-4F));
  EXPECT_THAT(fold(2, 3), near({0.1F + half * 0.3F, -0.2F + half * 0.3F}));
  EXPECT_THAT(fold(2, 4), near({0.1F + half * 1.2F, -0.2F + half * 1.2F}));
  EXPECT_THAT(fold(2, 5), near({0.1F + half * 1.2F, -0.2F + half * 0.35F}));
  EXPECT_THAT(fold(2, 8), near({0.1F + half * 0.37F, -0.2F - half * 0.06F}));
  EXPECT_THAT(fold(6, 8),
              near({0.1F, -0.2F, 0.3F, 0.9F, 0.05F + half * 0.02F, -0.4F + half * 0.04F}));
  EXPECT_THAT(fold(1, 2), near({-0.05F}));
  EXPECT_THAT(fold(1, 3), near({(-0.1F + 2 * half * 0.3F) / (2 + 2 * half)}));
  EXPECT_THAT(fold(1, 6), near({(-0.1F + 2 * half * 0.3F - half * 0.35F) / (2 + 4 * half)}));
}

TEST(AudioBuffer, WithoutMixDownSurplusChannelsAreLeftOut) {
  XvAudioBuffer2 buffer;
  Prepare(buffer, Props(1, 48000, 16));
  ASSERT_EQ(Put(buffer, Props(3, 48000, 16), std::vector<std::int16_t>{1, 2, 3, 4, 5, 6}), S_OK);
  EXPECT_THAT(Read<std::int16_t>(buffer, 0, AV_SAMPLE_FMT_S16), ElementsAre(1, 4));
}

TEST(AudioBuffer, ChunkedResamplingEqualsOneBlock) {
  for (const int bits : {-32, 16}) {
    const XV_AUD_PROPS target = Props(1, 48000, bits);
    const XV_AUD_PROPS source = Props(1, 44100, -32);
    const std::vector<float> wave = Sine(44100, 44100);
    XvAudioBuffer2 whole;
    Prepare(whole, target);
    ASSERT_EQ(Put(whole, source, wave), S_OK);
    ASSERT_EQ(whole.Flush(), S_OK);
    XvAudioBuffer2 chunked;
    Prepare(chunked, target);
    for (std::size_t at = 0, n = 1; at < wave.size(); at += n, n = n * 7 % 1931 + 1) {
      n = std::min(n, wave.size() - at);
      const auto from = wave.begin() + static_cast<std::ptrdiff_t>(at);
      ASSERT_EQ(
          Put(chunked, source, std::vector<float>(from, from + static_cast<std::ptrdiff_t>(n))),
          S_OK);
    }
    ASSERT_EQ(chunked.Flush(), S_OK);
    EXPECT_EQ(Read<float>(chunked, 0, AV_SAMPLE_FMT_FLT), Read<float>(whole, 0, AV_SAMPLE_FMT_FLT));
    EXPECT_NEAR(whole.AvailableSamples(), 48000, 1);
    // The same tone at the other rate, away from the ends where the filter runs in and out.
    const std::vector<float> expected = Sine(48000, 48000);
    const std::vector<float> got = Read<float>(whole, 0, AV_SAMPLE_FMT_FLT);
    double worst = 0;
    for (std::size_t i = 100; i < 47900; ++i) {
      worst = std::max(worst, std::fabs(static_cast<double>(got[i]) - expected[i]));
    }
    EXPECT_LT(worst, bits == 16 ? 2e-4 : 5e-5);
  }
}

TEST(AudioBuffer, RateChangeInMidStreamKeepsEverySample) {
  XvAudioBuffer2 buffer;
  const auto put = [&](int channels, int rate, int samples) {
    const std::vector<std::int16_t> steady(static_cast<std::size_t>(channels * samples), 1000);
    ASSERT_EQ(Put(buffer, Props(channels, rate, 16), steady), S_OK);
  };
  Prepare(buffer, Props(2, 48000, 16));
  for (const int rate : {48000, 32000, 96000, 48000}) put(2, rate, rate / 10);
  EXPECT_NEAR(buffer.AvailableSamples(), 4 * 4800, 2);
  // The steady level runs through the joints; the runs' edges ring by a few percent at most.
  for (const std::int16_t value : Read<std::int16_t>(buffer, 1, AV_SAMPLE_FMT_S16)) {
    ASSERT_NEAR(value, 1000, 120);
  }
  // Channels that a block lacks are silent, at another rate too.
  buffer.Skip(buffer.AvailableSamples() - 1);
  put(1, 24000, 480);
  ASSERT_EQ(buffer.Flush(), S_OK);
  buffer.Skip(1);
  EXPECT_THAT(Read<std::int16_t>(buffer, 1, AV_SAMPLE_FMT_S16), Each(0));
}

TEST(AudioBuffer, BadFormatsLeaveTheContentAlone) {
  XvAudioBuffer2 buffer;
  ASSERT_EQ(Put(buffer, Props(1, 48000, 16), std::vector<std::int16_t>{1, 2}), S_OK);
  const std::uint8_t bytes[8] = {};
  for (const XV_AUD_PROPS& bad : {Props(33, 48000, 16), Props(0, 48000, 16), Props(1, 800, 16),
                                  Props(1, 48000, 8), Props(-1, 48000, 16)}) {
    EXPECT_EQ(buffer.Append(bad, bytes, 8, false, false), E_INVALIDARG);
    EXPECT_EQ(buffer.Prepare(&bad, 1), E_INVALIDARG);
  }
  EXPECT_EQ(buffer.Prepare(nullptr, 0), E_POINTER);
  EXPECT_EQ(buffer.AvailableSamples(), 2);
  // A rest that is no whole sample of all channels is left out.
  EXPECT_EQ(buffer.Append(Props(1, 48000, 16), bytes, 3, true, false), S_OK);
  EXPECT_EQ(buffer.AvailableSamples(), 3);
}

std::vector<std::uint8_t> Unread(XvChannelsBuffer& buffer, int channel) {
  const std::uint8_t* data = buffer.ChannelPointer(channel, 0);
  return data == nullptr ? std::vector<std::uint8_t>{}
                         : std::vector<std::uint8_t>(data, data + buffer.Available());
}

void Fill(XvChannelsBuffer& buffer, int channel, std::initializer_list<std::uint8_t> bytes) {
  std::memcpy(buffer.ChannelPointer(channel, 0), bytes.begin(), bytes.size());
}

TEST(ChannelsBuffer, AddedChannelReadsAsSilenceFromTheReadOffsetOn) {
  XvChannelsBuffer buffer;
  ASSERT_EQ(buffer.SetSize(8, 1, false), S_OK);
  std::memset(buffer.ChannelPointer(0, 0), 9, 8);
  buffer.Skip(3);
  ASSERT_EQ(buffer.SetChannels(2, true), S_OK);
  EXPECT_THAT(Unread(buffer, 1), Each(0));
  EXPECT_EQ(Unread(buffer, 1).size(), 5u);
}

TEST(ChannelsBuffer, AbsentChannelIsSilenceThatGrowsWithTheContent) {
  XvChannelsBuffer buffer;
  ASSERT_EQ(buffer.SetSize(4, 1, true), S_OK);
  std::memset(buffer.ChannelPointer(0, 0), 7, 4);
  EXPECT_THAT(Unread(buffer, 5), ElementsAre(0, 0, 0, 0));
  ASSERT_EQ(buffer.Reserve(70'000, 1, true), S_OK);
  EXPECT_THAT(Unread(buffer, -1), Each(0));
  EXPECT_EQ(Unread(buffer, -1).size(), 70'000u);
  EXPECT_EQ(buffer.ChannelPointer(0, 70'000), nullptr);
  EXPECT_EQ(buffer.ChannelPointer(9, 70'000), nullptr);
  buffer.Skip(100'000);
  EXPECT_EQ(buffer.Available(), 0u);
}

TEST(ChannelsBuffer, CopyStaysInsideBothBuffers) {
  XvChannelsBuffer source;
  XvChannelsBuffer target;
  ASSERT_EQ(source.SetSize(4, 3, true), S_OK);
  ASSERT_EQ(target.SetSize(3, 2, true), S_OK);
  Fill(source, 1, {1, 2, 3, 4});
  Fill(source, 2, {5, 6, 7, 8});
  EXPECT_EQ(target.CopyFrom(source, 1, 1, 1, 9, 99), 2u);
  EXPECT_THAT(Unread(target, 0), Each(0));
  EXPECT_THAT(Unread(target, 1), ElementsAre(0, 1, 2));
  target.Clear(0, 2, 2, 0x7FFFFFFF);
  EXPECT_THAT(Unread(target, 1), ElementsAre(0, 1, 0));
  EXPECT_EQ(target.CopyFrom(source, 3, 0, 0, 1, 4), 0u);
  EXPECT_EQ(target.CopyFrom(source, 0, 0, 3, 1, 4), 0u);
}

TEST(ChannelsBuffer, SizePastThe32BitRangeFailsAndDropsEverything) {
  XvChannelsBuffer buffer;
  ASSERT_EQ(buffer.SetSize(16, 2, true), S_OK);
  EXPECT_EQ(buffer.Reserve(0xFFFFFF00, 2, true), E_OUTOFMEMORY);
  EXPECT_EQ(buffer.ChannelCount(), 0);
  EXPECT_EQ(buffer.Available(), 0u);
}

}  // namespace
}  // namespace xv
