#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>

#include "base/status.h"

namespace xv {

// The target takes bytes one behind the other and keeps none: a FIFO, a terminal or another device,
// and the process's own standard output as "-", "pipe:" or "pipe:1" (or any open descriptor as
// "pipe:N").
bool IsStreamTarget(const std::string& target);

// Such a target, open for writing. A reader that takes nothing for `patience` ends a call with the
// status of ETIMEDOUT, one that has gone away with that of EPIPE; no signal is raised. One caller
// at a time.
class StreamFile {
 public:
  StreamFile() = default;
  ~StreamFile() { Close(); }
  StreamFile(const StreamFile&) = delete;
  StreamFile& operator=(const StreamFile&) = delete;

  // Waits for a reader of a FIFO. Whoever waits asks `hurried` every now and then, null for never:
  // true ends the wait as the end of the patience does.
  Status Open(const std::string& target, std::chrono::milliseconds patience,
              std::function<bool()> hurried = {});
  Status Write(const void* data, std::size_t bytes);
  void Close();
  bool IsOpen() const { return descriptor_ >= 0; }

 private:
  Status OpenPath(const std::string& path);
  Status OpenDescriptor(int number);
  Status AwaitRoom() const;
  bool MayWait(std::chrono::steady_clock::time_point since) const;

  int descriptor_ = -1;
  std::size_t mostAtOnce_ = 0;  // bytes that one write may take without waiting for the reader
  std::chrono::milliseconds patience_{0};
  std::function<bool()> hurried_;
};

}  // namespace xv
