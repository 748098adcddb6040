#pragma once

#include <mutex>
#include <shared_mutex>
#include <string>

#include "base/text.h"
#include "component/class_walk.h"
#include "component/object_with_props.h"

// What CCoXfEncoder and CCoXfMuxer have in common.
namespace xv {

// Holds the component that serves. Thread-safety: safe; calls are made outside of both locks.
template <class Derived, class Interface>
class ComponentObject : public ObjectWithProps<Derived, Interface> {
 protected:
  // The node `name` under "xv-props", anew out of `text`.
  Status LoadNode(const char* name, const char16_t* text, XMLParse::XMLNodePtr* out) {
    const XMLParse::XMLNodePtr props = this->props_.Node();
    (void)props->RemoveChildNode(name);
    RETURN_IF_FAILED(XMLParse::NodeFromText(name, Utf8FromUtf16(text), out));
    (*out)->Rename(name);
    return props->AttachChild(*out);
  }
  // The component, or null. It stays alive while the caller holds it.
  Ref<Interface> Inner() const {
    const std::shared_lock guard(innerLock_);
    return inner_;
  }
  // Lets go of an earlier one, which is closed.
  void Store(Ref<Interface> inner) {
    const std::lock_guard guard(startLock_);
    {
      const std::unique_lock writing(innerLock_);
      std::swap(inner_, inner);
    }
    if (inner) (void)inner->Close();
  }
  Status NotedFrom(IUnknown* inner, Status result) {
    return result.Failed() ? this->Noted(result, LastErrorOf(inner)) : result;
  }

 private:
  std::mutex startLock_;                 // one change at a time
  mutable std::shared_mutex innerLock_;  // guards inner_; a leaf
  Ref<Interface> inner_;
};

}  // namespace xv
