#pragma once

#include <cstdint>
#include <span>

// Where a caption block goes in an encoded picture (a byte stream with start codes). The offset is
// the place of a start code, or the packet's size.
namespace xv {

// H.264: ahead of the first NAL unit that is no SEI, parameter set or access unit delimiter.
// Others: behind a sequence header, else at the start.
std::size_t FindInsertOffset(std::span<const std::uint8_t> packet, bool isH264);

// MPEG-2: behind the picture's headers and extensions, ahead of its first slice (ISO/IEC 13818-2,
// 6.2.2.2). MPEG-4 part 2: ahead of the VOP (ISO/IEC 14496-2, 6.2.4). Without one,
// FindInsertOffset's.
std::size_t FindPictureOffset(std::span<const std::uint8_t> packet, bool isMpeg4);

}  // namespace xv
