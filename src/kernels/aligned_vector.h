#pragma once

#include <cstddef>
#include <new>
#include <vector>

namespace xv {

// Memory that begins with a cache line: a load of a whole line elsewhere takes two.
template <class T>
struct AlignedAllocator {
  using value_type = T;
  static constexpr std::align_val_t kLine{64};

  AlignedAllocator() = default;
  template <class U>
  explicit AlignedAllocator(const AlignedAllocator<U>&) {}
  T* allocate(std::size_t count) {
    return static_cast<T*>(::operator new(count * sizeof(T), kLine));
  }
  void deallocate(T* p, std::size_t) { ::operator delete(p, kLine); }
  bool operator==(const AlignedAllocator&) const { return true; }
};

template <class T>
using AlignedVector = std::vector<T, AlignedAllocator<T>>;

}  // namespace xv
