#pragma once

#include <cstdint>
#include <span>

#include "contracts/av_handles.h"
#include "xvwriter/media.h"

namespace xv {

struct PixelFormatPick {
  int format = AV_PIX_FMT_NONE;  // or kPixFmtV210
  std::uint32_t tag = 0;         // codec tag that goes with it, 0 for none
  bool fullRange = false;
};

// The pixel format for `codec` (or a pseudo codec, by its list) that costs the source least.
// `mode422` allows 4:2:2 formats.
PixelFormatPick PickPixelFormat(AVCodecID id, const enum AVPixelFormat* supported,
                                std::uint32_t sourceFourCC, bool mode422);

}  // namespace xv
