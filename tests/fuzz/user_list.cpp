#include <cstdlib>

#include "catalogue/list_file.h"
#include "catalogue/pruner.h"
#include "fuzz/memory_file.h"

// Any bytes as the user's list of formats: it is refused, or it is pruned and saved, and what was
// saved is read.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 1) return 0;
  const bool wide = (data[0] & 1) != 0;
  const auto list = xv::XMLParse::CoXMLNode::Create("supported_list");
  bool cut = false;
  const std::string& path = xv::test::MemoryFile(data + 1, size - 1);
  if (xv::LoadListFile(path, wide, *list, &cut) != xv::Status(xv::S_OK)) return 0;
  xv::Pruner pruner{xv::HardwareReport{}};
  pruner.Run(*list);
  const std::string saved = list->WriteXml({.wellFormed = true});
  const auto again = xv::XMLParse::CoXMLNode::Create("supported_list");
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(saved.data());
  if (xv::LoadListFile(xv::test::MemoryFile(bytes, saved.size()), false, *again, &cut).Failed()) {
    std::abort();
  }
  return 0;
}
