#include "session/frame_contents.h"

#include <fmt/format.h>

#include "media/normalise.h"
#include "media/pixel_layout.h"
#include "media/validity.h"

namespace xv {
namespace {

// "YUY2", or the number where it is no text.
std::string LayoutName(std::uint32_t fourcc) {
  std::string name;
  for (int shift = 0; shift < 32; shift += 8) {
    const auto letter = static_cast<char>(fourcc >> shift & 0xFF);
    if (letter < ' ' || letter > '~') return fmt::format("0x{:08X}", fourcc);
    name.push_back(letter);
  }
  return name;
}

Status CheckPicture(const XV_VID_PROPS& vid, bool encoded, std::string* why) {
  if (!VideoPropsValid(vid, true)) {
    *why = fmt::format("the picture's format is not valid: {}x{}, {} a second", vid.nWidth,
                       vid.nHeight, vid.dblRate);
    return XV_E_NO_VALID_MEDIA;
  }
  if (encoded || NaturalRowBytes(vid.fccColor, 2) > 0) return S_OK;
  XV_VID_PROPS normal = vid;  // a format may stand for its layout
  NormaliseVideoProps(&normal, true);
  if (NaturalRowBytes(normal.fccColor, 2) > 0) return S_OK;
  *why = "the layout " + LayoutName(vid.fccColor) + " is unknown";
  return XV_E_NO_PIXEL_FORMAT;
}

Status CheckSound(const XV_AUD_PROPS& aud, std::string* why) {
  if (aud.nChannels < 0 || AudioPropsValid(aud, true)) return S_OK;  // negative: not meant
  *why = fmt::format("the sound's format is not valid: {} channels of {} bits, {} Hz",
                     aud.nChannels, aud.nBitsPerSample, aud.nSamplesPerSec);
  return XV_E_NO_VALID_MEDIA;
}

bool HasSoundBytes(const EncoderInput& input) {
  return input.audio != nullptr && input.audioSize >= kLeastBlock;
}

}  // namespace

bool HasSound(const EncoderInput& input, const XV_AUD_PROPS& format) {
  return AudioPropsValid(format, true) && HasSoundBytes(input);
}

bool HasPictureBytes(const EncoderInput& input) {
  return input.video != nullptr && input.videoSize >= kLeastBlock &&
         input.props->vid.eVideoFormat != eXvVF_Disabled;
}

Status CheckContents(const EncoderInput& input, std::string* why) {
  const bool sound = HasSoundBytes(input);
  const bool picture = input.encodedPicture || HasPictureBytes(input);
  if (!sound && !picture) {
    *why = "the frame has neither a picture nor sound";
    return XV_E_NO_VALID_MEDIA;
  }
  if (picture) RETURN_IF_FAILED(CheckPicture(input.props->vid, input.encodedPicture, why));
  const Status usable = sound ? CheckSound(input.props->aud, why) : Status(S_OK);
  return usable.Failed() && picture ? Status(S_FALSE) : usable;
}

}  // namespace xv
