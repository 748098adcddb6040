#include "hw/nvenc/nvenc_abilities.h"

#include "hw/nvenc/nvenc_session.h"

namespace xv {
namespace {

// All that settings and offers look at.
constexpr NV_ENC_CAPS kAsked[] = {
    NV_ENC_CAPS_NUM_MAX_BFRAMES,
    NV_ENC_CAPS_SUPPORTED_RATECONTROL_MODES,
    NV_ENC_CAPS_SUPPORT_FIELD_ENCODING,
    NV_ENC_CAPS_SUPPORT_FMO,
    NV_ENC_CAPS_SUPPORT_QPELMV,
    NV_ENC_CAPS_SUPPORT_BDIRECT_MODE,
    NV_ENC_CAPS_SUPPORT_CABAC,
    NV_ENC_CAPS_SUPPORT_ADAPTIVE_TRANSFORM,
    NV_ENC_CAPS_SUPPORT_STEREO_MVC,
    NV_ENC_CAPS_NUM_MAX_TEMPORAL_LAYERS,
    NV_ENC_CAPS_SUPPORT_HIERARCHICAL_PFRAMES,
    NV_ENC_CAPS_SUPPORT_HIERARCHICAL_BFRAMES,
    NV_ENC_CAPS_LEVEL_MAX,
    NV_ENC_CAPS_LEVEL_MIN,
    NV_ENC_CAPS_SEPARATE_COLOUR_PLANE,
    NV_ENC_CAPS_WIDTH_MAX,
    NV_ENC_CAPS_HEIGHT_MAX,
    NV_ENC_CAPS_SUPPORT_TEMPORAL_SVC,
    NV_ENC_CAPS_SUPPORT_DYN_RES_CHANGE,
    NV_ENC_CAPS_SUPPORT_CONSTRAINED_ENCODING,
    NV_ENC_CAPS_SUPPORT_INTRA_REFRESH,
    NV_ENC_CAPS_SUPPORT_CUSTOM_VBV_BUF_SIZE,
    NV_ENC_CAPS_SUPPORT_DYNAMIC_SLICE_MODE,
    NV_ENC_CAPS_SUPPORT_YUV444_ENCODE,
    NV_ENC_CAPS_SUPPORT_LOSSLESS_ENCODE,
    NV_ENC_CAPS_SUPPORT_10BIT_ENCODE,
};
// Drivers know these from version 9 on.
constexpr NV_ENC_CAPS kAskedLater[] = {
    NV_ENC_CAPS_NUM_MAX_LTR_FRAMES,
    NV_ENC_CAPS_WIDTH_MIN,
    NV_ENC_CAPS_HEIGHT_MIN,
};

}  // namespace

NvencAbilities ReadAbilities(NvencSession& session) {
  NvencAbilities abilities;
  for (const NV_ENC_CAPS ability : kAsked) abilities.Set(ability, session.Ability(ability));
  if (session.api() < NvencApi{9, 0}) return abilities;
  for (const NV_ENC_CAPS ability : kAskedLater) abilities.Set(ability, session.Ability(ability));
  return abilities;
}

}  // namespace xv
