#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <random>
#include <span>

namespace xv::test {

// `bytes` bytes that end right at an unreadable page, or begin right behind one, so that an access
// outside them ends the test.
class GuardedRow {
 public:
  enum class Edge { kEnd, kBegin };

  explicit GuardedRow(std::size_t bytes, Edge edge = Edge::kEnd) : bytes_(bytes), edge_(edge) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t room = (bytes + page - 1) / page * page;
    mapped_ = room + 2 * page;
    base_ = static_cast<std::uint8_t*>(
        mmap(nullptr, mapped_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    if (room > 0) mprotect(base_ + page, room, PROT_READ | PROT_WRITE);
    data_ = base_ + page + (edge == Edge::kEnd ? room - bytes : 0);
  }
  GuardedRow(const GuardedRow&) = delete;
  GuardedRow& operator=(const GuardedRow&) = delete;
  ~GuardedRow() { munmap(base_, mapped_); }

  std::uint8_t* data() { return data_; }
  std::size_t size() const { return bytes_; }
  Edge edge() const { return edge_; }
  std::span<std::uint8_t> bytes() { return {data_, bytes_}; }
  void Randomise(std::mt19937& random) {
    for (std::size_t i = 0; i < bytes_; ++i) {
      // Extremes are as likely as all the rest.
      const unsigned value = random();
      data_[i] =
          static_cast<std::uint8_t>((value & 0x300) == 0 ? ((value & 1) != 0 ? 255 : 0) : value);
    }
  }

 private:
  std::size_t bytes_;
  Edge edge_;
  std::size_t mapped_ = 0;
  std::uint8_t* base_ = nullptr;
  std::uint8_t* data_ = nullptr;
};

}  // namespace xv::test
