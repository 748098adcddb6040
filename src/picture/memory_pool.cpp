#include "picture/memory_pool.h"

#include <cstring>
#include <new>
#include <utility>

namespace xv {
namespace {

constexpr std::align_val_t kAlignment{64};

}  // namespace

std::uint8_t* MemoryPool::NextOf(const std::uint8_t* block) const {
  std::uint8_t* next = nullptr;
  std::memcpy(&next, block + bytes_, sizeof(next));
  return next;
}

MemoryPool::~MemoryPool() {
  while (free_ != nullptr) ::operator delete(std::exchange(free_, NextOf(free_)), kAlignment);
}

std::uint8_t* MemoryPool::Take() {
  {
    const std::lock_guard guard(lock_);
    if (free_ != nullptr) return std::exchange(free_, NextOf(free_));
  }
  return static_cast<std::uint8_t*>(
      ::operator new(bytes_ + sizeof(free_), kAlignment, std::nothrow));
}

void MemoryPool::GiveBack(std::uint8_t* block) noexcept {
  const std::lock_guard guard(lock_);
  std::memcpy(block + bytes_, &free_, sizeof(free_));
  free_ = block;
}

}  // namespace xv
