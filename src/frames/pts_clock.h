#pragma once

#include <cstdint>

#include "contracts/av_handles.h"
#include "xvwriter/media.h"

namespace xv {

// The clock of one encoder's video stamps. Starts unset and resets when the time base changes.
struct PtsClock {
  std::int64_t lastPts = AV_NOPTS_VALUE;
  AVRational timeBase{0, 0};
};

// The stamp of a frame at `time` (100 ns) in ticks of `timeBase`. A stream of one tick a frame
// (`targetRate` within 0.01 of the tick rate) is nudged by one tick where rounding has put a frame
// a tick off. `status`: 0 steady, negative when the frame has come too early to have a tick of its
// own, positive when that many frames are missing. An unset base gives E_INVALIDARG as the stamp
// and leaves `status` alone.
std::int64_t ComputeFramePts(PtsClock& clock, std::int64_t time, AVRational timeBase,
                             double targetRate, int* status);

// Without state: ticks of `timeBase`, or microseconds when it is unset.
std::int64_t AVTimeFromRefTime(std::int64_t time, AVRational timeBase);

}  // namespace xv
