#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <new>

#include "base/auto_obj_base.h"

namespace xv {

// One encoded access unit of a vendor's encoder, as it comes: Annex B.
class HwPacket : public AutoObjBase<HwPacket> {
 public:
  // Throws std::bad_alloc. The bytes are not set.
  explicit HwPacket(std::size_t capacity)
      : bytes_(std::make_unique_for_overwrite<std::uint8_t[]>(capacity)), capacity_(capacity) {}

  const std::uint8_t* data() const { return bytes_.get(); }
  std::size_t size() const { return used_; }
  std::size_t room() const { return capacity_ - used_; }
  // Where the next chunk goes; `room` bytes.
  std::uint8_t* end() { return bytes_.get() + used_; }
  // `length` bytes have been written at `end`. A chunk that claims more than there was room for
  // counts as a chunk, but adds nothing.
  void AddChunk(std::size_t length) {
    if (length <= room()) used_ += length;
    ++chunks;
  }

  std::int64_t pts = -1;  // the codec context's time base
  std::int64_t dts = -1;
  std::uint32_t type = 0;  // the vendor's picture type
  int chunks = 0;
  bool key = false;       // a reader can start here
  bool complete = false;  // all of the access unit has arrived

 private:
  std::unique_ptr<std::uint8_t[]> bytes_;
  std::size_t capacity_;
  std::size_t used_ = 0;
};

}  // namespace xv
