#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>

namespace xv {

// Memory blocks of one size, 64-byte aligned: what is given back serves the next taker, so that the
// steady state allocates nothing. Whoever holds a block holds the pool too. Thread-safe; the lock
// also hands on what the last user of a block has done to it.
class MemoryPool {
 public:
  explicit MemoryPool(std::size_t bytes) : bytes_(bytes) {}
  ~MemoryPool();
  MemoryPool(const MemoryPool&) = delete;
  MemoryPool& operator=(const MemoryPool&) = delete;

  std::size_t bytes() const { return bytes_; }
  // A block with whatever it held; null when there is no memory.
  std::uint8_t* Take();
  // Never fails: behind its bytes each block has room for the link to the next free one.
  void GiveBack(std::uint8_t* block) noexcept;

 private:
  std::uint8_t* NextOf(const std::uint8_t* block) const;

  const std::size_t bytes_;
  std::mutex lock_;
  std::uint8_t* free_ = nullptr;  // the first of the free blocks
};

}  // namespace xv
