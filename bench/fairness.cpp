// A session in real time beside sessions that run flat out, all in this process: how long the host
// of the first waits in ReceiverPut (1080p25 UYVY, one frame is 40 ms), what it drops, and how fast
// the others go. Beside it the same session alone.
//   bench_fairness FOLDER [SECONDS] [OTHERS]
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "pictures.h"
#include "xvwriter/host.hpp"

namespace {

using Clock = std::chrono::steady_clock;
using xv::bench::Picture;

constexpr int kWidth = 1920, kHeight = 1080;
constexpr std::size_t kBytes = std::size_t{kWidth} * kHeight * 2;
constexpr std::chrono::milliseconds kStep(40);
// The live one is scaled, so that it needs the pool of threads too.
constexpr const char* kLive =
    "video::codec=libx264 video::preset=veryfast video::size=1280x720 video.drop_frames=true";
constexpr const char* kOthers[] = {
    "video::codec=mpeg2video video::b=50M video::size=1440x1080",
    "video::codec=libx264 video::preset=veryfast",
    "video::codec=prores",
};

bool PutOne(xv::host::Writer& writer, const Picture& picture, int number) {
  xv::host::FrameBuilder builder;
  builder.Video(xv::kFccUYVY, kWidth, kHeight, 25, picture->data(), kBytes, picture);
  builder.Time(number * kStep, (number + 1) * kStep);
  return !xv::Failed(writer.Put(std::move(builder)));
}

// Frames until `ended`; -1 for a failure.
int RunFlatOut(const std::string& target, const char* attributes,
               const std::vector<Picture>& pictures, const std::atomic<bool>& ended) {
  xv::host::Writer writer;
  if (xv::Failed(writer.Start(target, attributes))) return -1;
  int frames = 0;
  for (; !ended; ++frames) {
    if (!PutOne(writer, pictures[static_cast<std::size_t>(frames) % pictures.size()], frames)) {
      return -1;
    }
  }
  return xv::Failed(writer.Stop()) ? -1 : frames;
}

struct Live {
  std::vector<double> puts;  // ms
  std::int64_t drops = 0;
  bool good = false;
};

Live RunLive(const std::string& target, const std::vector<Picture>& pictures, int frames) {
  Live live;
  xv::host::Writer writer;
  if (xv::Failed(writer.Start(target, kLive))) return live;
  const auto begin = Clock::now();
  for (int i = 0; i < frames; ++i) {
    std::this_thread::sleep_until(begin + i * kStep);
    const auto put = Clock::now();
    if (!PutOne(writer, pictures[static_cast<std::size_t>(i) % pictures.size()], i)) return live;
    if (i == 0) continue;  // opens the encoder
    live.puts.push_back(std::chrono::duration<double, std::milli>(Clock::now() - put).count());
  }
  live.good = !xv::Failed(writer.Stop());
  live.drops = writer.Stats().drops;
  std::sort(live.puts.begin(), live.puts.end());
  return live;
}

void Print(const char* what, const Live& live) {
  std::printf("%-22s put p50 %6.2f ms   p99 %6.2f ms   worst %6.2f ms   dropped %lld of %zu\n",
              what, live.puts[live.puts.size() / 2], live.puts[live.puts.size() * 99 / 100],
              live.puts.back(), static_cast<long long>(live.drops), live.puts.size() + 1);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  const std::string folder = std::string(argv[1]) + "/";
  const int seconds = argc > 2 ? std::atoi(argv[2]) : 12;
  const int others = argc > 3 ? std::atoi(argv[3]) : 3;
  const std::vector<Picture> pictures = xv::bench::MakePictures(kBytes);
  const Live alone = RunLive(folder + "alone.mp4", pictures, seconds * 25);
  if (!alone.good) return 1;
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
  const Live beside = RunLive(folder + "live.mp4", pictures, seconds * 25);
  ended = true;
  for (std::thread& thread : threads) thread.join();
  if (!beside.good || std::ranges::count(frames, -1) > 0) return 1;
  Print(("beside " + std::to_string(others) + " flat out").c_str(), beside);
  for (std::size_t i = 0; i < frames.size(); ++i) {
    std::printf("  %6.1f frames a second: %s\n", frames[i] / double(seconds),
                kOthers[i % std::size(kOthers)]);
  }
  return 0;
}
