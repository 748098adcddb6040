#pragma once

#include <cstdint>
#include <string>

#include "base/status.h"

namespace xv {

// Disk space that is held back without a name, so that it vanishes with the process at the latest.
// One caller at a time.
class DiskReserve {
 public:
  DiskReserve() = default;
  ~DiskReserve() { Release(); }
  DiskReserve(const DiskReserve&) = delete;
  DiskReserve& operator=(const DiskReserve&) = delete;

  // Takes `bytes` in the file system of `folder`. File systems that cannot do this fail; nothing is
  // held then.
  Status Take(const std::string& folder, std::int64_t bytes);
  void Release();

 private:
  int descriptor_ = -1;
};

}  // namespace xv
