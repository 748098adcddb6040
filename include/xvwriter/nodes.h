#pragma once

#include "xvwriter/object.h"

// Nodes: named, ordered sets of text attributes with named children. The interface of every option
// tree that crosses a component border.
//
// Paths: "a::b::c", a segment may end in "[n]" (zero-based among the children of that name). The
// last segment of a reader's path names an attribute. Names compare without regard to case.
// Thread-safety: any thread may call any operation; readers do not block readers.
namespace xv {

struct IXvNode;

struct IXvAttributes : IUnknown {
  static constexpr Guid kIid{
      0x60acf14a, 0xbf59, 0x4701, {0xaf, 0x3e, 0x29, 0xf2, 0xe8, 0xd2, 0xa7, 0x81}};

  virtual HRESULT GetCount(std::int32_t* count) noexcept = 0;
  virtual HRESULT GetByIndex(std::int32_t index, char16_t** name, char16_t** value) noexcept = 0;
  // XV_E_NOT_FOUND when absent.
  virtual HRESULT Remove(const char16_t* name) noexcept = 0;
  // Clears the attributes and keeps the children.
  virtual HRESULT RemoveAll() noexcept = 0;
  virtual HRESULT SetString(const char16_t* name, const char16_t* value) noexcept = 0;
  virtual HRESULT SetBool(const char16_t* name, std::int32_t value) noexcept = 0;
  virtual HRESULT SetInt(const char16_t* name, std::int32_t value) noexcept = 0;
  virtual HRESULT SetDouble(const char16_t* name, double value) noexcept = 0;
  // `value` may be null.
  virtual HRESULT GetStringEx(const char16_t* name, std::int32_t* found,
                              char16_t** value) noexcept = 0;
  // The four getters give S_FALSE when the attribute is absent.
  virtual HRESULT GetString(const char16_t* name, char16_t** value) noexcept = 0;
  virtual HRESULT GetInt(const char16_t* name, std::int32_t* value) noexcept = 0;
  virtual HRESULT GetBool(const char16_t* name, std::int32_t* value) noexcept = 0;
  virtual HRESULT GetDouble(const char16_t* name, double* value) noexcept = 0;
  // Parses "name=value name2='value 2'". Mode 0 adds what is absent, 1 replaces, 2 clears first.
  virtual HRESULT FromText(const char16_t* text, std::int32_t mode) noexcept = 0;
  virtual HRESULT ToText(char16_t** text) noexcept = 0;
  // A new node "m_attributes" with copies of the attributes.
  virtual HRESULT CopyAs(IXvAttributes** out) noexcept = 0;
  virtual HRESULT CopyFrom(IXvAttributes* source, std::int32_t mode) noexcept = 0;
  virtual HRESULT GetInfo(IXvNode** out) noexcept = 0;
  virtual HRESULT GetInfoOf(std::int32_t index, IXvNode** out) noexcept = 0;
  virtual HRESULT SetInfo(const char16_t* name, const char16_t* type, const char16_t* defaultValue,
                          IXvNode** out) noexcept = 0;
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
  // The subtree as XML; of a node without children its attribute text.
  virtual HRESULT GetXML(char16_t** text) noexcept = 0;
  // Replaces the value, or the subtree when the text contains mark-up.
  virtual HRESULT SetXML(const char16_t* text) noexcept = 0;
  virtual HRESULT GetParent(IXvNode** parent, std::int32_t* index) noexcept = 0;
  virtual HRESULT GetRoot(IXvNode** root) noexcept = 0;
  // Moves this node to the end of its parent's children.
  virtual HRESULT Detach() noexcept = 0;
  virtual HRESULT GetIndex(std::int32_t* index) noexcept = 0;
  virtual HRESULT GetChild(std::int32_t index, char16_t** name, IXvNode** child) noexcept = 0;
  // Finds or creates the child; a created one gets `defaultValue` (may be null) as its value.
  virtual HRESULT GetChildByName(const char16_t* path, const char16_t* defaultValue,
                                 IXvNode** child) noexcept = 0;
  virtual HRESULT GetChildByPath(const char16_t* path, std::int32_t create,
                                 IXvNode** child) noexcept = 0;
  virtual HRESULT RemoveChild(const char16_t* path) noexcept = 0;
  // Clears children and attributes.
  virtual HRESULT RemoveChildren() noexcept = 0;
  // Replaces this node by the first element of the document. Flags: 1 keeps white space around
  // values, 2 keeps CR, LF and TAB inside them.
  virtual HRESULT FromXML(const char16_t* text, std::int32_t flags) noexcept = 0;
  virtual HRESULT ToXML(char16_t** text) noexcept = 0;
  // A deep copy with this node's name, the only child of a fresh root "clone" that it keeps alive.
  virtual HRESULT Clone(IXvNode** out) noexcept = 0;
  // E_NOTIMPL.
  virtual HRESULT Merge(IXvNode* source, std::int32_t mode) noexcept = 0;
  virtual HRESULT GetAttributeInfo(const char16_t* path, IXvNode** out) noexcept = 0;

 protected:
  ~IXvNode() = default;
};

}  // namespace xv
