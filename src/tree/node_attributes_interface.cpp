#include "base/guard.h"
#include "base/text.h"
#include "tree/node.h"
#include "tree/node_impl.h"

namespace xv::XMLParse {
namespace {

MergeMode ModeOf(std::int32_t mode) {
  if (mode < 1) return MergeMode::kAddAbsent;
  return mode == 2 ? MergeMode::kClearFirst : MergeMode::kReplace;
}

using AttributeList = std::vector<std::pair<std::string, std::string>>;

// The attributes of any implementation of the interface.
Status ListAttributes(IXvAttributes* source, AttributeList* out) {
  if (const XMLNodePtr node = NodeOf(source)) {
    *out = node->Attributes();
    return S_OK;
  }
  std::int32_t count = 0;
  RETURN_IF_FAILED(source->GetCount(&count));
  for (std::int32_t i = 0; i < count; ++i) {
    char16_t* name = nullptr;
    char16_t* value = nullptr;
    RETURN_IF_FAILED(source->GetByIndex(i, &name, &value));
    out->emplace_back(Utf8FromUtf16(name), Utf8FromUtf16(value));
    XvStringFree(name);
    XvStringFree(value);
  }
  return S_OK;
}

void StoreAttributes(const AttributeList& attributes, MergeMode mode, CoXMLNode* target) {
  XMLNodeImpl& impl = XMLNodeImpl::Of(*target);
  const WriteLock guard(impl.lock);
  if (mode == MergeMode::kClearFirst) impl.attributes.Clear();
  for (const auto& [name, value] : attributes) {
    impl.attributes.Set(name, XMLValue(value), mode == MergeMode::kAddAbsent);
  }
}

// A typed getter: S_FALSE and zero when the attribute is absent.
template <class T, class Find>
HRESULT GetTyped(const char16_t* name, T* value, Find&& find) noexcept {
  return Guarded([&]() -> Status {
    if (value == nullptr) return E_POINTER;
    *value = {};
    if (name == nullptr) return E_INVALIDARG;
    bool found = false;
    const T read = find(Utf8FromUtf16(name), &found);
    if (!found) return S_FALSE;
    *value = read;
    return S_OK;
  });
}

// A typed setter; the write fails for an empty name and for a bad path.
template <class Store>
HRESULT SetTyped(const char16_t* name, Store&& store) noexcept {
  return Guarded([&]() -> Status {
    if (name == nullptr) return E_INVALIDARG;
    return store(Utf8FromUtf16(name));
  });
}

}  // namespace

HRESULT CoXMLNode::GetCount(std::int32_t* count) noexcept {
  if (count == nullptr) return E_POINTER;
  return Guarded([&]() -> Status {
    *count = static_cast<std::int32_t>(AttributeCount());
    return S_OK;
  });
}

HRESULT CoXMLNode::GetByIndex(std::int32_t index, char16_t** name, char16_t** value) noexcept {
  return Guarded([&]() -> Status {
    if (name == nullptr || value == nullptr) return E_POINTER;
    *name = *value = nullptr;
    const auto attribute = AttributeAt(static_cast<std::size_t>(index));
    if (!attribute) return XV_E_NOT_FOUND;
    RETURN_IF_FAILED(GiveString(attribute->first, name));
    return GiveString(attribute->second, value);
  });
}

HRESULT CoXMLNode::Remove(const char16_t* name) noexcept {
  return SetTyped(name, [&](const std::string& path) { return RemoveAttribute(path); });
}

HRESULT CoXMLNode::RemoveAll() noexcept {
  return Guarded([&]() -> Status {
    ClearAttributes();
    return S_OK;
  });
}

HRESULT CoXMLNode::SetString(const char16_t* name, const char16_t* value) noexcept {
  return SetTyped(name,
                  [&](const std::string& path) { return SetText(path, Utf8FromUtf16(value)); });
}

HRESULT CoXMLNode::SetBool(const char16_t* name, std::int32_t value) noexcept {
  return SetTyped(name, [&](const std::string& path) { return SetBoolean(path, value != 0); });
}

HRESULT CoXMLNode::SetInt(const char16_t* name, std::int32_t value) noexcept {
  return SetTyped(name, [&](const std::string& path) { return SetInteger(path, value); });
}

HRESULT CoXMLNode::SetDouble(const char16_t* name, double value) noexcept {
  return SetTyped(name, [&](const std::string& path) { return SetNumber(path, value); });
}

HRESULT CoXMLNode::GetStringEx(const char16_t* name, std::int32_t* found,
                               char16_t** value) noexcept {
  return Guarded([&]() -> Status {
    if (found == nullptr) return E_POINTER;
    *found = 0;
    if (value != nullptr) *value = nullptr;
    if (name == nullptr) return E_INVALIDARG;
    const std::optional<std::string> text = FindText(Utf8FromUtf16(name));
    *found = text ? 1 : 0;
    return text && value != nullptr ? GiveString(*text, value) : Status(S_OK);
  });
}

HRESULT CoXMLNode::GetString(const char16_t* name, char16_t** value) noexcept {
  if (value == nullptr) return E_POINTER;
  std::int32_t found = 0;
  const HRESULT result = GetStringEx(name, &found, value);
  return result == S_OK && found == 0 ? S_FALSE : result;
}

HRESULT CoXMLNode::GetInt(const char16_t* name, std::int32_t* value) noexcept {
  return GetTyped(name, value,
                  [&](const std::string& path, bool* found) { return Int(path, 0, found); });
}

HRESULT CoXMLNode::GetBool(const char16_t* name, std::int32_t* value) noexcept {
  return GetTyped(name, value, [&](const std::string& path, bool* found) {
    const std::optional<std::string> text = FindText(path);
    *found = text.has_value();
    return text && ReadBool(*text) ? 1 : 0;
  });
}

HRESULT CoXMLNode::GetDouble(const char16_t* name, double* value) noexcept {
  return GetTyped(name, value,
                  [&](const std::string& path, bool* found) { return Double(path, 0, found); });
}

HRESULT CoXMLNode::FromText(const char16_t* text, std::int32_t mode) noexcept {
  return Guarded([&]() -> Status {
    if (text == nullptr) return E_INVALIDARG;
    return TryMergeText(Utf8FromUtf16(text), ModeOf(mode));
  });
}

HRESULT CoXMLNode::ToText(char16_t** text) noexcept {
  return Guarded([&]() -> Status {
    if (text == nullptr) return E_POINTER;
    return GiveString(AttributeText(), text);
  });
}

HRESULT CoXMLNode::CopyAs(IXvAttributes** out) noexcept {
  return Guarded([&]() -> Status {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    XMLNodePtr copy = CoXMLNode::Create("m_attributes");
    StoreAttributes(Attributes(), MergeMode::kReplace, copy.get());
    *out = copy.Detach();
    return S_OK;
  });
}

HRESULT CoXMLNode::CopyFrom(IXvAttributes* source, std::int32_t mode) noexcept {
  return Guarded([&]() -> Status {
    if (source == nullptr) return E_INVALIDARG;
    AttributeList attributes;
    RETURN_IF_FAILED(ListAttributes(source, &attributes));
    StoreAttributes(attributes, ModeOf(mode), this);
    return S_OK;
  });
}

HRESULT CoXMLNode::GetInfo(IXvNode** out) noexcept {
  return Guarded([&]() -> Status {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    XMLNodePtr schema;
    for (auto node = XMLNodePtr::Retain(this); node && !schema; node = node->Parent()) {
      schema = node->SchemaNode(false);
    }
    return GiveNode(std::move(schema), out);
  });
}

HRESULT CoXMLNode::GetInfoOf(std::int32_t index, IXvNode** out) noexcept {
  return Guarded([&]() -> Status {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    const auto attribute = AttributeAt(static_cast<std::size_t>(index));
    if (!attribute) return XV_E_NOT_FOUND;
    return GiveNode(FindInfo(attribute->first), out);
  });
}

HRESULT CoXMLNode::SetInfo(const char16_t* name, const char16_t* type, const char16_t* defaultValue,
                           IXvNode** out) noexcept {
  return Guarded([&]() -> Status {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    const std::string key = Utf8FromUtf16(name);
    static constexpr const char* kReserved[] = {"", "type", "default", "values"};
    if (WordIndex(key, kReserved) >= 0) return E_INVALIDARG;
    const XMLNodePtr entry = SchemaNode(true)->Child(key, true);
    if (!entry) return E_INVALIDARG;
    if (type != nullptr) RETURN_IF_FAILED(entry->SetText("type", Utf8FromUtf16(type)));
    if (defaultValue != nullptr) {
      RETURN_IF_FAILED(entry->SetText("default", Utf8FromUtf16(defaultValue)));
    }
    return GiveNode(entry, out);
  });
}

HRESULT CoXMLNode::GetInfoValue(const char16_t* name, const char16_t* key,
                                const char16_t* defaultValue, char16_t** value) noexcept {
  return Guarded([&]() -> Status {
    if (value == nullptr) return E_POINTER;
    *value = nullptr;
    if (name == nullptr) return E_INVALIDARG;
    std::optional<std::string> text = InfoValue(Utf8FromUtf16(name), Utf8FromUtf16(key));
    if (!text && defaultValue != nullptr) text = Utf8FromUtf16(defaultValue);
    return text ? GiveString(*text, value) : Status(S_FALSE);
  });
}

}  // namespace xv::XMLParse
