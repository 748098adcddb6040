// Records one raw UYVY 1080p25 file in several sessions at once, each as fast as it goes: the input
// is mapped, every session pushes all of it through an object of its own.
//   record_sessions RAW TARGET-PREFIX EXTENSION ATTRIBUTES SESSIONS
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "xvwriter/host.hpp"

namespace {

constexpr int kWidth = 1920, kHeight = 1080;
constexpr std::size_t kBytes = std::size_t{kWidth} * kHeight * 2;
constexpr std::int64_t kFrameTime = 400'000;  // 100 ns

struct Input {
  std::shared_ptr<const unsigned char> bytes;
  int frames = 0;
};

Input Map(const char* path) {
  const int descriptor = open(path, O_RDONLY | O_CLOEXEC);
  struct stat info {};
  if (descriptor < 0 || fstat(descriptor, &info) != 0) return {};
  const auto size = static_cast<std::size_t>(info.st_size);
  void* memory = mmap(nullptr, size, PROT_READ, MAP_SHARED, descriptor, 0);
  if (memory == MAP_FAILED) return {};
  return {{static_cast<const unsigned char*>(memory), [](const unsigned char*) {}},
          static_cast<int>(size / kBytes)};
}

bool RecordOne(const Input& input, const std::string& target, const char* attributes) {
  xv::host::Writer writer;
  if (xv::Failed(writer.Start(target, attributes))) return false;
  for (int i = 0; i < input.frames; ++i) {
    xv::host::FrameBuilder builder;
    builder.Video(xv::kFccUYVY, kWidth, kHeight, 25,
                  input.bytes.get() + kBytes * static_cast<std::size_t>(i), kBytes, input.bytes);
    if (xv::Failed(writer.Put(builder.Time(i * kFrameTime, (i + 1) * kFrameTime).Build()))) {
      return false;
    }
  }
  return !xv::Failed(writer.Stop());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 6) return 2;
  const Input input = Map(argv[1]);
  if (input.frames == 0) return 2;
  std::atomic<bool> good{true};
  std::vector<std::thread> sessions;
  for (int i = 0; i < std::atoi(argv[5]); ++i) {
    sessions.emplace_back([&, target = std::string(argv[2]) + std::to_string(i) + argv[3]] {
      if (!RecordOne(input, target, argv[4])) good = false;
    });
  }
  for (std::thread& session : sessions) session.join();
  return good ? 0 : 1;
}
