#include <cstdlib>
#include <string>

#include "tree/node.h"

// Any bytes as XML: what is written of it as well-formed XML is read as the same document.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using xv::XMLParse::CoXMLNode;
  if (size < 1) return 0;
  const xv::XMLParse::XmlReadOptions reading{(data[0] & 1) != 0, (data[0] & 2) != 0};
  const auto node = CoXMLNode::Create("document");
  if (node->ReadXml({reinterpret_cast<const char*>(data) + 1, size - 1}, reading).Failed())
    return 0;
  static_cast<void>(node->WriteXml({.level = 0, .wrap = 2}));
  const std::string written = node->WriteXml({.wellFormed = true});
  const auto again = CoXMLNode::Create("document");
  if (again->ReadXml(written).Failed()) std::abort();
  if (again->WriteXml({.wellFormed = true}) != written) std::abort();
  return 0;
}
