#pragma once

#include "props/props_core.h"

namespace xv {

// The property interface of an object. Interface is IXvProps or a twin of it with the same
// operations; Owner is the deriving class, so that each owner has its own base.
template <class Owner, class Interface>
class IXvPropsImpl : public Interface {
 public:
  HRESULT PropsSet(const char16_t* name, const char16_t* value) noexcept override {
    return props_.Set(name, value);
  }
  HRESULT PropsGet(const char16_t* name, char16_t** value) noexcept override {
    return props_.Get(name, value);
  }
  HRESULT PropsGetCount(const char16_t* node, std::int32_t* count) noexcept override {
    return props_.GetCount(node, count);
  }
  HRESULT PropsGetByIndex(const char16_t* node, std::int32_t index, char16_t** name,
                          char16_t** value, std::int32_t* hasChildren) noexcept override {
    return props_.GetByIndex(node, index, name, value, hasChildren);
  }
  HRESULT PropsRemove(const char16_t* name) noexcept override { return props_.Remove(name); }
  HRESULT PropsHasChild(const char16_t* name, std::int32_t index,
                        std::int32_t* hasChild) noexcept override {
    return props_.HasChild(name, index, hasChild);
  }
  HRESULT PropsInfoGetCount(const char16_t* path, std::int32_t* count) noexcept override {
    return props_.InfoGetCount(path, count);
  }
  HRESULT PropsInfoGetByIndex(const char16_t* path, std::int32_t index, char16_t** name,
                              IXvNode** info) noexcept override {
    return props_.InfoGetByIndex(path, index, name, info);
  }
  HRESULT PropsInfoGet(const char16_t* name, char16_t** type, char16_t** defaultValue,
                       char16_t** values) noexcept override {
    return props_.InfoGet(name, type, defaultValue, values);
  }
  HRESULT PropsInfoSet(const char16_t* name, const char16_t* type, const char16_t* defaultValue,
                       const char16_t* values) noexcept override {
    return props_.InfoSet(name, type, defaultValue, values);
  }

 protected:
  IXvPropsImpl() = default;
  explicit IXvPropsImpl(Ref<ObjectVal> holder) : props_(std::move(holder)) {}
  ~IXvPropsImpl() = default;

  PropsCore props_;
};

}  // namespace xv
