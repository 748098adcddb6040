#pragma once

#include <string>

#include "base/status.h"

namespace xv {

// A device's file, open for a library that talks to the device by its descriptor. Closed in child
// processes.
class DeviceFile {
 public:
  DeviceFile() = default;
  DeviceFile(const DeviceFile&) = delete;
  DeviceFile& operator=(const DeviceFile&) = delete;
  ~DeviceFile() { Close(); }

  // To read and write; what was open is closed first. The system's failure, Words has it.
  Status Open(const std::string& path);
  void Close();
  // -1 when it is closed.
  int descriptor() const { return descriptor_; }
  const std::string& Words() const { return words_; }

 private:
  int descriptor_ = -1;
  std::string words_;
};

}  // namespace xv
