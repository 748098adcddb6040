#pragma once

#include <string_view>

#include "base/status.h"

namespace xv {

// Where outputs tell what they lose or fail at, while the recording goes on. Thread-safe.
class OutputReport {
 public:
  // `stage`: where it happened; `words`: the library's own or a path, may be empty.
  virtual void Fail(std::string_view stage, std::string_view words, Status status) = 0;
  virtual void CountDrop() = 0;

 protected:
  ~OutputReport() = default;
};

}  // namespace xv
