#include "base/text.h"
#include "tree/node.h"

namespace xv::XMLParse {

Status NodeFromText(std::string_view name, std::string_view text, XMLNodePtr* out) {
  const XMLNodePtr node = CoXMLNode::Create(name);
  const std::string_view trimmed = Trim(text);
  if (!trimmed.empty() && trimmed.front() == '<') {
    RETURN_IF_FAILED(node->ReadXml(trimmed));
  } else {
    RETURN_IF_FAILED(node->TryMergeText(text, MergeMode::kReplace));
  }
  *out = node;
  return S_OK;
}

std::string TextOfTree(const CoXMLNode& node, std::span<const char* const> leaveOut,
                       const std::string& prefix) {
  std::string text = node.AttributeText(leaveOut, prefix);
  for (const XMLNodePtr& child : node.Children()) {
    text += TextOfTree(*child, leaveOut, prefix + child->Name() + "::");
  }
  return text;
}

}  // namespace xv::XMLParse
