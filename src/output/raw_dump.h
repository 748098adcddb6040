#pragma once

#include <string>

#include "base/status.h"
#include "contracts/av_handles.h"
#include "platform/file.h"

namespace xv {

// A loose file that takes the bytes of packets one behind the other. Opened on first use.
class RawDump {
 public:
  // XV_E_FILE_HANDLE when no file could be opened at all, else the write's failure.
  Status Append(const std::string& path, const AVPacket& packet);

 private:
  File file_;
};

}  // namespace xv
