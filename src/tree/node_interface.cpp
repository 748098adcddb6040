#include "base/guard.h"
#include "base/text.h"
#include "tree/node.h"
#include "tree/node_impl.h"

namespace xv::XMLParse {
namespace {

// The body of an operation whose only result is a node.
template <class Find>
HRESULT GetNode(IXvNode** out, Find&& find) noexcept {
  return Guarded([&]() -> Status {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    return GiveNode(find(), out);
  });
}

template <class Write>
HRESULT GetText(char16_t** text, Write&& write) noexcept {
  return Guarded([&]() -> Status {
    if (text == nullptr) return E_POINTER;
    *text = nullptr;
    return GiveString(write(), text);
  });
}

}  // namespace

HRESULT CoXMLNode::GetName(char16_t** name) noexcept {
  return GetText(name, [&] { return Name(); });
}

HRESULT CoXMLNode::SetName(const char16_t* name) noexcept {
  return Guarded([&]() -> Status {
    if (name == nullptr) return E_INVALIDARG;
    Rename(Utf8FromUtf16(name));
    return S_OK;
  });
}

HRESULT CoXMLNode::GetXML(char16_t** text) noexcept {
  return GetText(text, [&] {
    const CoXMLNode& node = *this;
    return node.ChildCount() == 0 ? node.AttributeText() : node.WriteXml();
  });
}

HRESULT CoXMLNode::SetXML(const char16_t* text) noexcept {
  return Guarded([&]() -> Status { return ReplaceContent(Utf8FromUtf16(text)); });
}

HRESULT CoXMLNode::GetParent(IXvNode** parent, std::int32_t* index) noexcept {
  return Guarded([&]() -> Status {
    if (parent == nullptr || index == nullptr) return E_POINTER;
    *parent = nullptr;
    XMLNodePtr node = Parent();
    *index = IndexInParent();
    return GiveNode(std::move(node), parent);
  });
}

HRESULT CoXMLNode::GetRoot(IXvNode** root) noexcept {
  return GetNode(root, [&] {
    auto node = XMLNodePtr::Retain(this);
    while (XMLNodePtr parent = node->Parent()) node = std::move(parent);
    return node;
  });
}

HRESULT CoXMLNode::Detach() noexcept {
  return Guarded([&]() -> Status { return MoveToEnd(); });
}

HRESULT CoXMLNode::GetIndex(std::int32_t* index) noexcept {
  return Guarded([&]() -> Status {
    if (index == nullptr) return E_POINTER;
    *index = IndexInParent();
    return *index < 0 ? XV_E_NOT_FOUND : S_OK;
  });
}

HRESULT CoXMLNode::GetChild(std::int32_t index, char16_t** name, IXvNode** child) noexcept {
  return Guarded([&]() -> Status {
    if (name == nullptr || child == nullptr) return E_POINTER;
    *name = nullptr;
    *child = nullptr;
    if (index < 0) return XV_E_NOT_FOUND;
    XMLNodePtr node = ChildAt(static_cast<std::size_t>(index));
    if (!node) return XV_E_NOT_FOUND;
    RETURN_IF_FAILED(GiveString(node->Name(), name));
    return GiveNode(std::move(node), child);
  });
}

HRESULT CoXMLNode::GetChildByName(const char16_t* path, const char16_t* defaultValue,
                                  IXvNode** child) noexcept {
  return Guarded([&]() -> Status {
    if (child == nullptr) return E_POINTER;
    *child = nullptr;
    if (path == nullptr) return E_INVALIDARG;
    const std::string where = Utf8FromUtf16(path);
    XMLNodePtr node = FindChild(where);
    if (!node) {
      node = Child(where, true);
      if (!node) return E_INVALIDARG;
      if (defaultValue != nullptr) node->SetValue(Utf8FromUtf16(defaultValue));
    }
    return GiveNode(std::move(node), child);
  });
}

HRESULT CoXMLNode::GetChildByPath(const char16_t* path, std::int32_t create,
                                  IXvNode** child) noexcept {
  return Guarded([&]() -> Status {
    if (child == nullptr) return E_POINTER;
    *child = nullptr;
    if (path == nullptr) return E_INVALIDARG;
    XMLNodePtr node = Child(Utf8FromUtf16(path), create != 0);
    if (!node && create != 0) return E_INVALIDARG;
    return GiveNode(std::move(node), child);
  });
}

HRESULT CoXMLNode::RemoveChild(const char16_t* path) noexcept {
  return Guarded([&]() -> Status {
    if (path == nullptr) return E_INVALIDARG;
    return RemoveChildNode(Utf8FromUtf16(path));
  });
}

HRESULT CoXMLNode::RemoveChildren() noexcept {
  return Guarded([&]() -> Status {
    ClearChildren();
    ClearAttributes();
    return S_OK;
  });
}

HRESULT CoXMLNode::FromXML(const char16_t* text, std::int32_t flags) noexcept {
  return Guarded([&]() -> Status {
    if (text == nullptr) return E_INVALIDARG;
    const XmlReadOptions options{(flags & 1) != 0, (flags & 2) != 0};
    return ReadXml(Utf8FromUtf16(text), options);
  });
}

HRESULT CoXMLNode::ToXML(char16_t** text) noexcept {
  return GetText(text, [&] { return WriteXml(); });
}

HRESULT CoXMLNode::Clone(IXvNode** out) noexcept {
  return GetNode(out, [&] { return DeepClone(); });
}

HRESULT CoXMLNode::Merge(IXvNode*, std::int32_t) noexcept { return E_NOTIMPL; }

HRESULT CoXMLNode::GetAttributeInfo(const char16_t* path, IXvNode** out) noexcept {
  return Guarded([&]() -> Status {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    if (path == nullptr) return E_INVALIDARG;
    return GiveNode(FindInfo(Utf8FromUtf16(path)), out);
  });
}

}  // namespace xv::XMLParse
