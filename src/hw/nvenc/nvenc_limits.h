#pragma once

#include "hw/nvenc/nvenc_settings.h"

namespace xv {

// Brings the settings down to what the adapter can do. What it does not tell stays as it is.
void BringDown(NvencReader& reader, const NvencSettingsRequest& request, NvencSettings& settings);

}  // namespace xv
