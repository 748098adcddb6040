#pragma once

#include <cstdint>
#include <memory>

#include "growing/growing_files.h"
#include "growing/recovery.h"
#include "output/output.h"
#include "output/second_output.h"

namespace xv {

// Where a session's packets go. The set is fixed from open to cleanup; each output has a lock of
// its own for what is written.
struct Outputs {
  Output main;
  std::unique_ptr<SecondOutput> second;   // or the header file of a growing recording; may be null
  std::unique_ptr<GrowingFiles> growing;  // index and header file beside a growing recording
  std::unique_ptr<Recovery> recovery;  // what a writer that dies leaves for its recording; or null

  // After each pass of the stages; `frames` counts those encoded.
  void EndPass(std::int64_t frames) {
    if (growing && second) FinishHeaderFile(*second, frames);
  }
};

}  // namespace xv
