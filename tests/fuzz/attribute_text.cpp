#include <cstdlib>
#include <string>

#include "tree/node.h"

// Any bytes as the text of attributes: what a node says of itself is read as the same node.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using xv::XMLParse::CoXMLNode;
  const std::string text(reinterpret_cast<const char*>(data), size);
  const auto node = CoXMLNode::Create("attributes");
  xv::XMLParse::TextFaults faults;
  node->MergeText(text, xv::XMLParse::MergeMode::kReplace, true, &faults);
  if (faults.badPaths.size() > xv::XMLParse::TextFaults::kMostPaths) std::abort();
  for (const auto& [name, value] : node->Attributes()) {
    static_cast<void>(node->Double(name, 0));
    static_cast<void>(node->Int(name, 0));
    static_cast<void>(node->Bool(name));
  }
  const std::string line = node->AttributeText();
  const auto again = CoXMLNode::Create("attributes");
  again->MergeText(line, xv::XMLParse::MergeMode::kReplace, false);
  if (again->AttributeText() != line) std::abort();
  return 0;
}
