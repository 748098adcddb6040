#pragma once

#include <atomic>
#include <cstdint>
#include <new>

#include "xvwriter/object.h"

// For those who implement interfaces of this library: components, sinks, sources.
namespace xv::host {

// An object with these interfaces that counts its references, which may come and go on any thread.
// It begins with one, which belongs to who made it, and dies with the last:
//
//   class Sink final : public xv::host::Counted<xv::IXvTraceSink> { ... };
//   auto sink = xv::host::Ptr<xv::IXvTraceSink>::Adopt(new Sink);
template <class First, class... More>
class Counted : public First, public More... {
 public:
  Counted() = default;
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;

  HRESULT QueryInterface(const Guid& iid, void** out) noexcept override {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    if (iid == IUnknown::kIid || iid == First::kIid) *out = static_cast<First*>(this);
    ((iid == More::kIid ? void(*out = static_cast<More*>(this)) : void()), ...);
    if (*out == nullptr) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  std::uint32_t AddRef() noexcept override { return ++count_; }
  std::uint32_t Release() noexcept override {
    const std::uint32_t left = --count_;
    if (left == 0) delete this;
    return left;
  }

 protected:
  virtual ~Counted() = default;

 private:
  std::atomic<std::uint32_t> count_{1};
};

// The factory of class T, which is made without arguments and belongs to no aggregate.
template <class T>
class ClassFactory final : public Counted<IClassFactory> {
 public:
  HRESULT CreateInstance(IUnknown* outer, const Guid& iid, void** out) noexcept override {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    if (outer != nullptr) return CLASS_E_NOAGGREGATION;
    T* object = new (std::nothrow) T;
    if (object == nullptr) return E_OUTOFMEMORY;
    const HRESULT result = object->QueryInterface(iid, out);
    object->Release();
    return result;
  }
  HRESULT LockServer(bool) noexcept override { return S_OK; }
};

// What a module's DllGetClassObject answers for its class T.
template <class T>
HRESULT GiveFactory(const Guid& iid, void** out) noexcept {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  auto* factory = new (std::nothrow) ClassFactory<T>;
  if (factory == nullptr) return E_OUTOFMEMORY;
  const HRESULT result = factory->QueryInterface(iid, out);
  factory->Release();
  return result;
}

}  // namespace xv::host
