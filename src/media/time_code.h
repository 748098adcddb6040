#pragma once

#include <cstdint>
#include <string>

#include "xvwriter/media.h"

namespace xv {

// SMPTE ST 12-1 time addresses, as XV_TIMECODE. Flags beside eXvTC_DropFrame:
enum eTimeCodeFlags : std::uint32_t {
  eTC_Base24 = 0x10,
  eTC_Base25 = 0x20,
  eTC_Base30 = 0x40,
  eTC_EvenFrame = 0x100,  // of the two frames that share a count at 50 frames a second and above
  eTC_OddFrame = 0x200,
  eTC_Invalid = 0x80000000,
};

// The address of frame number `frame`, counted from 0, at `rate` frames a second. With
// `dropAllowed` 29.97 and 59.94 leave out counts 0 and 1 of each minute that is no multiple of ten.
// Rates above 45 count in pairs of frames. Hours do not wrap.
XV_TIMECODE TimeCodeFromFrames(std::int64_t frame, double rate, bool dropAllowed);

// The address of the frame that is shown at `time`, for frames of `duration`, both in 100 ns. A
// time up to 2 ms ahead of a frame counts as that frame's. eTC_Invalid for a negative time; a
// duration below 1 is taken as 29.97 frames a second.
XV_TIMECODE TimeCodeFromTime(std::int64_t time, std::int64_t duration, bool dropAllowed);

// "hh:mm:ss:ff", with ";" ahead of the frames of a drop-frame count.
std::string RenderTimeCode(const XV_TIMECODE& code);

}  // namespace xv
