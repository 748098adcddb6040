// Records one raw UYVY file in several sessions at once, each as fast as it goes: every session
// reads all of it and pushes it through an object of its own. As xvrecord does, a host whose input
// waits queues one picture and lets its threads share what they free.
//   record_sessions RAW WIDTH HEIGHT RATE TARGET-PREFIX EXTENSION ATTRIBUTES SESSIONS
#include <malloc.h>

#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "xvrecord/input.h"
#include "xvwriter/host.hpp"

namespace {

struct Raster {
  int width, height;
  double rate;
  std::size_t Bytes() const { return static_cast<std::size_t>(width) * height * 2; }
};

bool PushAll(std::FILE* raw, const Raster& raster, xv::host::Writer& writer) {
  xvrecord::BlockPool pool;
  const std::size_t bytes = raster.Bytes();
  const auto at = [&](int i) { return xv::host::Ticks(std::llround(i * 1e7 / raster.rate)); };
  for (int i = 0;; ++i) {
    const auto picture = pool.Get(bytes);
    if (std::fread(picture->data(), 1, bytes, raw) != bytes) return i > 0;
    xv::host::FrameBuilder builder;
    builder.Video(xv::kFccUYVY, raster.width, raster.height, raster.rate, picture->data(), bytes,
                  picture);
    builder.Time(at(i), at(i + 1));
    if (xv::Failed(writer.Put(std::move(builder)))) return false;
  }
}

bool RecordOne(const char* input, const Raster& raster, const std::string& target,
               const std::string& attributes) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> raw(std::fopen(input, "rb"), &std::fclose);
  xv::host::Writer writer;
  if (!raw || xv::Failed(writer.Start(target, "video.buffers=1 " + attributes))) return false;
  return PushAll(raw.get(), raster, writer) && !xv::Failed(writer.Stop());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 9) return 2;
  constexpr int kKept = 32 << 20;
  mallopt(M_ARENA_MAX, 1);
  mallopt(M_MMAP_THRESHOLD, kKept);
  mallopt(M_TRIM_THRESHOLD, kKept);
  const Raster raster{std::atoi(argv[2]), std::atoi(argv[3]), std::atof(argv[4])};
  std::atomic<bool> good{true};
  std::vector<std::thread> sessions;
  for (int i = 0; i < std::atoi(argv[8]); ++i) {
    sessions.emplace_back([&, target = std::string(argv[5]) + std::to_string(i) + argv[6]] {
      if (!RecordOne(argv[1], raster, target, argv[7])) good = false;
    });
  }
  for (std::thread& session : sessions) session.join();
  return good ? 0 : 1;
}
