// How long a host waits in ReceiverPut while the queue has room: frames of 1080p25 UYVY, libx264
// veryfast, each put timed by itself. The peer is memcpy of the same picture.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <vector>

#include "pictures.h"
#include "xvwriter/host.hpp"

namespace {

using Clock = std::chrono::steady_clock;

double Microseconds(Clock::duration d) {
  return std::chrono::duration<double, std::micro>(d).count();
}

void Print(const char* what, std::vector<double> values) {
  std::sort(values.begin(), values.end());
  std::printf("%-24s p50 %8.1f us   p99 %8.1f us   (%zu)\n", what, values[values.size() / 2],
              values[values.size() * 99 / 100], values.size());
}

}  // namespace

int main(int argc, char** argv) {
  constexpr int kWidth = 1920, kHeight = 1080, kFrames = 200;
  constexpr std::size_t kBytes = std::size_t{kWidth} * kHeight * 2;
  const auto pictures = xv::bench::MakePictures(kBytes);
  std::vector<unsigned char> target(kBytes);
  std::vector<double> puts, copies;
  xv::host::Writer writer;
  if (xv::Failed(writer.Start(argc > 1 ? argv[1] : "put_latency.mp4",
                              "video::codec=libx264 video::preset=veryfast video.buffers=500"))) {
    return 1;
  }
  for (int i = 0; i < kFrames; ++i) {
    const auto& picture = pictures[static_cast<std::size_t>(i) % pictures.size()];
    xv::host::FrameBuilder builder;
    builder.Video(xv::kFccHDYC, kWidth, kHeight, 25, picture->data(), kBytes, picture);
    const std::chrono::milliseconds step(40);
    const auto frame = std::move(builder).Time(i * step, (i + 1) * step).Build();
    const auto begin = Clock::now();
    if (xv::Failed(writer.Put(frame))) return 1;
    const auto put = Clock::now();
    std::memcpy(target.data(), picture->data(), kBytes);
    const auto copied = Clock::now();
    if (i == 0) continue;  // opens the encoder
    puts.push_back(Microseconds(put - begin));
    copies.push_back(Microseconds(copied - put));
  }
  if (xv::Failed(writer.Stop())) return 1;
  Print("ReceiverPut", puts);
  Print("memcpy of the picture", copies);
  return 0;
}
