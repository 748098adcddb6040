// What sound of 16 channels costs: processor time of the whole process, as a part of one core in
// real time, for recordings of sound alone. Blocks of 40 ms are put as fast as they are taken.
//   bench_audio_cost FOLDER [SECONDS]
#include <sys/resource.h>

#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "xvwriter/host.hpp"

namespace {

constexpr int kChannels = 16;
constexpr std::chrono::milliseconds kBlock(40);

struct Row {
  const char* what;
  const char* attributes;
  int rate;
  bool planar;
};

constexpr Row kRows[] = {
    {"as it comes", "audio::codec=pcm_s16le merge_tracks=true", 48000, false},
    {"interleaved from planes", "audio::codec=pcm_s16le merge_tracks=true", 48000, true},
    {"16 to 24 bits", "audio::codec=pcm_s24le merge_tracks=true", 48000, false},
    {"eight tracks of pairs", "audio::codec=pcm_s16le split_channels=2", 48000, false},
    {"44.1 to 48 kHz", "audio::codec=pcm_s16le audio::sample_rate=48000 merge_tracks=true", 44100,
     false},
};

double CpuSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& t) {
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) * 1e-6;
  };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// Per cent of a core; below 0: it failed.
double Cost(const std::string& target, const Row& row, int seconds) {
  const int samples = row.rate / 25;
  std::vector<std::int16_t> sound(static_cast<std::size_t>(samples) * kChannels);
  for (std::size_t i = 0; i < sound.size(); ++i) {
    sound[i] = static_cast<std::int16_t>(9000 * std::sin(static_cast<double>(i) * 0.01));
  }
  std::vector<const void*> planes;
  for (int i = 0; i < kChannels; ++i) planes.push_back(sound.data() + i * samples);
  xv::host::Writer writer;
  if (xv::Failed(writer.Start(target, row.attributes))) return -1;
  double begin = 0;
  for (int i = 0; i < seconds * 25; ++i) {
    xv::host::FrameBuilder builder;
    if (row.planar) {
      builder.AudioPlanes(row.rate, 16, planes, static_cast<std::size_t>(samples));
    } else {
      builder.Audio(kChannels, row.rate, 16, sound.data(), sound.size() * 2);
    }
    builder.Time(i * kBlock, (i + 1) * kBlock);
    if (xv::Failed(writer.Put(std::move(builder)))) return -1;
    if (i == 0) begin = CpuSeconds();  // the first one opens
  }
  const double spent = CpuSeconds() - begin;
  return xv::Failed(writer.Stop()) ? -1 : spent / seconds * 100;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  const int seconds = argc > 2 ? std::atoi(argv[2]) : 60;
  for (const Row& row : kRows) {
    const double cost = Cost(std::string(argv[1]) + "/audio.mov", row, seconds);
    if (cost < 0) return 1;
    std::printf("%-28s %6.2f %% of a core\n", row.what, cost);
  }
  return 0;
}
