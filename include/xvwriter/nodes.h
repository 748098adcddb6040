#pragma once

#include "xvwriter/object.h"

// Nodes: named, ordered sets of text attributes with named children. The interface of every option
// tree that crosses a component border. XvNodeCreate makes one; nobody needs to implement these.
//
// - Paths: "a::b::c", a segment may end in "[n]" (zero-based among the children of that name). The
//   last segment of a path to an attribute is the attribute's name. A path with an empty segment
//   ("a::::b", "::a") is bad. Names compare without regard to case.
// - Values are texts. The typed setters render, the typed getters parse: what does not parse gives
// 0
//   and S_OK, so ask for the text where that matters. Booleans are "true" and "false"; numbers may
//   be decimal or "0x" hexadecimal.
// - Attribute text: "name=value name2='value 2' flag". Values stand in single quotes, in double
//   quotes, or bare up to white space; there is no escape. A name may be a path. A name without "="
//   has an empty value. host.hpp's Attribute writes one safely.
// - Schema: what is known of attributes stands in a child "attributes_info" with a node for each
//   (type, default, values, ...). A search goes up through the parents until one says
//   inherit=false.
// - Threads: any thread may call any operation; each is one step, readers do not block readers.
// - A node keeps its children alive, not its parent.
namespace xv {

struct IXvNode;

struct IXvAttributes : IUnknown {
  static constexpr Guid kIid{
      0x60acf14a, 0xbf59, 0x4701, {0xaf, 0x3e, 0x29, 0xf2, 0xe8, 0xd2, 0xa7, 0x81}};

  // Of attributes, without children.
  virtual HRESULT GetCount(std::int32_t* count) noexcept = 0;
  // In the order in which they were first set. XV_E_NOT_FOUND past the end. Both strings are the
  // caller's.
  virtual HRESULT GetByIndex(std::int32_t index, char16_t** name, char16_t** value) noexcept = 0;
  // One attribute. XV_E_NOT_FOUND when it is absent.
  virtual HRESULT Remove(const char16_t* name) noexcept = 0;
  // Clears the attributes and keeps the children.
  virtual HRESULT RemoveAll() noexcept = 0;
  // Sets an attribute; missing nodes of the path are made. A null value is the empty text.
  //   E_INVALIDARG  no name, or a bad path.
  virtual HRESULT SetString(const char16_t* name, const char16_t* value) noexcept = 0;
  virtual HRESULT SetBool(const char16_t* name, std::int32_t value) noexcept = 0;
  virtual HRESULT SetInt(const char16_t* name, std::int32_t value) noexcept = 0;
  virtual HRESULT SetDouble(const char16_t* name, double value) noexcept = 0;
  // S_OK whether the attribute is there or not; `found` gets 1 or 0. `value` may be null; it is
  // null for an absent attribute and an empty string, to be freed, for an empty one.
  virtual HRESULT GetStringEx(const char16_t* name, std::int32_t* found,
                              char16_t** value) noexcept = 0;
  // The four getters give S_FALSE, with null or 0, when the attribute is absent.
  virtual HRESULT GetString(const char16_t* name, char16_t** value) noexcept = 0;
  virtual HRESULT GetInt(const char16_t* name, std::int32_t* value) noexcept = 0;
  virtual HRESULT GetBool(const char16_t* name, std::int32_t* value) noexcept = 0;
  virtual HRESULT GetDouble(const char16_t* name, double* value) noexcept = 0;
  // Merges attribute text. Mode 0 adds what is absent, 1 replaces, 2 clears the attributes first.
  // Any text is taken; of a bad one as much as can be read.
  virtual HRESULT FromText(const char16_t* text, std::int32_t mode) noexcept = 0;
  // The attributes as attribute text, each behind a blank. A double quote in a value that has
  // single ones too becomes a single one.
  virtual HRESULT ToText(char16_t** text) noexcept = 0;
  // A new node "m_attributes" with copies of the attributes.
  virtual HRESULT CopyAs(IXvAttributes** out) noexcept = 0;
  // The attributes of `source`, by the modes of FromText. E_INVALIDARG for null.
  virtual HRESULT CopyFrom(IXvAttributes* source, std::int32_t mode) noexcept = 0;
  // The nearest schema, of this node or a parent. XV_E_NOT_FOUND without one.
  virtual HRESULT GetInfo(IXvNode** out) noexcept = 0;
  // The schema entry of the attribute of that index.
  virtual HRESULT GetInfoOf(std::int32_t index, IXvNode** out) noexcept = 0;
  // Makes or changes the schema entry of an attribute; type and default may be null. The words
  // "type", "default" and "values" are no names here: E_INVALIDARG.
  virtual HRESULT SetInfo(const char16_t* name, const char16_t* type, const char16_t* defaultValue,
                          IXvNode** out) noexcept = 0;
  // One item of a schema entry; an empty key is its description. Without it `defaultValue`, and
  // S_FALSE with null where that is null too.
  virtual HRESULT GetInfoValue(const char16_t* name, const char16_t* key,
                               const char16_t* defaultValue, char16_t** value) noexcept = 0;

 protected:
  ~IXvAttributes() = default;
};

struct IXvNode : IXvAttributes {
  static constexpr Guid kIid{
      0x4a2f8f54, 0x3e9d, 0x4f21, {0x84, 0xb5, 0x7b, 0xc3, 0x07, 0x6a, 0xd2, 0x21}};

  virtual HRESULT GetName(char16_t** name) noexcept = 0;
  virtual HRESULT SetName(const char16_t* name) noexcept = 0;
  // The subtree as XML, of a node without children its attribute text.
  virtual HRESULT GetXML(char16_t** text) noexcept = 0;
  // Replaces the value, or the subtree when the text contains mark-up.
  virtual HRESULT SetXML(const char16_t* text) noexcept = 0;
  // The parent with a reference, and this node's place among its children. XV_E_NOT_FOUND for a
  // root.
  virtual HRESULT GetParent(IXvNode** parent, std::int32_t* index) noexcept = 0;
  // The topmost node; itself when it has no parent.
  virtual HRESULT GetRoot(IXvNode** root) noexcept = 0;
  // Moves this node to the end of its parent's children.
  virtual HRESULT Detach() noexcept = 0;
  // This node's place among its parent's children. XV_E_NOT_FOUND without a parent.
  virtual HRESULT GetIndex(std::int32_t* index) noexcept = 0;
  // By place. XV_E_NOT_FOUND past the end. The string is the caller's.
  virtual HRESULT GetChild(std::int32_t index, char16_t** name, IXvNode** child) noexcept = 0;
  // Finds or creates the child; a created one gets `defaultValue` (may be null) as its value.
  //   E_INVALIDARG  a bad path.
  virtual HRESULT GetChildByName(const char16_t* path, const char16_t* defaultValue,
                                 IXvNode** child) noexcept = 0;
  // The child of that path, made where it is missing if `create` is not 0. XV_E_NOT_FOUND else.
  virtual HRESULT GetChildByPath(const char16_t* path, std::int32_t create,
                                 IXvNode** child) noexcept = 0;
  // XV_E_NOT_FOUND when there is no such child. Who holds a reference keeps it as a root.
  virtual HRESULT RemoveChild(const char16_t* path) noexcept = 0;
  // Clears children and attributes.
  virtual HRESULT RemoveChildren() noexcept = 0;
  // Replaces this node by the first element of the document. Flags: 1 keeps white space around
  // values, 2 keeps CR, LF and TAB inside them. Reading forgives: tags that are not closed, names
  // that XML does not know, attributes without quotes. A document that begins with the XML
  // declaration is taken as XML 1.0, with references in attribute values and the escapes of
  // docs/list.md in names.
  //   E_INVALIDARG  null or no text; the node is empty then.
  virtual HRESULT FromXML(const char16_t* text, std::int32_t flags) noexcept = 0;
  // The subtree as forgiving XML, which FromXML reads back.
  virtual HRESULT ToXML(char16_t** text) noexcept = 0;
  // A deep copy with this node's name, the only child of a fresh root "clone" that it keeps alive.
  virtual HRESULT Clone(IXvNode** out) noexcept = 0;
  // E_NOTIMPL.
  virtual HRESULT Merge(IXvNode* source, std::int32_t mode) noexcept = 0;
  // The schema entry of the attribute of that path. XV_E_NOT_FOUND when it has none.
  virtual HRESULT GetAttributeInfo(const char16_t* path, IXvNode** out) noexcept = 0;

 protected:
  ~IXvNode() = default;
};

}  // namespace xv

extern "C" {

// A new node without a parent, with one reference: out of attribute text, or, where the text begins
// with "<", out of XML. Null or empty text makes an empty node, to be filled through its interface.
// Any thread.
//   E_POINTER      `out` is null.
//   E_OUTOFMEMORY  also for a text of more than 4,000,000 attributes and elements.
XV_EXPORT xv::HRESULT XvNodeCreate(const char16_t* text, xv::IXvNode** out);
}
