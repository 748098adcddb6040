// What the queue ahead of the encoder costs or gives: MPEG-2 in standard definition with 0, 1 and 8
// pictures of room, frames a second, median of the runs. With room it must be no slower than
// without.
//   bench_queue_depth TARGET [FRAMES [RUNS]]
#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "xvwriter/host.hpp"

namespace {

constexpr int kWidth = 720, kHeight = 576;
constexpr std::chrono::milliseconds kFrameTime(40);
constexpr std::array<int, 3> kDepths{0, 1, 8};

using Picture = std::shared_ptr<std::vector<unsigned char>>;

// Pictures that move, so that the encoder has something to do.
std::vector<Picture> MakePictures() {
  std::vector<Picture> pictures;
  for (int n = 0; n < 16; ++n) {
    auto picture = std::make_shared<std::vector<unsigned char>>(kWidth * kHeight * 2);
    for (std::size_t i = 0; i < picture->size(); ++i) {
      const auto x = static_cast<int>(i % (kWidth * 2)), y = static_cast<int>(i / (kWidth * 2));
      (*picture)[i] = static_cast<unsigned char>(64 + ((x * 3 + y * 5 + n * 9) & 0x7F));
    }
    pictures.push_back(std::move(picture));
  }
  return pictures;
}

double FramesASecond(const char* target, int depth, int frames,
                     const std::vector<Picture>& pictures) {
  xv::host::Writer writer;
  const std::string attributes =
      "video::codec=mpeg2video video::b=8M video.buffers=" + std::to_string(depth);
  const auto begin = std::chrono::steady_clock::now();
  if (xv::Failed(writer.Start(target, attributes))) std::exit(1);
  for (int i = 0; i < frames; ++i) {
    const Picture& picture = pictures[static_cast<std::size_t>(i) % pictures.size()];
    xv::host::FrameBuilder builder;
    builder.Video(xv::kFccUYVY, kWidth, kHeight, 25, picture->data(), picture->size(), picture);
    builder.Time(i * kFrameTime, (i + 1) * kFrameTime);
    if (xv::Failed(writer.Put(std::move(builder).Build()))) std::exit(1);
  }
  (void)writer.Stop();
  const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
  return frames / taken.count();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  const int frames = argc > 2 ? std::atoi(argv[2]) : 1000;
  const int runs = argc > 3 ? std::atoi(argv[3]) : 5;
  const std::vector<Picture> pictures = MakePictures();
  std::array<std::vector<double>, kDepths.size()> rates;
  for (int run = 0; run < runs; ++run) {
    for (std::size_t i = 0; i < kDepths.size(); ++i) {
      rates[i].push_back(FramesASecond(argv[1], kDepths[i], frames, pictures));
    }
  }
  std::printf("MPEG-2 720x576, %d frames, median of %d runs\n", frames, runs);
  double without = 0;
  for (std::size_t i = 0; i < kDepths.size(); ++i) {
    std::sort(rates[i].begin(), rates[i].end());
    const double median = rates[i][rates[i].size() / 2];
    if (i == 0) without = median;
    std::printf("video.buffers=%d  %7.1f frames/s  %.2f\n", kDepths[i], median, median / without);
  }
  return 0;
}
