#pragma once

#include <ffnvcodec/nvEncodeAPI.h>

#include <compare>
#include <cstdint>
#include <string>

// Versions of NVIDIA's encoder interface. The header's structures have the layout of version 7.0 at
// their start and in size, so that one set serves every version from there to the header's own;
// fields that came later lie in what was reserved and stay 0 for earlier versions. What differs are
// the version words, made here for the version that a session runs on.
namespace xv {

struct NvencApi {
  std::uint32_t major = 7;
  std::uint32_t minor = 0;

  constexpr auto operator<=>(const NvencApi&) const = default;
  constexpr std::uint32_t Version() const { return major | minor << 24; }
  // From 10 on presets are P1 to P7 with a tuning; the nine of before are not for these clients.
  constexpr bool HasTuning() const { return major >= 10; }
  std::string Text() const { return std::to_string(major) + "." + std::to_string(minor); }
};

inline constexpr NvencApi kNvencFirstApi{7, 0};  // what this encoder was made for
inline constexpr NvencApi kNvencHeaderApi{NVENCAPI_MAJOR_VERSION, NVENCAPI_MINOR_VERSION};
// Structures shrink, and their fields move, behind this one.
static_assert(kNvencHeaderApi < NvencApi{12, 0}, "the layouts have not been compared");

// What a driver says of its newest version: the minor number in the lowest 4 bits.
constexpr NvencApi NvencApiFromDriver(std::uint32_t value) { return {value >> 4, value & 15}; }

// The version word of a structure with `number`. `extended`: of the large ones, which carry bit 31.
constexpr std::uint32_t NvencVersion(NvencApi api, std::uint32_t number, bool extended = false) {
  return api.Version() | number << 16 | 7u << 28 | (extended ? 1u << 31 : 0u);
}

// Most structures have number 1 in every version.
constexpr std::uint32_t PlainVersion(NvencApi api) { return NvencVersion(api, 1); }
constexpr std::uint32_t FunctionListVersion(NvencApi api) { return NvencVersion(api, 2); }
constexpr std::uint32_t InitializeVersion(NvencApi api) { return NvencVersion(api, 5, true); }
constexpr std::uint32_t PictureVersion(NvencApi api) { return NvencVersion(api, 4, true); }
constexpr std::uint32_t PresetConfigVersion(NvencApi api) { return NvencVersion(api, 4, true); }
// The only number that moved: 7 since 8.1.
constexpr std::uint32_t ConfigVersion(NvencApi api) {
  return NvencVersion(api, api < NvencApi{8, 1} ? 6 : 7, true);
}

static_assert(FunctionListVersion(kNvencFirstApi) == 0x70020007);
static_assert(PlainVersion(kNvencFirstApi) == 0x70010007);
static_assert(InitializeVersion(kNvencFirstApi) == 0xf0050007);
static_assert(ConfigVersion(kNvencFirstApi) == 0xf0060007);
static_assert(PictureVersion(kNvencFirstApi) == 0xf0040007);
static_assert(PresetConfigVersion(kNvencFirstApi) == 0xf0040007);
// And the header's own.
static_assert(FunctionListVersion(kNvencHeaderApi) == NV_ENCODE_API_FUNCTION_LIST_VER);
static_assert(PlainVersion(kNvencHeaderApi) == NV_ENC_LOCK_BITSTREAM_VER);
static_assert(InitializeVersion(kNvencHeaderApi) == NV_ENC_INITIALIZE_PARAMS_VER);
static_assert(ConfigVersion(kNvencHeaderApi) == NV_ENC_CONFIG_VER);
static_assert(PictureVersion(kNvencHeaderApi) == NV_ENC_PIC_PARAMS_VER);
static_assert(PresetConfigVersion(kNvencHeaderApi) == NV_ENC_PRESET_CONFIG_VER);
static_assert(sizeof(NV_ENC_CONFIG) == 3584 && sizeof(NV_ENC_INITIALIZE_PARAMS) == 1808 &&
              sizeof(NV_ENC_PIC_PARAMS) == 3344 && sizeof(NV_ENC_LOCK_BITSTREAM) == 1544);

// GUIDs of the interface are plain bytes.
bool SameGuid(const GUID& a, const GUID& b);

// "NV_ENC_ERR_OUT_OF_MEMORY"; "an unknown error" for what the header does not name.
const char* NvencErrorName(int code);
// "nvEncInitializeEncoder: NV_ENC_ERR_INVALID_PARAM (8)", and what to do where that is known.
std::string NvencErrorText(const char* call, int code);

}  // namespace xv
