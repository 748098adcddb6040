#pragma once

#include <atomic>
#include <cstdint>

#include "base/ref_count.h"
#include "xvwriter/object.h"

namespace xv {

// Objects alive in this module; DllCanUnloadNow asks for it.
std::atomic<std::int64_t>& LiveObjectCount();

// The counted base of every internal object. T is the class itself, I the interface it offers and
// its identity, More what else it offers. The count starts at 0: the factory that hands the object
// out adds the first reference (MakeRef). QueryInterface answers IUnknown, I, More and T::kMarker
// where T has one; nothing else.
template <class T, class I = IUnknown, class... More>
class AutoObjBase : public I, public More... {
 public:
  AutoObjBase(const AutoObjBase&) = delete;
  AutoObjBase& operator=(const AutoObjBase&) = delete;

  HRESULT QueryInterface(const Guid& iid, void** out) noexcept override {
    if (out == nullptr) return E_POINTER;
    *out = nullptr;
    if (iid == IUnknown::kIid || iid == I::kIid) *out = static_cast<I*>(this);
    ((iid == More::kIid ? void(*out = static_cast<More*>(this)) : void()), ...);
    if constexpr (requires { T::kMarker; }) {
      if (iid == T::kMarker) *out = static_cast<T*>(this);
    }
    if (*out == nullptr) return E_NOINTERFACE;
    AddRef();
    return S_OK;
  }
  std::uint32_t AddRef() noexcept override { return count_.Retain(); }
  std::uint32_t Release() noexcept override {
    const std::uint32_t left = count_.Release();
    if (left == 0) delete this;
    return left;
  }
  virtual ~AutoObjBase() { LiveObjectCount().fetch_sub(1, std::memory_order_relaxed); }

 protected:
  AutoObjBase() { LiveObjectCount().fetch_add(1, std::memory_order_relaxed); }

 private:
  RefCount count_;
};

}  // namespace xv
