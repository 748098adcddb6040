#include "output/file_sink.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "base/guard.h"
#include "platform/clock.h"
#include "platform/paths.h"
#include "xvwriter/results.h"

namespace xv {
namespace {

constexpr int kIoBufferBytes = 64 << 10;              // FFmpeg's own, for single numbers
constexpr std::size_t kGatherBytes = 1 << 20;         // small writes gather up to this much
constexpr std::size_t kLargeWrite = 128 << 10;        // from here on a write is not copied
constexpr std::int64_t kLongestWait = 1'000'000'000;  // ns
// Disk space is taken ahead in steps, of an eighth of the file within these.
constexpr std::int64_t kLeastStep = 1 << 20;
constexpr std::int64_t kMostStep = 16 << 20;

}  // namespace

Status FileSink::Open(const std::string& path, std::chrono::milliseconds patience,
                      std::function<bool()> hurried) {
  if (IsStreamTarget(path)) {
    RETURN_IF_FAILED(stream_.Open(path, patience, std::move(hurried)));
    return MakeIo(false);
  }
  RETURN_IF_FAILED(file_.Create(path));
  allocated_ = 0;
  scarce_ = false;
  pending_.reserve(kGatherBytes);
  RETURN_IF_FAILED(MakeIo(true));
  io_->direct = 1;
  return S_OK;
}

Status FileSink::MakeIo(bool seekable) {
  io_ = MakeIoContext(kIoBufferBytes, this, nullptr, &OnWrite, seekable ? &OnSeek : nullptr);
  return io_ ? S_OK : E_OUTOFMEMORY;
}

Status FileSink::TakeSpace(std::int64_t end) {
  const Status taken = file_.Allocate(allocated_, end);
  if (taken.Ok()) allocated_ = end;
  if (taken.NothingDone()) allocated_ = -1;
  return taken;
}

Status FileSink::MakeRoom(std::int64_t bytes) {
  if (!file_.IsOpen() || allocated_ < 0) return S_FALSE;
  const std::int64_t end = size_ + bytes;
  if (end <= allocated_) return S_OK;
  const Status ahead = scarce_ ? Status(XV_E_DISK_FULL)
                               : TakeSpace(end + std::clamp(size_ / 8, kLeastStep, kMostStep));
  if (!ahead.Failed()) return ahead;
  scarce_ = true;
  return TakeSpace(end);
}

int FileSink::OnWrite(void* opaque, WrittenBytes data, int bytes) {
  auto& self = *static_cast<FileSink*>(opaque);
  if (bytes <= 0) return 0;
  const Status written = Guarded([&] {
    if (self.observer_ != nullptr) self.observer_->OnSinkWrite(data, bytes, self.position_);
    const auto count = static_cast<std::size_t>(bytes);
    return self.readBack_ ? self.readBack_->Write(data, count, self.position_)
                          : self.Write(data, count);
  });
  self.position_ += bytes;
  self.size_ = std::max(self.size_, self.position_);
  if (!written.Failed()) return bytes;
  self.failure_.Update(written);
  return AVERROR(ErrnoFromStatus(written));
}

std::int64_t FileSink::OnSeek(void* opaque, std::int64_t offset, int whence) {
  auto& self = *static_cast<FileSink*>(opaque);
  if ((whence & AVSEEK_SIZE) != 0) return self.size_;
  std::int64_t target = offset;
  if ((whence & ~AVSEEK_FORCE) == SEEK_CUR) target += self.position_;
  if ((whence & ~AVSEEK_FORCE) == SEEK_END) target += self.size_;
  if (target < 0) return AVERROR(EINVAL);
  self.position_ = target;
  return target;
}

Status FileSink::Write(const std::uint8_t* data, std::size_t bytes) {
  if (IsStream()) return stream_.Write(data, bytes);
  const bool continues = position_ == pendingAt_ + static_cast<std::int64_t>(pending_.size());
  if (!pending_.empty() &&
      (!continues || bytes >= kLargeWrite || pending_.size() + bytes > kGatherBytes)) {
    RETURN_IF_FAILED(Flush());
  }
  if (bytes >= kLargeWrite) return file_.WriteAt(position_, data, bytes);
  const std::int64_t now = SystemClock().SteadyNanoseconds();
  if (pending_.empty()) {
    pendingAt_ = position_;
    pendingSince_ = now;
  }
  pending_.insert(pending_.end(), data, data + bytes);
  return now - pendingSince_ < kLongestWait ? Status() : Flush();
}

Status FileSink::Flush() {
  if (!pending_.empty()) {
    // What a full disk refuses stays here: the trailer's space may yet take it.
    const Status written = file_.WriteAt(pendingAt_, pending_.data(), pending_.size());
    failure_.Update(written);
    RETURN_IF_FAILED(written);
    pending_.clear();
  }
  if (observer_ != nullptr) observer_->OnSinkFlushed();
  return S_OK;
}

AVIOContext* FileSink::OpenReadBack() {
  const Status opened = Guarded([this]() -> Status {
    if (readBack_) return E_UNEXPECTED;
    RETURN_IF_FAILED(Flush());
    readBack_ = std::make_unique<ReadBack>(file_, size_, shiftLog_);
    return S_OK;
  });
  if (opened.Failed()) return nullptr;
  AVIOContext* const io = readBack_->io();
  if (io == nullptr) readBack_.reset();
  return io;
}

bool FileSink::CloseReadBack(const AVIOContext* io) {
  if (!readBack_ || readBack_->io() != io) return false;
  readBack_.reset();
  return true;
}

void FileSink::PrepareForTrailer() {
  failure_ = S_OK;
  if (io_) io_->error = 0;
}

// Blocks behind the end would stay the file's.
Status FileSink::GiveBackSpace() {
  if (allocated_ <= 0) return S_OK;
  std::int64_t bytes = 0;
  RETURN_IF_FAILED(file_.Size(&bytes));
  allocated_ = 0;
  return file_.Truncate(bytes);
}

Status FileSink::Close() {
  if (io_) avio_flush(io_.get());
  Status result = Flush();
  io_.reset();
  stream_.Close();
  result.Update(GiveBackSpace());
  result.Update(file_.Close());
  return result;
}

}  // namespace xv
