#pragma once

#include <cstdint>

#include "contracts/av_handles.h"
#include "xvwriter/media.h"

// Host picture layouts against FFmpeg's pixel formats.
namespace xv {

// "v210" has no AVPixelFormat: its own code stands for it and only serves the path that hands the
// bytes on as they are. FFmpeg must never see a frame with this format.
inline constexpr int kPixFmtV210 = 0x30313276;

// AV_PIX_FMT_NONE (-1) for a layout that FFmpeg does not have.
int PixelFormatFromFourCC(std::uint32_t fourcc);

// 0 for a pixel format that no host layout has; UYVY422 is HDYC above 576 lines.
std::uint32_t FourCCFromPixelFormat(int format, int height);

// Sample aspect of a picture whose display aspect is in `vid`; {0, 1} when that is unknown.
AVRational SampleAspect(const XV_VID_PROPS& vid);

}  // namespace xv
