#include <cstdlib>
#include <memory>
#include <vector>

#include "frames/picture_cases.h"
#include "xvwriter/host.hpp"

extern "C" {
#include <libavutil/log.h>
}

// Frames with any properties, put into a recording: each is taken or refused with a status, and the
// recording ends. Memory ends at an unreadable page.
namespace {

constexpr const char* kSessions[] = {
    "format=nut video::codec=rawvideo",
    "format=nut video::codec=ffv1 audio::codec=pcm_s16le",
    "format=mov video::codec=mpeg2video audio::codec=pcm_s24le",
    "format=mov video::codec=v210",
    "format=avi video::codec=mjpeg video.buffers=0",
    "format=nut video::codec=rawvideo video::aspect=4:3 video::width=64 video::height=48 crop=2",
};
constexpr int kOdd[] = {0, -1, 1, 2, 7, 24, 32, 33, 1 << 16, INT_MAX, INT_MIN};

struct HostileSound {
  xv::test::GuardedRow memory;
  xv::XV_AUD_PROPS props{};

  static std::size_t BytesOf(xv::test::Numbers& numbers) {
    return static_cast<std::size_t>(numbers.Below(2) * numbers.Below(9000));
  }
  explicit HostileSound(xv::test::Numbers& numbers) : memory(BytesOf(numbers)) {
    const auto pick = [&](int usual) { return numbers.Below(6) == 0 ? numbers.Of(kOdd) : usual; };
    props.nChannels = pick(1 + numbers.Below(16));
    props.nSamplesPerSec = pick(48000);
    props.nBitsPerSample = pick(numbers.Below(2) == 0 ? 16 : -32);
    props.nTrackMask = static_cast<std::uint32_t>(numbers.Below(3) * numbers.Below(65536));
  }
};

// One frame's memory, which lives as long as the recording.
struct HostileFrame {
  HostileFrame(xv::test::Numbers& numbers, int number)
      : vid(numbers.WildProps()), sound(numbers), picture(vid, numbers) {
    // A second at the most is missing: what lacks is filled in.
    time.rtStart = std::int64_t{number} * 400'000 + numbers.Below(90) * 100'000 - 7;
    time.rtStop = time.rtStart + numbers.Below(3) * 200'000;
  }
  void PutInto(xv::host::Writer& writer) {
    xv::XvFrameDesc desc{};
    desc.cbSize = sizeof desc;
    desc.props.vid = vid;
    desc.props.aud = sound.props;
    desc.time = time;
    const auto view = xv::Query<xv::IXfFrame>(picture.get());
    if (!view || xv::Failed(view->FrameVideoGet(&desc.cbVideo, &desc.video))) std::abort();
    desc.audio = sound.memory.size() > 0 ? sound.memory.data() : nullptr;
    desc.cbAudio = static_cast<std::uint32_t>(sound.memory.size());
    xv::host::Ptr<xv::IXvFrame> frame;
    if (xv::Succeeded(xv::BuiltInFrameFactory()->FrameCreate(&desc, frame.Receive()))) {
      static_cast<void>(writer.Put(frame));
    }
  }

  xv::XV_VID_PROPS vid;
  HostileSound sound;
  xv::test::GuardedFrame picture;
  xv::XV_TIME time{};
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  av_log_set_level(AV_LOG_QUIET);
  setenv("XVWRITER_SETTINGS", "/dev/null/settings.toml", 1);
  xv::test::Numbers numbers({data, size});
  std::vector<std::unique_ptr<HostileFrame>> frames;
  xv::host::Writer writer;
  if (xv::Failed(writer.Start("/dev/null", numbers.Of(kSessions)))) std::abort();
  for (int i = 0; i < 4; ++i) {
    frames.push_back(std::make_unique<HostileFrame>(numbers, i));
    frames.back()->PutInto(writer);
  }
  static_cast<void>(writer.Stop());
  return 0;
}
