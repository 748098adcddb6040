#pragma once

#include "hw/nvenc/nvenc_api.h"

namespace xv {

// A preset as a session of one version takes it.
struct NvencPreset {
  GUID guid{};
  NV_ENC_TUNING_INFO tuning = NV_ENC_TUNING_INFO_UNDEFINED;  // undefined below version 10
};

// The preset that a word of the attribute "preset" stands for. Below version 10 it is NVIDIA's of
// that name. From there on those are gone, and one of P1 to P7 with a tuning takes its place:
//
//   default           P4, high quality      low_latency_hq    P6, low latency
//   high_performance  P1, high quality      low_latency_hp    P1, low latency
//   high_quality      P6, high quality      lossless          P4, lossless
//   blue_ray_disk     P5, high quality      lossless_hp       P1, lossless
//   low_latency       P4, low latency
NvencPreset PresetOfWord(int word, NvencApi api);

bool IsLosslessWord(int word);

}  // namespace xv
