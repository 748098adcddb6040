#include "props/props_core.h"

#include "base/guard.h"
#include "base/text.h"
#include "props/reserved_names.h"
#include "tree/node_path.h"

namespace xv {

using XMLParse::CoXMLNode;
using XMLParse::MergeMode;
using XMLParse::ValueClass;
using XMLParse::XMLNodePtr;

namespace {

constexpr std::string_view kListName = "supported_list";
constexpr std::string_view kSchemaName = "attributes_info";
constexpr std::string_view kQuality = "quality::";

// The node that the segments ahead of the last one name, and the last one.
struct Place {
  XMLNodePtr node;  // null when there is no such node
  std::string_view last;
};

Place Locate(CoXMLNode& root, std::string_view path) {
  const XMLParse::SplitPath split = XMLParse::SplitLast(path);
  if (!split.nodes) return {XMLNodePtr::Retain(&root), path};
  return {root.FindChild(*split.nodes), split.last};
}

Status RemoveAttributeOrNode(CoXMLNode& root, const std::string& name) {
  const Status removed = root.RemoveAttribute(name);
  return removed.Ok() ? removed : root.RemoveChildNode(name);
}

Status ReplaceFromXml(CoXMLNode& root, const std::string& name, const std::string& xml) {
  if (name.empty()) return root.ReadXml(xml);
  const XMLNodePtr read = CoXMLNode::Create("test");
  RETURN_IF_FAILED(read->ReadXml(xml));
  const XMLParse::NodePath path(name);
  const std::string_view last = XMLParse::ParseSegment(path.Last()).name;
  if (!EqualsNoCase(read->Name(), last)) return E_INVALIDARG;
  const XMLNodePtr target = root.Child(name, true);
  if (!target) return XV_E_FILE_NOT_FOUND;
  target->CopyFrom(*read, MergeMode::kClearFirst, true);
  return S_OK;
}

}  // namespace

PropsCore::PropsCore() : holder_(MakeRef<ObjectVal>(CoXMLNode::Create(kPropsNodeName))) {}

std::string PropsCore::LastName() const {
  const std::lock_guard guard(stateLock_);
  return lastName_;
}

void PropsCore::SetForward(Ref<IXvProps> forward) {
  const std::lock_guard guard(stateLock_);
  std::swap(forward_, forward);
}

std::string PropsCore::Named(const char16_t* name) {
  std::string text = Utf8FromUtf16(name);
  const std::lock_guard guard(stateLock_);
  lastName_ = text;
  return text;
}

HRESULT PropsCore::Set(const char16_t* name, const char16_t* value) noexcept {
  return Guarded([&]() -> Status {
    const std::string key = Named(name);
    if (name == nullptr) return E_INVALIDARG;
    const XMLNodePtr node = Node();
    if (!node) return E_FAIL;
    const std::unique_lock guard(treeLock_);
    return SetValue(*node, key, Utf8FromUtf16(value));
  });
}

Status PropsCore::SetValue(CoXMLNode& node, const std::string& name, const std::string& value) {
  switch (XMLParse::ClassifyValue(value)) {
    case ValueClass::kClear:
      if (name.empty()) {
        node.ClearAttributes();
        node.ClearChildren();
      } else {
        (void)RemoveAttributeOrNode(node, name);  // gone is what was asked for
      }
      return S_OK;
    case ValueClass::kPlain:
      if (name.empty()) return E_INVALIDARG;
      return node.SetText(name, value).Ok() ? S_OK : XV_E_FILE_NOT_FOUND;
    case ValueClass::kAttributes: {
      const XMLNodePtr target = name.empty() ? XMLNodePtr::Retain(&node) : node.Child(name, true);
      if (!target) return XV_E_FILE_NOT_FOUND;
      return target->TryMergeText(value, MergeMode::kReplace);
    }
    case ValueClass::kXml:
      break;
  }
  return ReplaceFromXml(node, name, value);
}

std::optional<std::string> PropsCore::Find(const std::string& name) const {
  const XMLNodePtr node = Node();
  if (name.empty()) return node->WriteXml();
  if (std::optional<std::string> value = ReservedValue(name)) return value;
  if (qualityRead_ && name.size() > kQuality.size() &&
      EqualsNoCase(std::string_view(name).substr(0, kQuality.size()), kQuality)) {
    const std::string_view behind = std::string_view(name).substr(kQuality.size());
    if (std::optional<std::string> value = qualityRead_(behind)) return value;
  }
  const auto [parent, last] = Locate(*node, name);
  if (parent && EqualsNoCase(last, kSchemaName)) {
    const XMLNodePtr schema = parent->SchemaNode(false);
    return schema ? std::optional(schema->WriteXml()) : std::nullopt;
  }
  return node->FindText(name);
}

HRESULT PropsCore::Get(const char16_t* name, char16_t** value) noexcept {
  return Guarded([&]() -> Status {
    const std::string key = Named(name);
    if (value == nullptr) return E_POINTER;
    *value = nullptr;
    if (!Node()) return E_FAIL;
    if (listRead_ && EqualsNoCase(key, kListName)) {
      std::string xml;
      RETURN_IF_FAILED(listRead_(&xml));
      return GiveString(xml, value);
    }
    std::optional<std::string> found;
    {
      const std::shared_lock guard(treeLock_);
      found = Find(key);
    }
    return found ? GiveString(*found, value) : GetForwarded(name, value);
  });
}

Status PropsCore::GetForwarded(const char16_t* name, char16_t** value) const {
  Ref<IXvProps> forward;
  {
    const std::lock_guard guard(stateLock_);
    forward = forward_;
  }
  return forward ? Status(forward->PropsGet(name, value)) : Status(S_OK);
}

HRESULT PropsCore::Remove(const char16_t* name) noexcept {
  return Guarded([&]() -> Status {
    const std::string key = Named(name);
    if (name == nullptr || key.empty()) return E_INVALIDARG;
    const XMLNodePtr node = Node();
    if (!node) return E_FAIL;
    const std::unique_lock guard(treeLock_);
    const auto [parent, last] = Locate(*node, key);
    if (!parent) return XV_E_NOT_FOUND;
    if (EqualsNoCase(last, "_all_props_")) {
      parent->ClearAttributes();
      return S_OK;
    }
    if (EqualsNoCase(last, "_all_nodes_")) {
      parent->ClearChildren();
      return S_OK;
    }
    return RemoveAttributeOrNode(*node, key);
  });
}

}  // namespace xv
