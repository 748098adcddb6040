#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "hw/nvenc/nvenc_offer.h"

namespace xv {

// What the machine's hardware encoders can do, as far as the list of codecs needs it. A reason is a
// short text for a person, "NVIDIA driver not found"; empty means that the encoder works.
struct HardwareReport {
  std::string nvencH264 = "not built in";
  std::string nvencLossless = "not built in";
  std::string nvencHevc = "not built in";
  std::string nvencFFmpeg = "not built in";  // FFmpeg's own way to it, "h264_nvenc"
  std::string cuda = "not built in";
  // Bounds of what NVENC encodes, where it does.
  NvencCodecOffer h264;
  NvencCodecOffer hevc;

  struct QuickSync {
    bool hardware = false;
    bool software = false;
    int major = 0;  // of the interface
    int minor = 0;
    std::uint32_t implementation = 0;  // as the session reports it
    std::string reason = "not built in";
  } quickSync;
};

// Asks the machine; may take a while. Called once for each catalogue, on the first read.
using HardwareProbe = std::function<HardwareReport()>;

}  // namespace xv
