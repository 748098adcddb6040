#pragma once

#include <string>

#include "contracts/encoder_base.h"

// What a frame of the host brings.
namespace xv {

// Bytes of sound, or of a picture, that count as some; a shorter block is none.
inline constexpr std::uint32_t kLeastBlock = 5;

// Samples of a valid format; `format` stands in for the frame's own.
bool HasSound(const EncoderInput& input, const XV_AUD_PROPS& format);
// Not of video that is disabled.
bool HasPictureBytes(const EncoderInput& input);

// Whether a frame can be taken at all. `why` gets a sentence for a person where something cannot.
//   S_FALSE               the picture can; its sound, whose format is not valid, is left out.
//   XV_E_NO_VALID_MEDIA   neither a picture nor sound, or bytes whose format is not valid.
//   XV_E_NO_PIXEL_FORMAT  a picture in an unknown layout.
Status CheckContents(const EncoderInput& input, std::string* why);

}  // namespace xv
