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

// What a frame carries, as far as times depend on it.
struct FrameContent {
  bool picture = true;
  std::int64_t sound = 0;  // duration of its samples in 100 ns
};

// Turns the times of a host's frames into a time line that starts at 0 and has no gaps. Frames
// without a time follow one frame duration apart, with its fraction kept, so that 29.97 frames a
// second do not drift. Where the first frame has a picture the pictures are the clock: frames of
// sound alone take the correction and do not move it. A gap in the pictures that sound fills stays,
// since the source's time went on. One caller at a time.
class XvTimeCorrector {
 public:
  void Reset();
  // The corrected time; flags tell what happened (eXvTimeFlags), the time code passes unchanged.
  // `time` null counts as a frame without a time. A frame further than `tolerance` (100 ns) from
  // its expected place is a jump; below 1 jumps are not looked for. `reason` (may be null) gets a
  // TimeCorrection.
  XV_TIME Correct(const XV_AV_PROPS& props, const XV_TIME* time, std::int64_t tolerance,
                  int* reason, const FrameContent& content = {});

 private:
  // Where a frame is expected: anywhere from `first` to `last`. A jump is taken to `anchor`.
  struct Expected {
    std::int64_t first;
    std::int64_t last;
    std::int64_t anchor;
    double step;         // duration of a frame
    bool sound = false;  // of sound alone
  };

  Expected ExpectPicture(const XV_TIME& time, double step, const FrameContent& content) const;
  Expected ExpectSound(double step) const;
  double OffBy(std::int64_t start, const Expected& expected) const;
  bool IsJump(const XV_TIME& time, const Expected& expected, std::int64_t tolerance) const;
  int Rebase(const XV_TIME& time, const Expected& expected, std::int64_t tolerance);
  std::int64_t OffsetTo(const Expected& expected, std::int64_t start, int reason) const;
  void Learn(std::int64_t start, double step, std::int64_t tolerance);
  void PlaceTimed(const XV_TIME& time, double step, XV_TIME* out) const;
  void PlaceUntimed(double step, XV_TIME* out);
  int CorrectPicture(const XV_TIME* time, double step, std::int64_t tolerance,
                     const FrameContent& content, XV_TIME* out);
  int CorrectSound(const XV_TIME* time, std::int64_t tolerance, const FrameContent& content,
                   XV_TIME* out);

  std::int64_t offset_ = kNoTime;  // added to source times
  bool begun_ = false;
  bool picturesAreTheClock_ = true;
  // Where the next frame is expected, in 100 ns: whole units and a fraction from 0 to below 1. One
  // double would lose a part of the fraction with each frame of a month.
  std::int64_t nextStart_ = 0;
  double nextFraction_ = 0.0;
  std::int64_t soundStop_ = kNoTime;  // of the last frame with sound, on the corrected line
  // Stamps may tremble around the source's true times; in 100 ns.
  double lead_ = 0.0;       // of the last frame ahead of the mean of the frames of late
  double trembling_ = 0.0;  // mean of how far frames of late were off that mean
};

}  // namespace xv
