#pragma once

#include <string>

#include "base/auto_obj_base.h"
#include "props/props_impl.h"

namespace xv {

// An object with one interface and IXvProps over a node "xv-props" of its own. Thread-safety: safe.
template <class Derived, class Interface>
class ObjectWithProps : public AutoObjBase<Derived, Interface>,
                        public IXvPropsImpl<Derived, IXvProps> {
 public:
  HRESULT QueryInterface(const Guid& iid, void** out) noexcept override {
    if (out == nullptr || !(iid == IXvProps::kIid)) {
      return AutoObjBase<Derived, Interface>::QueryInterface(iid, out);
    }
    *out = static_cast<IXvProps*>(this);
    AddRef();
    return S_OK;
  }
  std::uint32_t AddRef() noexcept override { return AutoObjBase<Derived, Interface>::AddRef(); }
  std::uint32_t Release() noexcept override { return AutoObjBase<Derived, Interface>::Release(); }

 protected:
  // A failure's words become the property "last_error".
  Status Noted(Status result, const std::string& words) {
    if (result.Failed()) (void)this->props_.Node()->SetText("last_error", words);
    return result;
  }
};

}  // namespace xv
