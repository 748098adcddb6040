#include "media/validity.h"

#include "media/video_format.h"

namespace xv {
namespace {

bool VideoCanBeEncoded(const XV_VID_PROPS& vid) {
  if (vid.eVideoFormat == eXvVF_Disabled) return false;
  if (vid.eVideoFormat > 0) return true;
  return vid.nWidth >= 1 && vid.nHeight != 0 && vid.fccColor != 0;
}

bool VideoSaysAnything(const XV_VID_PROPS& vid) {
  if (vid.dblRate > 0 || vid.fccColor != 0) return true;
  if (vid.nAspectX > 0 && vid.nAspectY > 0) return true;
  if (vid.nWidth > 0 && vid.nHeight != 0) return true;
  return vid.eInterlace != eXvI_Auto;
}

bool IsSampleWidth(std::int32_t bits) {
  return bits == -32 || bits == 16 || bits == 20 || bits == 24 || bits == 32;
}

}  // namespace

bool VideoPropsValid(const XV_VID_PROPS& vid, bool strict) {
  return strict ? VideoCanBeEncoded(vid) : VideoSaysAnything(vid);
}

bool AudioPropsInRange(const XV_AUD_PROPS& aud) {
  // Far above any sound. A frame of a number that was never set would take gigabytes of silence.
  constexpr std::int32_t kHighestRate = 1 << 24;
  if (aud.nChannels < 0) return true;
  return aud.nChannels >= 1 && aud.nChannels <= 32 && aud.nSamplesPerSec > 800 &&
         aud.nSamplesPerSec <= kHighestRate && IsSampleWidth(aud.nBitsPerSample);
}

bool AudioPropsValid(const XV_AUD_PROPS& aud, bool strict) {
  if (strict) return AudioPropsInRange(aud) && aud.nChannels >= 0;
  return aud.nChannels >= 1 || aud.nSamplesPerSec >= 1 || aud.nBitsPerSample != 0;
}

int InterlaceOrder(const XV_VID_PROPS& vid) {
  std::uint32_t interlace = vid.eInterlace;
  if (interlace == eXvI_Auto) interlace = FormatInterlace(vid.eVideoFormat);
  if (interlace == eXvI_TopFirst) return 1;
  return interlace == eXvI_BottomFirst ? -1 : 0;
}

}  // namespace xv
