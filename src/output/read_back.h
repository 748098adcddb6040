#pragma once

#include <cstdint>

#include "contracts/av_handles.h"
#include "output/data_shift.h"

namespace xv {

// A muxer's own file, opened for reading while it is written: muxers do so to move all data towards
// the end (faststart, cues_to_front). FFmpeg moves it from the front, with what the next write
// overwrites in memory alone, so that a writer that dies loses it. Here the first of those writes
// moves all of it from the back, so that each byte is in the file at any moment; the muxer's other
// writes of the same bytes are taken as done. One caller at a time.
class ReadBack {
 public:
  // `file` and `log` (may be null) outlive this; `size` is the file's extent in bytes.
  ReadBack(File& file, std::int64_t size, ShiftLog* log);

  // Null for want of memory.
  AVIOContext* io() const { return io_.get(); }
  // What the muxer writes while it reads.
  Status Write(const std::uint8_t* data, std::size_t bytes, std::int64_t position);

 private:
  static int OnRead(void* opaque, std::uint8_t* into, int bytes);
  static std::int64_t OnSeek(void* opaque, std::int64_t offset, int whence);
  bool BeginsShift(const std::uint8_t* data, std::size_t bytes, std::int64_t position) const;
  bool IsInShift(std::size_t bytes, std::int64_t position) const;
  Status Move(std::int64_t distance);

  File& file_;
  std::int64_t size_;
  ShiftLog* log_;
  AvPtr<AVIOContext> io_;
  std::int64_t position_ = 0;
  std::int64_t firstRead_ = -1;  // position of the first read, -1 before
  DataShift shift_;
};

}  // namespace xv
