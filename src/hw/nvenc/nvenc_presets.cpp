#include "hw/nvenc/nvenc_presets.h"

#include <array>
#include <cstddef>

#include "hw/nvenc/nvenc_attributes.h"

// The header marks the presets of before version 10 as leaving; sessions of those versions have no
// others.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace xv {
namespace {

// By the index of the word.
const std::array<NvencPreset, nvenc::kPresetCount> kNamed = {{
    {NV_ENC_PRESET_DEFAULT_GUID},
    {NV_ENC_PRESET_HP_GUID},
    {NV_ENC_PRESET_HQ_GUID},
    {NV_ENC_PRESET_BD_GUID},
    {NV_ENC_PRESET_LOW_LATENCY_DEFAULT_GUID},
    {NV_ENC_PRESET_LOW_LATENCY_HQ_GUID},
    {NV_ENC_PRESET_LOW_LATENCY_HP_GUID},
    {NV_ENC_PRESET_LOSSLESS_DEFAULT_GUID},
    {NV_ENC_PRESET_LOSSLESS_HP_GUID},
}};

const std::array<NvencPreset, nvenc::kPresetCount> kTuned = {{
    {NV_ENC_PRESET_P4_GUID, NV_ENC_TUNING_INFO_HIGH_QUALITY},
    {NV_ENC_PRESET_P1_GUID, NV_ENC_TUNING_INFO_HIGH_QUALITY},
    {NV_ENC_PRESET_P6_GUID, NV_ENC_TUNING_INFO_HIGH_QUALITY},
    {NV_ENC_PRESET_P5_GUID, NV_ENC_TUNING_INFO_HIGH_QUALITY},
    {NV_ENC_PRESET_P4_GUID, NV_ENC_TUNING_INFO_LOW_LATENCY},
    {NV_ENC_PRESET_P6_GUID, NV_ENC_TUNING_INFO_LOW_LATENCY},
    {NV_ENC_PRESET_P1_GUID, NV_ENC_TUNING_INFO_LOW_LATENCY},
    {NV_ENC_PRESET_P4_GUID, NV_ENC_TUNING_INFO_LOSSLESS},
    {NV_ENC_PRESET_P1_GUID, NV_ENC_TUNING_INFO_LOSSLESS},
}};

}  // namespace

NvencPreset PresetOfWord(int word, NvencApi api) {
  const auto& presets = api.HasTuning() ? kTuned : kNamed;
  return presets.at(static_cast<std::size_t>(word));
}

bool IsLosslessWord(int word) { return word >= nvenc::kPresetLossless; }

}  // namespace xv
