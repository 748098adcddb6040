#pragma once

#include "hw/nvenc/nvenc_abilities.h"
#include "hw/nvenc/nvenc_api.h"
#include "hw/nvenc/nvenc_reader.h"

// From attributes to NVENC's settings, by codec. `rules`: the preset's profile, level, slices and
// intra refresh stay.
namespace xv {

void ReadH264Rows(NvencReader& reader, bool rules, const NvencAbilities& abilities,
                  NV_ENC_CONFIG& config);
void ReadHevcRows(NvencReader& reader, bool rules, NV_ENC_CONFIG& config);
void ReadRateRows(NvencReader& reader, NV_ENC_CONFIG& config);

}  // namespace xv
