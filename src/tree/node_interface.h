#pragma once

#include "xvwriter/nodes.h"

// The two interfaces of a node, over the internal operations of CoXMLNode: text is converted here
// and nowhere else, and nothing throws past this floor. CoXMLNode is the only class that may derive
// from these.
namespace xv::XMLParse {

class IXvAttributesImpl : public IXvNode {
 public:
  HRESULT GetCount(std::int32_t* count) noexcept override;
  HRESULT GetByIndex(std::int32_t index, char16_t** name, char16_t** value) noexcept override;
  HRESULT Remove(const char16_t* name) noexcept override;
  HRESULT RemoveAll() noexcept override;
  HRESULT SetString(const char16_t* name, const char16_t* value) noexcept override;
  HRESULT SetBool(const char16_t* name, std::int32_t value) noexcept override;
  HRESULT SetInt(const char16_t* name, std::int32_t value) noexcept override;
  HRESULT SetDouble(const char16_t* name, double value) noexcept override;
  HRESULT GetStringEx(const char16_t* name, std::int32_t* found,
                      char16_t** value) noexcept override;
  HRESULT GetString(const char16_t* name, char16_t** value) noexcept override;
  HRESULT GetInt(const char16_t* name, std::int32_t* value) noexcept override;
  HRESULT GetBool(const char16_t* name, std::int32_t* value) noexcept override;
  HRESULT GetDouble(const char16_t* name, double* value) noexcept override;
  HRESULT FromText(const char16_t* text, std::int32_t mode) noexcept override;
  HRESULT ToText(char16_t** text) noexcept override;
  HRESULT CopyAs(IXvAttributes** out) noexcept override;
  HRESULT CopyFrom(IXvAttributes* source, std::int32_t mode) noexcept override;
  HRESULT GetInfo(IXvNode** out) noexcept override;
  HRESULT GetInfoOf(std::int32_t index, IXvNode** out) noexcept override;
  HRESULT SetInfo(const char16_t* name, const char16_t* type, const char16_t* defaultValue,
                  IXvNode** out) noexcept override;
  HRESULT GetInfoValue(const char16_t* name, const char16_t* key, const char16_t* defaultValue,
                       char16_t** value) noexcept override;

 protected:
  ~IXvAttributesImpl() = default;
};

class IXvNodeImpl : public IXvAttributesImpl {
 public:
  HRESULT GetName(char16_t** name) noexcept override;
  HRESULT SetName(const char16_t* name) noexcept override;
  HRESULT GetXML(char16_t** text) noexcept override;
  HRESULT SetXML(const char16_t* text) noexcept override;
  HRESULT GetParent(IXvNode** parent, std::int32_t* index) noexcept override;
  HRESULT GetRoot(IXvNode** root) noexcept override;
  HRESULT Detach() noexcept override;
  HRESULT GetIndex(std::int32_t* index) noexcept override;
  HRESULT GetChild(std::int32_t index, char16_t** name, IXvNode** child) noexcept override;
  HRESULT GetChildByName(const char16_t* path, const char16_t* defaultValue,
                         IXvNode** child) noexcept override;
  HRESULT GetChildByPath(const char16_t* path, std::int32_t create,
                         IXvNode** child) noexcept override;
  HRESULT RemoveChild(const char16_t* path) noexcept override;
  HRESULT RemoveChildren() noexcept override;
  HRESULT FromXML(const char16_t* text, std::int32_t flags) noexcept override;
  HRESULT ToXML(char16_t** text) noexcept override;
  HRESULT Clone(IXvNode** out) noexcept override;
  HRESULT Merge(IXvNode* source, std::int32_t mode) noexcept override;
  HRESULT GetAttributeInfo(const char16_t* path, IXvNode** out) noexcept override;

 protected:
  ~IXvNodeImpl() = default;
};

}  // namespace xv::XMLParse
