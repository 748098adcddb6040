// A session in real time beside sessions that run flat out, all in this process: how long the host
// of the first waits in ReceiverPut (1080p25 UYVY, one frame is 40 ms), what it drops, and how fast
// the others go. Beside it the same session alone.
//   bench_fairness FOLDER [SECONDS] [OTHERS]
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <thread>

#include "live.h"

namespace {

using namespace xv::bench;

// The live one is scaled, so that it needs the pool of threads too.
constexpr const char* kLive =
    "video::codec=libx264 video::preset=veryfast video::size=1280x720 video.drop_frames=true";
constexpr const char* kOthers[] = {
    "video::codec=mpeg2video video::b=50M video::size=1440x1080",
    "video::codec=libx264 video::preset=veryfast",
    "video::codec=prores",
};

// Frames until `ended`; -1 for a failure.
int RunFlatOut(const std::string& target, const char* attributes,
               const std::vector<Picture>& pictures, const std::atomic<bool>& ended) {
  xv::host::Writer writer;
  if (xv::Failed(writer.Start(target, attributes))) return -1;
  int frames = 0;
  for (; !ended; ++frames) {
    if (xv::Failed(PutFrame(writer, pictures, frames))) return -1;
  }
  return xv::Failed(writer.Stop()) ? -1 : frames;
}

bool IsGood(const Live& live) { return !xv::Failed(live.put) && !xv::Failed(live.stop); }

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  const std::string folder = std::string(argv[1]) + "/";
  const int seconds = argc > 2 ? std::atoi(argv[2]) : 12;
  const int others = argc > 3 ? std::atoi(argv[3]) : 3;
  const std::vector<Picture> pictures = MakePictures(kPictureBytes);
  const Live alone = RunLive(folder + "alone.mp4", kLive, pictures, seconds * kRate);
  if (!IsGood(alone)) return 1;
  Print("in real time, alone", alone);

  std::atomic<bool> ended{false};
  std::vector<int> frames(static_cast<std::size_t>(others));
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < frames.size(); ++i) {
    threads.emplace_back([&, i] {
      frames[i] = RunFlatOut(folder + "other" + std::to_string(i) + ".mov",
                             kOthers[i % std::size(kOthers)], pictures, ended);
    });
  }
  const Live beside = RunLive(folder + "live.mp4", kLive, pictures, seconds * kRate);
  ended = true;
  for (std::thread& thread : threads) thread.join();
  if (!IsGood(beside) || std::ranges::count(frames, -1) > 0) return 1;
  Print("beside " + std::to_string(others) + " flat out", beside);
  for (std::size_t i = 0; i < frames.size(); ++i) {
    std::printf("  %6.1f frames a second: %s\n", frames[i] / double(seconds),
                kOthers[i % std::size(kOthers)]);
  }
  return 0;
}
