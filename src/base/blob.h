#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

#include "base/auto_obj_base.h"
#include "base/status.h"

namespace xv {

// Allocation policies of CBLOBHolder.
struct CHeapAlloc {
  static std::uint8_t* Allocate(std::uint32_t bytes) {
    return static_cast<std::uint8_t*>(std::malloc(bytes));
  }
  static void Free(std::uint8_t* block) { std::free(block); }
};
struct CNewAlloc {
  static std::uint8_t* Allocate(std::uint32_t bytes) {
    return new (std::nothrow) std::uint8_t[bytes];
  }
  static void Free(std::uint8_t* block) { delete[] block; }
};
// The holder wraps foreign memory: it never allocates and never frees.
struct CFakeAlloc {
  static std::uint8_t* Allocate(std::uint32_t) { return nullptr; }
  static void Free(std::uint8_t*) {}
};

// A growable block of bytes; size <= capacity always. One owner at a time.
template <class A>
class CBLOBHolder : public AutoObjBase<CBLOBHolder<A>> {
 public:
  CBLOBHolder() = default;
  // Wraps `bytes` at `block`; with CFakeAlloc the memory stays the caller's.
  CBLOBHolder(std::uint8_t* block, std::uint32_t bytes)
      : size_(bytes), pointer_(block), capacity_(bytes) {}
  ~CBLOBHolder() override { Free(); }

  std::uint32_t size() const { return size_; }
  std::uint32_t capacity() const { return capacity_; }
  std::uint8_t* data() { return pointer_; }
  const std::uint8_t* data() const { return pointer_; }

  // Capacity of at least `bytes`, exactly that much when it has to grow. Contents are kept.
  Status Ensure(std::uint32_t bytes) {
    if (bytes <= capacity_) return S_OK;
    std::uint8_t* grown = A::Allocate(bytes);
    if (grown == nullptr) return E_OUTOFMEMORY;
    if (size_ > 0) std::memcpy(grown, pointer_, size_);
    A::Free(pointer_);
    pointer_ = grown;
    capacity_ = bytes;
    return S_OK;
  }
  // Sets the used size; new bytes become `fill` unless it is negative. A decrease keeps the
  // capacity.
  Status Resize(std::uint32_t bytes, int fill = -1) {
    RETURN_IF_FAILED(Ensure(bytes));
    if (fill >= 0 && bytes > size_) std::memset(pointer_ + size_, fill, bytes - size_);
    size_ = bytes;
    return S_OK;
  }
  // Adds bytes; where it must grow, by at least `minimumGrowth`.
  Status Append(const void* bytes, std::uint32_t count, std::uint32_t minimumGrowth = 0) {
    if (count > std::numeric_limits<std::uint32_t>::max() - size_) return E_OUTOFMEMORY;
    if (size_ + count > capacity_) {
      const std::uint64_t wanted =
          std::uint64_t{size_} + std::max<std::uint64_t>(count, minimumGrowth);
      RETURN_IF_FAILED(Ensure(static_cast<std::uint32_t>(
          std::min<std::uint64_t>(wanted, std::numeric_limits<std::uint32_t>::max()))));
    }
    if (count > 0) std::memcpy(pointer_ + size_, bytes, count);
    size_ += count;
    return S_OK;
  }
  void Free() {
    A::Free(pointer_);
    pointer_ = nullptr;
    size_ = capacity_ = 0;
  }

 private:
  std::uint32_t size_ = 0;
  std::uint8_t* pointer_ = nullptr;
  std::uint32_t capacity_ = 0;
};

}  // namespace xv
