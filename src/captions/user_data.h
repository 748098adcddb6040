#pragma once

#include <cstdint>
#include <vector>

// Framing of a caption block for the bit stream, in place.
namespace xv {

using CaptionBlock = std::vector<std::uint8_t>;

// MPEG-2 and MPEG-4 part 2: the user data start code in front, nothing else.
void PrepareMpegUserData(CaptionBlock* block);

// H.264: a NAL unit with one SEI message, registered user data of provider 0x31 (ISO/IEC 14496-10,
// D.1.6), with emulation prevention. The payload size has one byte: above 252 bytes of block it is
// stored modulo 256.
void PrepareH264Sei(CaptionBlock* block);

}  // namespace xv
