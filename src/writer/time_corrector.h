#pragma once

#include <cstdint>

#include "xvwriter/media.h"

namespace xv {

// Why the corrector took a new offset.
enum TimeCorrection : int {
  kTimeKept = 0,
  kTimeFirst = 1,   // no offset was known
  kTimeBreak = 2,   // eXvTF_Break on the frame
  kTimeRebase = 3,  // eXvTF_Rebase on the frame
  kTimeJump = 4,    // the time was further off than the tolerance
};

// Turns the times of a host's frames into a time line that starts at 0 and has no gaps. Frames
// without a time follow one frame duration apart, with its fraction kept, so that 29.97 frames a
// second do not drift. One caller at a time.
class XvTimeCorrector {
 public:
  // What the writer allows a frame to be off, in 100 ns: 10 ms.
  static constexpr std::int64_t kWriterTolerance = 100000;

  void Reset();
  // The corrected time; flags tell what happened (eXvTimeFlags), the time code passes unchanged.
  // `time` null counts as a frame without a time. `tolerance` in 100 ns; below 1 jumps are not
  // looked for. `reason` (may be null) gets a TimeCorrection.
  XV_TIME Correct(const XV_AV_PROPS& props, const XV_TIME* time, std::int64_t tolerance,
                  int* reason);

 private:
  bool IsJump(const XV_TIME& time, std::int64_t tolerance) const;
  int Rebase(const XV_TIME& time, std::int64_t tolerance);
  void PlaceTimed(const XV_TIME& time, double step, XV_TIME* out);
  void PlaceUntimed(double step, XV_TIME* out);

  std::int64_t offset_ = kNoTime;  // added to source times
  // Where the next frame is expected, in 100 ns: whole units and a fraction from 0 to below 1. One
  // double would lose a part of the fraction with each frame of a month.
  std::int64_t nextStart_ = 0;
  double nextFraction_ = 0.0;
};

}  // namespace xv
