#pragma once

#include <utility>

#include "xvwriter/object.h"

// Counted references for hosts. A Ptr belongs to one thread at a time; the object behind it may be
// shared by several, each with a Ptr that is its copy.
namespace xv::host {

// A counted reference to an interface, or none. A copy is a reference more, the end of a Ptr one
// less; the object dies with the last. There is no way from a bare pointer but Adopt, so that
// nobody counts by accident: keep what an in argument gave by QueryAs or AddRef and Adopt.
template <class T>
class Ptr {
 public:
  Ptr() = default;  // empty
  Ptr(const Ptr& other) : object_(other.object_) {
    if (object_ != nullptr) object_->AddRef();
  }
  Ptr(Ptr&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  Ptr& operator=(Ptr other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~Ptr() {
    if (object_ != nullptr) object_->Release();
  }
  // Takes over a reference that the caller has, such as one out of an out argument.
  [[nodiscard]] static Ptr Adopt(T* object) {
    Ptr ptr;
    ptr.object_ = object;
    return ptr;
  }

  // Stays this object's reference.
  [[nodiscard]] T* get() const { return object_; }
  T* operator->() const { return object_; }
  explicit operator bool() const { return object_ != nullptr; }
  // For out arguments: lets go of what is held and gives the place for the new reference.
  [[nodiscard]] T** Receive() {
    *this = Ptr();
    return &object_;
  }

 private:
  T* object_ = nullptr;
};

// Another interface of the same object; empty when it has none.
template <class I, class T>
[[nodiscard]] Ptr<I> QueryAs(const Ptr<T>& object) {
  void* out = nullptr;
  if (!object || Failed(object->QueryInterface(I::kIid, &out))) return {};
  return Ptr<I>::Adopt(static_cast<I*>(out));
}

}  // namespace xv::host
