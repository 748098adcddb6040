#include "support/vendor/nvenc_offer.h"

#include <algorithm>
#include <atomic>
#include <map>
#include <random>

namespace xv::vendor {
namespace {

template <typename T>
std::vector<T> Shuffled(std::vector<T> list) {
  static std::atomic<unsigned> round{1};
  std::minstd_rand random(round++);
  std::shuffle(list.begin(), list.end(), random);
  return list;
}

std::vector<GUID> OldPresets(const Settings& settings) {
  std::vector<GUID> list = {NV_ENC_PRESET_DEFAULT_GUID,
                            NV_ENC_PRESET_HP_GUID,
                            NV_ENC_PRESET_HQ_GUID,
                            NV_ENC_PRESET_BD_GUID,
                            NV_ENC_PRESET_LOW_LATENCY_DEFAULT_GUID,
                            NV_ENC_PRESET_LOW_LATENCY_HQ_GUID,
                            NV_ENC_PRESET_LOW_LATENCY_HP_GUID};
  if (settings.lossless) {
    list.insert(list.end(), {NV_ENC_PRESET_LOSSLESS_DEFAULT_GUID, NV_ENC_PRESET_LOSSLESS_HP_GUID});
  }
  return list;
}

unsigned RateModes(const Settings& settings) {
  const unsigned now = NV_ENC_PARAMS_RC_VBR | NV_ENC_PARAMS_RC_CBR;
  return settings.major < 12 ? now | 0x3C : now;
}

// What the named presets do with pictures between references.
int PresetInterval(const Settings& settings, bool hevc, const GUID& preset,
                   NV_ENC_TUNING_INFO tuning) {
  const bool quick = Same(preset, NV_ENC_PRESET_P1_GUID) || Same(preset, NV_ENC_PRESET_P2_GUID) ||
                     Same(preset, NV_ENC_PRESET_HP_GUID) ||
                     Same(preset, NV_ENC_PRESET_LOSSLESS_HP_GUID);
  const bool latency = Same(preset, NV_ENC_PRESET_LOW_LATENCY_DEFAULT_GUID) ||
                       Same(preset, NV_ENC_PRESET_LOW_LATENCY_HQ_GUID) ||
                       Same(preset, NV_ENC_PRESET_LOW_LATENCY_HP_GUID) ||
                       tuning == NV_ENC_TUNING_INFO_LOW_LATENCY ||
                       tuning == NV_ENC_TUNING_INFO_ULTRA_LOW_LATENCY;
  const int most = (hevc ? settings.hevcBFrames : settings.bFrames) + 1;
  return quick || latency ? 1 : std::min(most, 3);
}

void SetH264(bool lossless, NV_ENC_CONFIG_H264* h264) {
  h264->chromaFormatIDC = 1;
  h264->repeatSPSPPS = 1;
  h264->sliceMode = 3;
  h264->sliceModeData = 1;
  h264->idrPeriod = 30;
  h264->qpPrimeYZeroTransformBypassFlag = lossless ? 1 : 0;
}

void SetHevc(NV_ENC_CONFIG_HEVC* hevc) {
  hevc->chromaFormatIDC = 1;
  hevc->repeatSPSPPS = 1;
  hevc->sliceMode = 3;
  hevc->sliceModeData = 1;
  hevc->idrPeriod = 30;
}

}  // namespace

std::vector<GUID> OfferedCodecs(const Settings& settings) {
  std::vector<GUID> list = {NV_ENC_CODEC_H264_GUID};
  if (settings.hevc) list.push_back(NV_ENC_CODEC_HEVC_GUID);
  return Shuffled(list);
}

std::vector<GUID> OfferedPresets(const Settings& settings) {
  std::vector<GUID> list;
  if (settings.oldPresets) list = OldPresets(settings);
  if (settings.major >= 10) {
    list.insert(list.end(), {NV_ENC_PRESET_P1_GUID, NV_ENC_PRESET_P2_GUID, NV_ENC_PRESET_P3_GUID,
                             NV_ENC_PRESET_P4_GUID, NV_ENC_PRESET_P5_GUID, NV_ENC_PRESET_P6_GUID,
                             NV_ENC_PRESET_P7_GUID});
  }
  return Shuffled(list);
}

std::vector<GUID> OfferedProfiles(const Settings& settings, bool hevc) {
  std::vector<GUID> list = {NV_ENC_CODEC_PROFILE_AUTOSELECT_GUID};
  if (hevc) {
    list.insert(list.end(), {NV_ENC_HEVC_PROFILE_MAIN_GUID});
  } else {
    list.insert(list.end(), {NV_ENC_H264_PROFILE_BASELINE_GUID, NV_ENC_H264_PROFILE_MAIN_GUID,
                             NV_ENC_H264_PROFILE_HIGH_GUID});
    if (settings.lossless) list.push_back(NV_ENC_H264_PROFILE_HIGH_444_GUID);
  }
  return Shuffled(list);
}

std::vector<NV_ENC_BUFFER_FORMAT> OfferedFormats() {
  return Shuffled(std::vector<NV_ENC_BUFFER_FORMAT>{
      NV_ENC_BUFFER_FORMAT_NV12, NV_ENC_BUFFER_FORMAT_YV12, NV_ENC_BUFFER_FORMAT_IYUV});
}

bool IsOldPreset(const GUID& preset) {
  const std::vector<GUID> old = OldPresets(Settings());
  return std::any_of(old.begin(), old.end(), [&](const GUID& g) { return Same(g, preset); });
}

bool IsLosslessPreset(const GUID& preset) {
  return Same(preset, NV_ENC_PRESET_LOSSLESS_DEFAULT_GUID) ||
         Same(preset, NV_ENC_PRESET_LOSSLESS_HP_GUID);
}

int Capability(const Settings& s, bool hevc, NV_ENC_CAPS capability) {
  const std::map<NV_ENC_CAPS, int> known = {
      {NV_ENC_CAPS_NUM_MAX_BFRAMES, hevc ? s.hevcBFrames : s.bFrames},
      {NV_ENC_CAPS_SUPPORTED_RATECONTROL_MODES, static_cast<int>(RateModes(s))},
      {NV_ENC_CAPS_SUPPORT_FIELD_ENCODING, s.fields && !hevc},
      {NV_ENC_CAPS_SUPPORT_QPELMV, 1},
      {NV_ENC_CAPS_SUPPORT_BDIRECT_MODE, !hevc},
      {NV_ENC_CAPS_SUPPORT_CABAC, !hevc},
      {NV_ENC_CAPS_SUPPORT_ADAPTIVE_TRANSFORM, !hevc},
      {NV_ENC_CAPS_NUM_MAX_TEMPORAL_LAYERS, 4},
      {NV_ENC_CAPS_LEVEL_MAX, hevc ? 186 : 51},
      {NV_ENC_CAPS_LEVEL_MIN, hevc ? 30 : 10},
      {NV_ENC_CAPS_WIDTH_MAX, s.maxWidth},
      {NV_ENC_CAPS_HEIGHT_MAX, s.maxHeight},
      {NV_ENC_CAPS_SUPPORT_DYN_RES_CHANGE, 1},
      {NV_ENC_CAPS_SUPPORT_DYN_BITRATE_CHANGE, 1},
      {NV_ENC_CAPS_SUPPORT_INTRA_REFRESH, 1},
      {NV_ENC_CAPS_SUPPORT_CUSTOM_VBV_BUF_SIZE, 1},
      {NV_ENC_CAPS_SUPPORT_CONSTRAINED_ENCODING, 1},
      {NV_ENC_CAPS_SUPPORT_REF_PIC_INVALIDATION, 1},
      {NV_ENC_CAPS_MB_NUM_MAX, s.maxWidth * s.maxHeight / 256},
      {NV_ENC_CAPS_MB_PER_SEC_MAX, 983040},
      {NV_ENC_CAPS_SUPPORT_LOSSLESS_ENCODE, s.lossless},
      {NV_ENC_CAPS_SUPPORT_YUV444_ENCODE, 0},
      {NV_ENC_CAPS_NUM_MAX_LTR_FRAMES, 8},
      {NV_ENC_CAPS_WIDTH_MIN, 33},
      {NV_ENC_CAPS_HEIGHT_MIN, 17},
      {NV_ENC_CAPS_NUM_ENCODER_ENGINES, 1}};
  if (capability < 0 || capability >= NV_ENC_CAPS_EXPOSED_COUNT) return -1;
  const auto found = known.find(capability);
  return found == known.end() ? 0 : found->second;
}

bool HasRateMode(const Settings& settings, NV_ENC_PARAMS_RC_MODE mode) {
  return mode == NV_ENC_PARAMS_RC_CONSTQP || (RateModes(settings) & mode) != 0;
}

unsigned ConfigStructNumber(std::uint32_t api) { return (api & 0xFF) < 9 ? 6 : 7; }

NV_ENC_CONFIG PresetConfiguration(const Settings& settings, std::uint32_t api, bool hevc,
                                  const GUID& preset, NV_ENC_TUNING_INFO tuning) {
  const bool lossless = IsLosslessPreset(preset) || tuning == NV_ENC_TUNING_INFO_LOSSLESS;
  NV_ENC_CONFIG config{};
  config.version = api | ConfigStructNumber(api) << 16 | 0xF0000000U;
  config.profileGUID = NV_ENC_CODEC_PROFILE_AUTOSELECT_GUID;
  config.gopLength = 30;
  config.frameIntervalP = PresetInterval(settings, hevc, preset, tuning);
  config.frameFieldMode = NV_ENC_PARAMS_FRAME_FIELD_MODE_FRAME;
  config.mvPrecision = NV_ENC_MV_PRECISION_QUARTER_PEL;
  config.rcParams.version = api | 1U << 16 | 0x70000000U;
  config.rcParams.rateControlMode = lossless ? NV_ENC_PARAMS_RC_CONSTQP : NV_ENC_PARAMS_RC_VBR;
  config.rcParams.averageBitRate = lossless ? 0 : 3000000;
  if (hevc) {
    SetHevc(&config.encodeCodecConfig.hevcConfig);
  } else {
    SetH264(lossless, &config.encodeCodecConfig.h264Config);
  }
  return config;
}

}  // namespace xv::vendor
