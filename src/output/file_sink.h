#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "base/status.h"
#include "contracts/av_handles.h"
#include "output/interrupt.h"
#include "output/read_back.h"
#include "platform/file.h"
#include "platform/stream_file.h"

namespace xv {

// Sees the bytes that a muxer hands to the file, write call by write call.
class SinkObserver {
 public:
  virtual ~SinkObserver() = default;
  // `data` is the caller's own buffer, `position` where its first byte goes.
  virtual void OnSinkWrite(const std::uint8_t* data, int bytes, std::int64_t position) = 0;
  // Everything that was handed over is in the file.
  virtual void OnSinkFlushed() = 0;
};

// A local output file behind our own AVIOContext. Small writes gather here, large ones go
// straight to the file, each at its own position, so that a failed write leaves a gap and never
// shifts what follows. A write finds nothing waiting for more than a second; what waits while none
// comes is the caller's to flush. One caller at a time (the output's lock).
class FileSink : public ReadBackOpener {
 public:
  FileSink() = default;
  virtual ~FileSink() { (void)Close(); }
  FileSink(const FileSink&) = delete;
  FileSink& operator=(const FileSink&) = delete;

  // Creates the file anew. A stream target (platform/stream_file.h) is written as the bytes come
  // and cannot be sought in; its reader may rest for `patience`, unless `hurried` says that nobody
  // waits any more.
  Status Open(const std::string& path, std::chrono::milliseconds patience,
              std::function<bool()> hurried = {});
  bool IsStream() const { return stream_.IsOpen(); }
  // The context for AVFormatContext.pb; lives until Close.
  AVIOContext* io() const { return io_.get(); }
  // Null for none; it must outlive the sink or be taken away.
  void SetObserver(SinkObserver* observer) { observer_ = observer; }
  // Is told how far a move of the whole data has come. Null for none; it must outlive the sink or
  // be taken away.
  void SetShiftLog(ShiftLog* log) { shiftLog_ = log; }
  AVIOContext* OpenReadBack() override;
  bool CloseReadBack(const AVIOContext* io) override;
  // Takes disk space for `bytes` behind what was written so far, so that these find room whatever
  // else fills the disk; Close gives back what is not needed. S_FALSE where the file system cannot
  // do that, else the status of a full disk.
  Status MakeRoom(std::int64_t bytes);
  // Everything handed over so far is in the file.
  Status Flush();
  // The first failure of a write, kept.
  Status failure() const { return failure_; }
  // Forgets a failure: the trailer gets its chance.
  void PrepareForTrailer();
  Status Close();

  // The position that the next byte of the muxer gets, and the file's extent.
  std::int64_t position() const { return position_; }
  std::int64_t size() const { return size_; }

 private:
#if LIBAVFORMAT_VERSION_MAJOR < 61
  using WrittenBytes = std::uint8_t*;
#else
  using WrittenBytes = const std::uint8_t*;
#endif

  static int OnWrite(void* opaque, WrittenBytes data, int bytes);
  static std::int64_t OnSeek(void* opaque, std::int64_t offset, int whence);
  Status Write(const std::uint8_t* data, std::size_t bytes);
  Status MakeIo(bool seekable);
  Status TakeSpace(std::int64_t end);
  Status GiveBackSpace();

  File file_;
  StreamFile stream_;           // in its place
  std::int64_t allocated_ = 0;  // end of the file's disk space; below 0: the file system has none
  bool scarce_ = false;         // the disk had no more than was asked for
  AvPtr<AVIOContext> io_;
  std::vector<std::uint8_t> pending_;
  std::int64_t pendingAt_ = 0;     // file position of pending_
  std::int64_t pendingSince_ = 0;  // steady clock, ns
  std::int64_t position_ = 0;
  std::int64_t size_ = 0;
  Status failure_;
  SinkObserver* observer_ = nullptr;
  ShiftLog* shiftLog_ = nullptr;
  std::unique_ptr<ReadBack> readBack_;  // while the muxer reads its own file
};

}  // namespace xv
