#include "base/guard.h"
#include "base/text.h"
#include "props/props_core.h"
#include "tree/node_impl.h"
#include "tree/node_path.h"

// The operations that walk: by index over a node's attributes and children, and over its schema.
namespace xv {

using XMLParse::CoXMLNode;
using XMLParse::GiveNode;
using XMLParse::XMLNodePtr;

namespace {

constexpr std::string_view kInfo = "_info_";
constexpr std::string_view kQuality = "quality";
constexpr std::string_view kList = "supported_list::";

// The node of a path; an empty one is the tree's own. Null when there is none.
XMLNodePtr NodeAt(const XMLNodePtr& root, const std::string& path) {
  return path.empty() ? root : root->FindChild(path);
}

// "_info_" and "path::_info_" mean the schema of the node. Sets `path` to what is ahead of it.
bool CutInfo(std::string* path) {
  const XMLParse::SplitPath split = XMLParse::SplitLast(*path);
  if (!EqualsNoCase(split.last, kInfo)) return false;
  path->resize(split.nodes.value_or("").size());
  return true;
}

Status GiveOptional(const std::optional<std::string>& text, char16_t** out) {
  return text ? GiveString(*text, out) : Status(S_OK);
}

}  // namespace

PropsCore::Property PropsCore::PropertyOf(const CoXMLNode& node) {
  return {node.Name(), node.Value(), node.ChildCount() > 0 || node.AttributeCount() > 0};
}

// Attributes come first, children behind them.
std::optional<PropsCore::Property> PropsCore::PropertyAt(const CoXMLNode& node, std::size_t index) {
  if (auto attribute = node.AttributeAt(index)) {
    return Property{std::move(attribute->first), std::move(attribute->second), false};
  }
  const XMLNodePtr child = node.ChildAt(index - node.AttributeCount());
  return child ? std::optional(PropertyOf(*child)) : std::nullopt;
}

bool PropsCore::IsQuality(std::string_view path) const {
  return qualityNames_ && EqualsNoCase(path, kQuality);
}

std::vector<PropsCore::Property> PropsCore::QualityProperties(const CoXMLNode* node) const {
  std::vector<Property> all;
  for (const std::string& name : qualityNames_()) {
    all.push_back({name, qualityRead_(name).value_or(std::string()), false});
  }
  if (node == nullptr) return all;
  for (auto& [name, value] : node->Attributes()) {
    if (!qualityRead_(name)) all.push_back({name, value, false});
  }
  return all;
}

std::optional<PropsCore::Property> PropsCore::WalkAt(const CoXMLNode* node, const std::string& path,
                                                     std::size_t index) const {
  if (IsQuality(path)) {
    const std::vector<Property> all = QualityProperties(node);
    if (index < all.size()) return all[index];
    return node == nullptr ? std::nullopt
                           : PropertyAt(*node, index - all.size() + node->AttributeCount());
  }
  if (node == nullptr) return std::nullopt;
  if (std::optional<Property> property = PropertyAt(*node, index)) return property;
  const bool behindTheLast = path.empty() && IsQuality(kQuality) && !node->FindChild(kQuality) &&
                             index == node->AttributeCount() + node->ChildCount();
  return behindTheLast ? std::optional(Property{std::string(kQuality), {}, true}) : std::nullopt;
}

HRESULT PropsCore::GetCount(const char16_t* node, std::int32_t* count) noexcept {
  return Guarded([&]() -> Status {
    std::string path = Named(node);
    if (count == nullptr) return E_POINTER;
    *count = 0;
    const XMLNodePtr root = Node();
    if (!root) return E_FAIL;
    const std::shared_lock guard(treeLock_);
    const bool info = CutInfo(&path);
    const XMLNodePtr found = NodeAt(root, path);
    if (!info && IsQuality(path)) {
      *count = static_cast<std::int32_t>(QualityProperties(found.get()).size());
      return S_OK;
    }
    if (!found) return XV_E_NOT_FOUND;
    const XMLNodePtr schema = info ? found->SchemaNode(false) : nullptr;
    const std::size_t entries = schema ? schema->ChildCount() : 0;
    *count = static_cast<std::int32_t>(info ? entries : found->AttributeCount());
    return S_OK;
  });
}

HRESULT PropsCore::GetByIndex(const char16_t* node, std::int32_t index, char16_t** name,
                              char16_t** value, std::int32_t* hasChildren) noexcept {
  return Guarded([&]() -> Status {
    std::string path = Named(node);
    if (name == nullptr || value == nullptr || hasChildren == nullptr) return E_POINTER;
    *name = *value = nullptr;
    *hasChildren = 0;
    const XMLNodePtr root = Node();
    if (!root) return E_FAIL;
    const std::shared_lock guard(treeLock_);
    const bool info = CutInfo(&path);
    XMLNodePtr found = NodeAt(root, path);
    if (found && info) found = found->SchemaNode(false);
    if (index < 0 || (info && !found)) return XV_E_NOT_FOUND;
    const auto at = static_cast<std::size_t>(index);
    std::optional<Property> property;
    if (const XMLNodePtr entry = info ? found->ChildAt(at) : nullptr) property = PropertyOf(*entry);
    if (!info) property = WalkAt(found.get(), path, at);
    if (!property) return XV_E_NOT_FOUND;
    *hasChildren = property->hasChildren ? 1 : 0;
    RETURN_IF_FAILED(GiveString(property->name, name));
    return GiveString(property->value, value);
  });
}

HRESULT PropsCore::HasChild(const char16_t* name, std::int32_t index,
                            std::int32_t* hasChild) noexcept {
  return Guarded([&]() -> Status {
    const std::string path = Named(name);
    if (hasChild == nullptr) return E_POINTER;
    *hasChild = 0;
    if (name == nullptr) return E_INVALIDARG;
    const XMLNodePtr root = Node();
    if (!root) return E_FAIL;
    const std::shared_lock guard(treeLock_);
    const XMLNodePtr found = NodeAt(root, path);
    // The computed "quality" is a child of the root, and a node without children.
    const bool ownQuality = IsQuality(path.empty() ? kQuality : path) && !root->FindChild(kQuality);
    std::size_t children = found ? found->ChildCount() : 0;
    if (ownQuality && path.empty()) ++children;
    const bool exists = found || ownQuality;
    const bool has = exists && (index < 0 || static_cast<std::size_t>(index) < children);
    *hasChild = has ? 1 : 0;
    return S_OK;
  });
}

HRESULT PropsCore::InfoGetCount(const char16_t* path, std::int32_t* count) noexcept {
  return Guarded([&]() -> Status {
    const std::string where = Named(path);
    if (count == nullptr) return E_POINTER;
    *count = 0;
    const XMLNodePtr root = Node();
    if (!root) return E_FAIL;
    const std::shared_lock guard(treeLock_);
    const XMLNodePtr found = NodeAt(root, where);
    if (!found) return XV_E_NOT_FOUND;
    const XMLNodePtr schema = found->SchemaNode(false);
    *count = schema ? static_cast<std::int32_t>(schema->ChildCount()) : 0;
    return S_OK;
  });
}

HRESULT PropsCore::InfoGetByIndex(const char16_t* path, std::int32_t index, char16_t** name,
                                  IXvNode** info) noexcept {
  return Guarded([&]() -> Status {
    const std::string where = Named(path);
    if (name == nullptr || info == nullptr) return E_POINTER;
    *name = nullptr;
    *info = nullptr;
    const XMLNodePtr root = Node();
    if (!root) return E_FAIL;
    const std::shared_lock guard(treeLock_);
    const XMLNodePtr found = NodeAt(root, where);
    const XMLNodePtr schema = found ? found->SchemaNode(false) : nullptr;
    if (!schema || index < 0) return XV_E_NOT_FOUND;
    const XMLNodePtr entry = schema->ChildAt(static_cast<std::size_t>(index));
    if (!entry) return XV_E_NOT_FOUND;
    RETURN_IF_FAILED(GiveString(entry->Name(), name));
    return GiveNode(entry, info);
  });
}

XMLNodePtr PropsCore::FindInfo(const std::string& path) const {
  const bool ofList =
      listInfo_ && EqualsNoCase(std::string_view(path).substr(0, kList.size()), kList);
  if (XMLNodePtr entry = ofList ? listInfo_(path) : nullptr) return entry;
  const std::shared_lock guard(treeLock_);
  return Node()->FindInfo(path);
}

HRESULT PropsCore::InfoGet(const char16_t* name, char16_t** type, char16_t** defaultValue,
                           char16_t** values) noexcept {
  return Guarded([&]() -> Status {
    const std::string path = Named(name);
    if (type == nullptr || defaultValue == nullptr || values == nullptr) return E_POINTER;
    *type = *defaultValue = *values = nullptr;
    if (name == nullptr) return E_INVALIDARG;
    if (!Node()) return E_FAIL;
    const XMLNodePtr entry = FindInfo(path);
    if (!entry) return XV_E_NOT_FOUND;
    RETURN_IF_FAILED(GiveOptional(entry->FindText("type"), type));
    RETURN_IF_FAILED(GiveOptional(entry->FindText("default"), defaultValue));
    return GiveOptional(entry->EntryValues(), values);
  });
}

HRESULT PropsCore::InfoSet(const char16_t* name, const char16_t* type, const char16_t* defaultValue,
                           const char16_t* values) noexcept {
  return Guarded([&]() -> Status {
    const std::string path = Named(name);
    if (name == nullptr) return E_INVALIDARG;
    const XMLNodePtr root = Node();
    if (!root) return E_FAIL;
    const std::unique_lock guard(treeLock_);
    const XMLParse::SplitPath split = XMLParse::SplitLast(path);
    const XMLNodePtr node = split.nodes ? root->Child(*split.nodes, true) : root;
    if (!node) return XV_E_FILE_NOT_FOUND;
    const std::u16string last = Utf16FromUtf8(split.last);
    Ref<IXvNode> entry;
    RETURN_IF_FAILED(node->SetInfo(last.c_str(), type, defaultValue, entry.Receive()));
    return values == nullptr ? S_OK : entry->SetString(u"values", values);
  });
}

}  // namespace xv
