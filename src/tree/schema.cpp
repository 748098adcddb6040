#include "base/text.h"
#include "tree/node.h"
#include "tree/node_impl.h"
#include "tree/node_path.h"

namespace xv::XMLParse {
namespace {

XMLNodePtr DirectChild(const CoXMLNode& node, std::string_view name) {
  const XMLNodeImpl& impl = XMLNodeImpl::Of(node);
  const ReadLock guard(impl.lock);
  return impl.ChildNamed(name);
}

// The node that a path's attribute is in, and the attribute's name.
std::pair<XMLNodePtr, std::string_view> Locate(const CoXMLNode& node, std::string_view path) {
  const SplitPath split = SplitLast(path);
  if (!split.nodes) return {XMLNodePtr::Retain(const_cast<CoXMLNode*>(&node)), path};
  return {node.FindChild(*split.nodes), split.last};
}

}  // namespace

XMLNodePtr CoXMLNode::SchemaNode(bool create) {
  if (!create) {
    const ReadLock guard(impl_->lock);
    return impl_->ChildNamed(kSchemaName);
  }
  const WriteLock guard(impl_->lock);
  XMLNodePtr schema = impl_->ChildNamed(kSchemaName);
  if (schema) return schema;
  schema = Create(kSchemaName);
  XMLNodeImpl::AttachFresh(*this, schema);
  return schema;
}

XMLNodePtr CoXMLNode::FindInfo(std::string_view path) const {
  auto [node, name] = Locate(*this, path);
  if (name.empty()) return nullptr;
  while (node) {
    if (const XMLNodePtr schema = node->SchemaNode(false)) {
      if (XMLNodePtr entry = DirectChild(*schema, name)) return entry;
      if (!schema->Bool("inherit", true)) return nullptr;
    }
    node = node->Parent();
  }
  return nullptr;
}

std::optional<std::string> CoXMLNode::EntryValues() const {
  if (const std::optional<std::string> unit = FindText("select_from")) {
    XMLNodePtr holder = DirectChild(*this, *unit);
    const XMLNodePtr schema = Parent();
    if (!holder && schema) holder = DirectChild(*schema, *unit);
    std::optional<std::string> values = holder ? holder->FindText("values") : std::nullopt;
    if (values) return values;
  }
  return FindText("values");
}

std::optional<std::string> CoXMLNode::InfoValues(std::string_view path) const {
  const XMLNodePtr entry = FindInfo(path);
  return entry ? entry->EntryValues() : std::nullopt;
}

std::optional<std::string> CoXMLNode::InfoValue(std::string_view path, std::string_view key) const {
  if (EqualsNoCase(key, "values")) return InfoValues(path);
  const XMLNodePtr entry = FindInfo(path);
  if (!entry) return std::nullopt;
  return key.empty() ? entry->Value() : entry->FindText(key);
}

}  // namespace xv::XMLParse
