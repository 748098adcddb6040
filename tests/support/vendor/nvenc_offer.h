#pragma once

#include <cstring>
#include <string>
#include <vector>

#include "support/vendor/ledger.h"
#include "support/vendor/nvenc_header.h"

// What a driver says that it can do.
namespace xv::vendor {

inline bool Same(const GUID& a, const GUID& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

// Lists come in another order each time: no client may rely on one.
std::vector<GUID> OfferedCodecs(const Settings& settings);
std::vector<GUID> OfferedPresets(const Settings& settings);
std::vector<GUID> OfferedProfiles(const Settings& settings, bool hevc);
std::vector<NV_ENC_BUFFER_FORMAT> OfferedFormats();

bool IsOldPreset(const GUID& preset);
bool IsLosslessPreset(const GUID& preset);

// -1 for a capability that the driver does not know.
int Capability(const Settings& settings, bool hevc, NV_ENC_CAPS capability);

// Rate control modes as bits; constant quantisers are always there.
bool HasRateMode(const Settings& settings, NV_ENC_PARAMS_RC_MODE mode);

// The version word of NV_ENC_CONFIG in sessions of that API.
unsigned ConfigStructNumber(std::uint32_t api);

NV_ENC_CONFIG PresetConfiguration(const Settings& settings, std::uint32_t api, bool hevc,
                                  const GUID& preset, NV_ENC_TUNING_INFO tuning);

}  // namespace xv::vendor
