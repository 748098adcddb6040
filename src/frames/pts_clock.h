#pragma once

#include <cstdint>

#include "contracts/av_handles.h"
#include "xvwriter/media.h"

namespace xv {

// The clock of one encoder's video stamps: places pictures on the ticks of a time base. Where a
// frame lasts one tick, a picture that is off its tick by less than 20 ms or 5/8 of a tick keeps
// the tick that it was expected on, so that stamps that tremble neither drop nor repeat pictures.
// Resets when the time base changes. One caller at a time.
class PtsClock {
 public:
  struct Place {
    std::int64_t pts = AV_NOPTS_VALUE;
    // Ticks left empty ahead of the picture; negative when it came too early to have one.
    std::int64_t missing = 0;
  };

  // The place of a picture shown from `start` to `stop` (100 ns). A stop that is not behind the
  // start counts as one tick. `rate`: pictures a second of the stream. No stamp without a time
  // base.
  Place Take(std::int64_t start, std::int64_t stop, AVRational timeBase, double rate);
  // The same for a picture that will not be encoded: its ticks stay empty.
  void Pass(std::int64_t start, std::int64_t stop, AVRational timeBase, double rate);

  // Of the picture that was taken last.
  std::int64_t lastPts() const { return lastPts_; }
  // The tick at which the last picture, taken or passed, ends.
  std::int64_t End() const { return next_; }

 private:
  std::int64_t Locate(double at);
  void Expect(std::int64_t tick, double start, double stop);

  AVRational timeBase_{0, 0};
  double ticksPerSecond_ = 0;
  std::int64_t lastPts_ = AV_NOPTS_VALUE;
  std::int64_t next_ = AV_NOPTS_VALUE;  // the tick on which the next picture is expected
  double drift_ = 0;                    // mean of how far the pictures of late were off, in ticks
};

// Without state: ticks of `timeBase` at `time` (100 ns), or microseconds when it is unset.
std::int64_t AVTimeFromRefTime(std::int64_t time, AVRational timeBase);

}  // namespace xv
