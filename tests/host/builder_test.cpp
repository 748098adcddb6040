#include <gmock/gmock.h>

#include <array>
#include <cstring>

#include "support/host_frames.h"

// FrameBuilder: what it makes of what it is told, and what it refuses.
namespace xv::test {
namespace {

using host::FrameBuilder;
using host::Ticks;
using std::chrono_literals::operator""ms;

const std::uint8_t kBytes[64] = {};

struct Contents {
  XV_TIME time{};
  XV_AV_PROPS props{};
  std::uint32_t audioSize = 0, videoSize = 0;
  const std::uint8_t* audio = nullptr;
  const std::uint8_t* video = nullptr;
};

Contents ContentsOf(const host::Ptr<IXvFrame>& frame) {
  Contents c;
  EXPECT_EQ(frame->FrameAllGet(&c.time, &c.props, &c.audioSize, &c.audio, &c.videoSize, &c.video),
            S_OK);
  return c;
}

Contents Made(FrameBuilder builder) {
  HRESULT result = E_FAIL;
  const auto frame = std::move(builder).Build(&result);
  EXPECT_EQ(result, S_OK);
  return frame ? ContentsOf(frame) : Contents();
}

HRESULT Refused(FrameBuilder builder) {
  HRESULT result = S_OK;
  EXPECT_FALSE(std::move(builder).Build(&result));
  return result;
}

// Member by member: what lies between them is anybody's.
auto Members(const XV_AV_PROPS& props) {
  const XV_VID_PROPS& vid = props.vid;
  const XV_AUD_PROPS& aud = props.aud;
  return std::tuple(vid.eVideoFormat, vid.fccColor, vid.nWidth, vid.nHeight, vid.nRowBytes,
                    vid.eInterlace, vid.nAspectX, vid.nAspectY, vid.dblRate, vid.eAspectFit,
                    aud.nChannels, aud.nSamplesPerSec, aud.nBitsPerSample, aud.nTrackMask);
}

TEST(FrameBuilder, SettersWinOverPropsInAnyOrder) {
  XV_AV_PROPS given{};
  given.vid = {eXvVF_PAL, kFccYUY2, 10, 20, 999, eXvI_BottomFirst, 4, 3, 0, 50.0, eXvAF_Crop};
  given.aud = {8, 44100, 32, 7};
  const std::vector<std::function<void(FrameBuilder&)>> setters = {
      [&](FrameBuilder& b) { b.Props(given); },
      [](FrameBuilder& b) { b.Video(kFccUYVY, 4, -2, 25, kBytes, 16); },
      [](FrameBuilder& b) { b.Format(eXvVF_NTSC); },
      [](FrameBuilder& b) { b.Interlace(eXvI_Auto); },
      [](FrameBuilder& b) { b.Aspect(16, 9); },
      [](FrameBuilder& b) { b.Audio(2, 48000, 16, kBytes, 8); }};
  XV_AV_PROPS expected{};
  expected.vid = {eXvVF_NTSC, kFccUYVY, 4, -2, 0, eXvI_Auto, 16, 9, 0, 25.0, eXvAF_Crop};
  expected.aud = {2, 48000, 16, 0};
  for (std::size_t first = 0; first < setters.size(); ++first) {
    FrameBuilder forward, backward;
    for (std::size_t i = 0; i < setters.size(); ++i) {
      setters[(first + i) % setters.size()](forward);
      setters[(first + setters.size() - i) % setters.size()](backward);
    }
    EXPECT_EQ(Members(Made(std::move(forward)).props), Members(expected)) << first;
    EXPECT_EQ(Members(Made(std::move(backward)).props), Members(expected)) << first;
  }
  const Contents partly = Made(FrameBuilder().Aspect(1, 2).Props(given));
  EXPECT_EQ(partly.props.vid.nWidth, 10);
  EXPECT_EQ(partly.props.vid.nAspectY, 2);
  EXPECT_EQ(partly.props.aud.nTrackMask, 7u);
}

TEST(FrameBuilder, NumbersThatNoFrameHoldsAreRefusedNotCut) {
  constexpr std::size_t kFourGiB = std::size_t{1} << 32;
  const auto video = [](std::int64_t width, std::int64_t height, std::size_t bytes,
                        std::size_t row = 0) {
    return FrameBuilder().Video(kFccUYVY, width, height, 25, kBytes, bytes, nullptr, row);
  };
  EXPECT_EQ(Refused(video(4, 2, kFourGiB)), E_INVALIDARG);
  EXPECT_EQ(Made(video(4, 2, kFourGiB - 1)).videoSize, 0xFFFFFFFFu);
  EXPECT_EQ(Refused(video(kFourGiB + 4, 2, 16)), E_INVALIDARG);
  EXPECT_EQ(Refused(video(4, -std::int64_t{kFourGiB} - 2, 16)), E_INVALIDARG);
  EXPECT_EQ(Refused(video(4, 2, 16, kFourGiB + 8)), E_INVALIDARG);
  EXPECT_EQ(Refused(video(4, 2, 16, std::size_t{1} << 31)), E_INVALIDARG);
  EXPECT_EQ(Refused(FrameBuilder().Audio(2, 48000, 16, kBytes, kFourGiB)), E_INVALIDARG);
  EXPECT_EQ(Refused(FrameBuilder().Aspect(65536 + 16, 9)), E_INVALIDARG);
  EXPECT_EQ(Refused(FrameBuilder().Aspect(-1, 9)), E_INVALIDARG);
  EXPECT_EQ(Refused(FrameBuilder().Video(kFccUYVY, 4, 2, 25, nullptr, 16)), E_POINTER);
  EXPECT_EQ(Refused(FrameBuilder().Attributes(std::string_view("a=1\0b=2", 7))), E_INVALIDARG);
  // A good setter behind a bad one does not heal it.
  EXPECT_EQ(Refused(video(4, 2, kFourGiB).Video(kFccUYVY, 4, 2, 25, kBytes, 16)), E_INVALIDARG);
}

TEST(FrameBuilder, IsUsedUpByBuildAndByAMove) {
  const auto memory = std::make_shared<int>(1);
  FrameBuilder builder;
  builder.Video(kFccUYVY, 4, 2, 25, kBytes, 16, memory);
  FrameBuilder copy = builder;
  FrameBuilder moved = std::move(builder);
  EXPECT_EQ(Refused(std::move(builder)), E_UNEXPECTED);  // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(memory.use_count(), 3) << "the copy and the moved one hold it";
  HRESULT result = S_OK;
  auto frame = std::move(moved).Build();
  EXPECT_FALSE(std::move(moved).Build(&result));  // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(result, E_UNEXPECTED);
  EXPECT_EQ(memory.use_count(), 3);
  frame = {};
  EXPECT_EQ(memory.use_count(), 2) << "the last reference has let go";
  EXPECT_EQ(Refused(std::move(copy).Aspect(-1, 0)), E_INVALIDARG);
  EXPECT_EQ(memory.use_count(), 1) << "so has a builder that failed";
}

TEST(FrameBuilder, TimesAreDurations) {
  const XV_TIME time = Made(FrameBuilder().Time(40ms, std::chrono::seconds(2), eXvTF_Gap)).time;
  EXPECT_EQ(time.rtStart, 400'000);
  EXPECT_EQ(time.rtStop, 20'000'000);
  EXPECT_EQ(time.eFlags, std::uint32_t{eXvTF_Gap});
  const auto ntsc = std::chrono::duration<std::int64_t, std::ratio<1001, 30000>>(2);
  EXPECT_EQ(Made(FrameBuilder().Time(std::chrono::round<Ticks>(ntsc))).time.rtStart, 667'333);
  static_assert(!std::is_convertible_v<std::chrono::nanoseconds, Ticks>, "it would be cut");
  static_assert(!std::is_convertible_v<std::int64_t, Ticks>, "a number has no unit");
}

TEST(FrameBuilder, PlanarSoundBecomesTheFramesOwnInterleaved) {
  host::Ptr<IXvFrame> frame;
  {
    std::vector<std::int16_t> left = {1, 2, 3}, right = {-1, -2, -3};
    frame = FrameBuilder().AudioPlanes(48000, 16, {left.data(), right.data()}, 3, 1).Build();
    left.assign(3, 99);
  }
  const Contents c = ContentsOf(frame);
  EXPECT_EQ(c.props.aud.nChannels, 2);
  EXPECT_EQ(c.props.aud.nTrackMask, 1u);
  ASSERT_EQ(c.audioSize, 12u);
  std::array<std::int16_t, 6> samples{};
  std::memcpy(samples.data(), c.audio, c.audioSize);
  EXPECT_THAT(samples, testing::ElementsAre(1, -1, 2, -2, 3, -3));

  const std::uint8_t three[] = {1, 2, 3, 4, 5, 6};
  for (const int bits : {20, 24}) {
    const auto packed = FrameBuilder().AudioPlanes(48000, bits, {three, three}, 2).Build();
    const Contents inside = ContentsOf(packed);
    EXPECT_EQ(std::vector<std::uint8_t>(inside.audio, inside.audio + inside.audioSize),
              (std::vector<std::uint8_t>{1, 2, 3, 1, 2, 3, 4, 5, 6, 4, 5, 6}));
  }
  const float tone[] = {0.5f};
  EXPECT_EQ(Made(FrameBuilder().AudioPlanes(48000, -32, {tone}, 1)).audioSize, 4u);
  EXPECT_EQ(Refused(FrameBuilder().AudioPlanes(48000, 8, {three}, 1)), E_INVALIDARG);
  EXPECT_EQ(Refused(FrameBuilder().AudioPlanes(48000, 16, {}, 1)), E_INVALIDARG);
  EXPECT_EQ(Refused(FrameBuilder().AudioPlanes(48000, 16, {three, nullptr}, 1)), E_INVALIDARG);
  EXPECT_EQ(Refused(FrameBuilder().AudioPlanes(48000, 16, {three}, std::size_t{1} << 31)),
            E_INVALIDARG);
  EXPECT_EQ(Refused(FrameBuilder().AudioPlanes(48000, 16, std::vector<const void*>(33, three), 1)),
            E_INVALIDARG);
}

TEST(FrameBuilder, AttributesBecomeTheFramesNode) {
  const auto plain = FrameBuilder().Build();
  host::Ptr<IXvNode> node;
  EXPECT_EQ(QueryAs<IXvFrameExtras>(plain)->NodeGet(node.Receive()), S_FALSE);
  const auto frame =
      FrameBuilder().Attributes("crop='0, 8' mirror=horz").Attributes("crop=4").Build();
  ASSERT_EQ(QueryAs<IXvFrameExtras>(frame)->NodeGet(node.Receive()), S_OK);
  char16_t* text = nullptr;
  ASSERT_EQ(node->ToText(&text), S_OK);
  EXPECT_EQ(host::TakeString(text), " crop='4' mirror='horz'");
}

TEST(Extras, AreRefusedWhereTheyCannotBe) {
  const auto frame = FrameBuilder().Build();
  EXPECT_EQ(host::AddExtra({}, FourCC("C608"), kBytes, 4), E_POINTER);
  EXPECT_EQ(host::AddExtra(frame, FourCC("C608"), nullptr, 4), E_POINTER);
  EXPECT_EQ(host::AddExtra(frame, FourCC("C608"), kBytes, std::size_t{1} << 32), E_INVALIDARG);
  EXPECT_EQ(host::AddExtra(frame, "name", kBytes, std::size_t{1} << 32), E_INVALIDARG);
  EXPECT_EQ(host::AddExtra(frame, "", kBytes, 4), E_INVALIDARG);
  EXPECT_EQ(host::AddMask(frame, {}), E_POINTER);
  EXPECT_EQ(host::AddMask({}, frame), E_POINTER);
  EXPECT_EQ(host::AddMask(frame, FrameBuilder().Build()), S_OK);
}

}  // namespace
}  // namespace xv::test
