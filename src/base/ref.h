#pragma once

#include <utility>

#include "xvwriter/object.h"

namespace xv {

// A counted reference. No implicit way in or out: Adopt takes over a reference that the caller
// owns, Retain adds one.
template <class T>
class Ref {
 public:
  constexpr Ref() = default;
  constexpr Ref(std::nullptr_t) {}  // NOLINT(google-explicit-constructor)
  Ref(const Ref& other) : object_(other.object_) {
    if (object_) object_->AddRef();
  }
  Ref(Ref&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  template <class U>
  // NOLINTNEXTLINE(google-explicit-constructor)
  requires std::is_convertible_v<U*, T*> Ref(const Ref<U>& other) : Ref(Retain(other.get())) {}
  ~Ref() {
    if (object_) object_->Release();
  }

  Ref& operator=(const Ref& other) {
    Ref copy(other);
    std::swap(object_, copy.object_);
    return *this;
  }
  Ref& operator=(Ref&& other) noexcept {
    if (this != &other) {
      Ref old(std::move(*this));
      object_ = std::exchange(other.object_, nullptr);
    }
    return *this;
  }

  static Ref Adopt(T* object) {
    Ref ref;
    ref.object_ = object;
    return ref;
  }
  static Ref Retain(T* object) {
    if (object) object->AddRef();
    return Adopt(object);
  }

  T* get() const { return object_; }
  T* operator->() const { return object_; }
  T& operator*() const { return *object_; }
  explicit operator bool() const { return object_ != nullptr; }
  friend bool operator==(const Ref& a, const Ref& b) { return a.object_ == b.object_; }

  // Hands the reference to the caller.
  [[nodiscard]] T* Detach() { return std::exchange(object_, nullptr); }
  // For out parameters: releases what is held.
  T** Receive() {
    *this = nullptr;
    return &object_;
  }

 private:
  T* object_ = nullptr;
};

// A new object with one reference. T starts with a count of 0.
template <class T, class... Args>
Ref<T> MakeRef(Args&&... args) {
  return Ref<T>::Retain(new T(std::forward<Args>(args)...));
}

// The interface I of any object, or null.
template <class I>
Ref<I> Query(IUnknown* object) {
  void* out = nullptr;
  if (object == nullptr || Failed(object->QueryInterface(I::kIid, &out))) return nullptr;
  return Ref<I>::Adopt(static_cast<I*>(out));
}

}  // namespace xv
