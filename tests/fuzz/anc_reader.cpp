#include "captions/anc_reader.h"

#include <cstdlib>

#include "fuzz/memory_file.h"

// Any bytes as an ancillary data file: a known status, and never more memory than the file has.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  xv::AncReader reader;
  if (reader.Open(xv::test::MemoryFile(data, size)).Failed()) return 0;
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
