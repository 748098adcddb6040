#include "codec/option_dictionary.h"

namespace xv {

void DictForFFmpeg(const XMLParse::CoXMLNode& node, std::span<const AttributeRow> ours,
                   AvDictionary& target, int flags) {
  for (const auto& [name, value] : node.Attributes()) {
    const AttributeRow* row = FindRow(ours, name);
    if (name.empty() || (row != nullptr && !row->toFFmpeg)) continue;
    target.Set(name.c_str(), value.c_str(), flags);
  }
}

void KeepFlagsOfContext(AvDictionary& options) {
  const char* flags = options.Find("flags");
  if (flags == nullptr || *flags == '\0' || *flags == '+' || *flags == '-') return;
  const std::string added = std::string("+") + flags;
  options.Set("flags", added.c_str());
}

}  // namespace xv
