// Records one raw UYVY 1080p25 file in several sessions at once, each as fast as it goes: every
// session reads all of it and pushes it through an object of its own.
//   record_sessions RAW TARGET-PREFIX EXTENSION ATTRIBUTES SESSIONS
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "xvrecord/input.h"
#include "xvwriter/host.hpp"

namespace {

constexpr int kWidth = 1920, kHeight = 1080;
constexpr std::size_t kBytes = std::size_t{kWidth} * kHeight * 2;
constexpr std::chrono::milliseconds kFrameTime(40);

bool PushAll(std::FILE* raw, xv::host::Writer& writer) {
  xvrecord::BlockPool pool;
  for (int i = 0;; ++i) {
    const auto picture = pool.Get(kBytes);
    if (std::fread(picture->data(), 1, kBytes, raw) != kBytes) return i > 0;
    xv::host::FrameBuilder builder;
    builder.Video(xv::kFccUYVY, kWidth, kHeight, 25, picture->data(), kBytes, picture);
    builder.Time(i * kFrameTime, (i + 1) * kFrameTime);
    if (xv::Failed(writer.Put(std::move(builder)))) return false;
  }
}

bool RecordOne(const char* input, const std::string& target, const char* attributes) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> raw(std::fopen(input, "rb"), &std::fclose);
  xv::host::Writer writer;
  if (!raw || xv::Failed(writer.Start(target, attributes))) return false;
  return PushAll(raw.get(), writer) && !xv::Failed(writer.Stop());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 6) return 2;
  std::atomic<bool> good{true};
  std::vector<std::thread> sessions;
  for (int i = 0; i < std::atoi(argv[5]); ++i) {
    sessions.emplace_back([&, target = std::string(argv[2]) + std::to_string(i) + argv[3]] {
      if (!RecordOne(argv[1], target, argv[4])) good = false;
    });
  }
  for (std::thread& session : sessions) session.join();
  return good ? 0 : 1;
}
