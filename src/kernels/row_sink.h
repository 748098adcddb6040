#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "kernels/channel_kernels.h"

namespace xv {

// Memory for rows in between, kept by each thread from one picture to the next.
std::uint8_t* RowScratch(int slot, std::size_t bytes);

// Where a conversion writes its rows. A picture that outgrows the cache is written past it: by the
// kernel itself where it can stream and the row is aligned, else rows are made in a scratch row,
// which stays in the first-level cache, and streamed from there.
class RowSink {
 public:
  static constexpr std::int64_t kStreamBytes = 1 << 20;
  static constexpr int kSlots = 4;         // rows that may be open at once
  static constexpr int kScratchSlots = 8;  // RowScratch: slots below kSlots belong to sinks

  static bool Streams(std::int64_t pictureBytes) {
    return pictureBytes >= kStreamBytes && ActiveSimdLevel() != SimdLevel::kPlain;
  }

  explicit RowSink(std::int64_t pictureBytes) : streams_(Streams(pictureBytes)) {}
  RowSink(const RowSink&) = delete;
  RowSink& operator=(const RowSink&) = delete;
  ~RowSink() {
    if (streams_) Channels().fence();
  }

  // How a kernel that can stream may write this row itself: with kStreamed no place is to be opened
  // for it.
  Stores StoresTo(const std::uint8_t* row) const {
    const bool aligned = reinterpret_cast<std::uintptr_t>(row) % kStreamAlignment == 0;
    return streams_ && aligned ? Stores::kStreamed : Stores::kCached;
  }
  // The place to make a row in; Commit brings it to `target`.
  std::uint8_t* Open(int slot, std::uint8_t* target, std::size_t bytes) {
    return streams_ ? RowScratch(slot, bytes) : target;
  }
  void Commit(const std::uint8_t* row, std::uint8_t* target, std::size_t bytes) {
    if (row != target) Channels().streamCopy(row, target, bytes);
  }

 private:
  static constexpr std::uintptr_t kStreamAlignment = 64;
  bool streams_;
};

}  // namespace xv
