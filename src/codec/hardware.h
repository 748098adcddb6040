#pragma once

#include <cstdint>

#include "base/status.h"
#include "codec/stream_holder.h"

// Vendors' encoders in the place of FFmpeg's: what avcodec_open2 and the sending of pictures are
// for a track with a pseudo codec.
namespace xv {

// The layout in which a vendor's encoder takes pictures of the layout `fourcc`, an AVPixelFormat:
// NVENC's own input is made of most layouts in one pass, by the encoder.
int HardwarePixelFormat(PseudoCodec code, std::uint32_t fourcc, bool mode422);

// Lines of the coded picture: a multiple of 8 where it has fields, and 480 of 486 for NVENC.
int HardwareHeight(PseudoCodec code, const XV_VID_PROPS& vid);

// Opens the encoder of holder.pseudo for pictures of holder.vid, where the slot is empty, and makes
// holder.codec what the muxer and the stages read: parameter sets, size, rate. Tried again as the
// ladder of FFmpeg's encoders goes. What the encoder did not read of the options goes to
// holder.unusedOptions, what it changed to holder.adjusted.
//   E_FAIL               it does not open; holder.failure says why.
//   XV_E_VENDOR_LIBRARY  as before, since there is no such encoder or library here.
Status OpenHardwareCodec(StreamHolder& holder);

// As EncodeBackend, of a holder whose slot is filled. E_FAIL where the encoder fails; what it has
// encoded before still comes out at the end of the stream.
Status EncodeOnHardware(StreamHolder& holder, const AVFrame* frame);

}  // namespace xv
