#include "picture/memory_pool.h"

#include <new>

namespace xv {
namespace {

constexpr std::align_val_t kAlignment{64};

}  // namespace

MemoryPool::~MemoryPool() {
  for (std::uint8_t* block : free_) ::operator delete(block, kAlignment);
}

std::uint8_t* MemoryPool::Take() {
  {
    const std::lock_guard guard(lock_);
    if (!free_.empty()) {
      std::uint8_t* block = free_.back();
      free_.pop_back();
      return block;
    }
  }
  return static_cast<std::uint8_t*>(::operator new(bytes_, kAlignment, std::nothrow));
}

void MemoryPool::GiveBack(std::uint8_t* block) {
  const std::lock_guard guard(lock_);
  free_.push_back(block);
}

}  // namespace xv
