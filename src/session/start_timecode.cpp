#include "session/start_timecode.h"

#include <fmt/format.h>

#include <algorithm>

#include "base/text.h"
#include "codec/video_geometry.h"
#include "media/normalise.h"
#include "media/time_code.h"
#include "media/video_format.h"
#include "platform/clock.h"
#include "session/session_attributes.h"

namespace xv {
namespace {

std::string WallClock(Clock& clock) {
  const LocalClockTime now = clock.LocalTime();
  return fmt::format("{:02}:{:02}:{:02}:00", now.hour, now.minute, now.second);
}

bool IsGiven(const XV_TIMECODE& code) {
  return (code.nHour | code.nMinute | code.nSecond | code.nFrame | code.eTcFlags) != 0;
}

bool CountsDropFrames(const XV_VID_PROPS& vid) {
  const AVRational base = TimeBaseFromRate(vid.dblRate);
  if (base.num == 1001 && (base.den == 30000 || base.den == 60000)) return true;
  XV_VID_PROPS normal = vid;
  NormaliseVideoProps(&normal, false);
  const VideoFormatRow* row = FindVideoFormat(normal.eVideoFormat);
  return row != nullptr && row->rateDen == 1001;
}

}  // namespace

std::string StartTimecode(const XMLParse::CoXMLNode& attributes, const XV_TIME* time,
                          const XV_VID_PROPS& vid, Clock& clock) {
  std::string code = attributes.Get(kStartTimecode);
  if (EqualsNoCase(code, "disabled")) return {};
  const bool local = EqualsNoCase(code, "local_time");
  if (code.empty() || EqualsNoCase(code, "given")) {
    if (time == nullptr || !IsGiven(time->tcFrame)) return {};
    code = RenderTimeCode(time->tcFrame);
  } else if (local || EqualsNoCase(code, "auto")) {
    code = time != nullptr && !local ? RenderTimeCode(time->tcFrame) : WallClock(clock);
  }
  if (!CountsDropFrames(vid)) std::replace(code.begin(), code.end(), ';', ':');
  return code;
}

}  // namespace xv
