#pragma once

#include <string>
#include <utility>

#include "base/status.h"
#include "contracts/av_handles.h"
#include "platform/file.h"

namespace xv {

// A loose file that takes the bytes of packets one behind the other. Opened on first use; without a
// path packets are let go. One caller at a time.
class RawDump {
 public:
  RawDump() = default;
  explicit RawDump(std::string path) : path_(std::move(path)) {}

  // XV_E_FILE_HANDLE when no file could be opened at all, else the write's failure.
  Status Append(const AVPacket& packet);
  const std::string& path() const { return path_; }

 private:
  std::string path_;
  File file_;
};

}  // namespace xv
