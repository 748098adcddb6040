#include "captions/anc_reader.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

// Any bytes as an ancillary data file: a known status, and never more memory than the file has.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const int memory = memfd_create("anc", MFD_CLOEXEC);
  static const std::string path = "/proc/self/fd/" + std::to_string(memory);
  if (ftruncate(memory, 0) != 0 || pwrite(memory, data, size, 0) != static_cast<ssize_t>(size)) {
    std::abort();
  }
  xv::AncReader reader;
  if (reader.Open(path).Failed()) return 0;
  std::size_t bytes = 0;
  xv::AncReader::Callbacks callbacks;
  callbacks.frame = [&](const xv::Ref<xv::CTimedData>& frame) {
    if (frame->items.size() != 1) std::abort();
    bytes += 4;
  };
  callbacks.changing = [](const std::function<void()>& change) { change(); };
  const xv::Status status = reader.Read(callbacks);
  const bool known = status == xv::Status() || status == xv::Status(xv::XV_E_CORRUPT_FILE);
  if (!known || bytes > size) std::abort();
  return 0;
}
