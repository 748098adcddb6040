#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>

namespace xv::test {

// A file of given bytes that lies in memory and has a path. A program has one at a time.
inline const std::string& MemoryFile(const std::uint8_t* data, std::size_t size) {
  static const int memory = memfd_create("fuzz", MFD_CLOEXEC);
  static const std::string path = "/proc/self/fd/" + std::to_string(memory);
  if (ftruncate(memory, 0) != 0 || pwrite(memory, data, size, 0) != static_cast<ssize_t>(size)) {
    std::abort();
  }
  return path;
}

}  // namespace xv::test
