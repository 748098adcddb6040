#include "output/read_back.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace xv {
namespace {

constexpr int kIoBufferBytes = 4 << 10;             // hardly used: reads go past it
constexpr std::int64_t kMostMovedAtOnce = 1 << 20;  // bytes
constexpr std::size_t kComparedBytes = 4 << 10;

}  // namespace

Status ReadShifted(const File& file, const DataShift& shift, std::int64_t position, void* data,
                   std::size_t bytes, std::size_t* read) {
  auto* to = static_cast<std::uint8_t*>(data);
  std::size_t total = 0, got = 0;
  do {
    const std::int64_t at = position + static_cast<std::int64_t>(total);
    const bool arrived = shift.Moves() && at >= shift.moved;
    std::size_t part = bytes - total;
    if (shift.Moves()) {
      const std::int64_t border = arrived ? shift.end : shift.moved;
      part = std::min(part, static_cast<std::size_t>(std::max<std::int64_t>(border - at, 0)));
    }
    RETURN_IF_FAILED(file.ReadAt(arrived ? at + shift.distance : at, to + total, part, &got));
    total += got;
  } while (got > 0 && total < bytes);
  *read = total;
  return S_OK;
}

ReadBack::ReadBack(File& file, std::int64_t size, ShiftLog* log)
    : file_(file), size_(size), log_(log) {
  io_ = MakeIoContext(kIoBufferBytes, this, &OnRead, nullptr, &OnSeek);
  // Each read is then one of the muxer's own: the first tells where the data begins.
  if (io_) io_->direct = 1;
}

int ReadBack::OnRead(void* opaque, std::uint8_t* into, int bytes) {
  auto& self = *static_cast<ReadBack*>(opaque);
  if (self.firstRead_ < 0) self.firstRead_ = self.position_;
  const std::int64_t left = std::max<std::int64_t>(self.size_ - self.position_, 0);
  std::size_t got = 0;
  const Status read =
      ReadShifted(self.file_, self.shift_, self.position_, into,
                  static_cast<std::size_t>(std::min<std::int64_t>(bytes, left)), &got);
  if (read.Failed()) return AVERROR(ErrnoFromStatus(read));
  self.position_ += static_cast<std::int64_t>(got);
  return got == 0 ? AVERROR_EOF : static_cast<int>(got);
}

std::int64_t ReadBack::OnSeek(void* opaque, std::int64_t offset, int whence) {
  auto& self = *static_cast<ReadBack*>(opaque);
  if ((whence & AVSEEK_SIZE) != 0) return self.size_;
  if ((whence & ~AVSEEK_FORCE) == SEEK_CUR) offset += self.position_;
  if ((whence & ~AVSEEK_FORCE) == SEEK_END) offset += self.size_;
  if (offset < 0) return AVERROR(EINVAL);
  self.position_ = offset;
  return offset;
}

// The bytes at the first place that was read go to a later one.
bool ReadBack::BeginsShift(const std::uint8_t* data, std::size_t bytes,
                           std::int64_t position) const {
  if (shift_.Moves() || firstRead_ < 0 || position <= firstRead_) return false;
  std::uint8_t there[kComparedBytes];
  const std::size_t compared = std::min(bytes, sizeof(there));
  std::size_t got = 0;
  return file_.ReadAt(firstRead_, there, compared, &got).Ok() && got == compared &&
         std::memcmp(there, data, compared) == 0;
}

bool ReadBack::IsInShift(std::size_t bytes, std::int64_t position) const {
  return shift_.Moves() && position >= shift_.begin + shift_.distance &&
         position + static_cast<std::int64_t>(bytes) <= shift_.end + shift_.distance;
}

Status ReadBack::Write(const std::uint8_t* data, std::size_t bytes, std::int64_t position) {
  if (BeginsShift(data, bytes, position)) RETURN_IF_FAILED(Move(position - firstRead_));
  return IsInShift(bytes, position) ? Status() : file_.WriteAt(position, data, bytes);
}

// A block is no longer than the distance, so that it overwrites only what has been moved already.
Status ReadBack::Move(std::int64_t distance) {
  shift_ = {firstRead_, size_, distance, size_};
  std::vector<std::uint8_t> block(static_cast<std::size_t>(std::min(distance, kMostMovedAtOnce)));
  while (shift_.moved > shift_.begin) {
    if (log_ != nullptr) log_->Note(shift_);
    const std::size_t bytes =
        std::min(block.size(), static_cast<std::size_t>(shift_.moved - shift_.begin));
    const std::int64_t from = shift_.moved - static_cast<std::int64_t>(bytes);
    std::size_t got = 0;
    RETURN_IF_FAILED(file_.ReadAt(from, block.data(), bytes, &got));
    if (got != bytes) return StatusFromErrno(EIO);
    RETURN_IF_FAILED(file_.WriteAt(from + distance, block.data(), bytes));
    shift_.moved = from;
  }
  if (log_ != nullptr) log_->Note(shift_);
  return S_OK;
}

}  // namespace xv
