#include "hw/nvenc/nvenc_limits.h"

#include <algorithm>
#include <string>

#include "hw/nvenc/nvenc_attributes.h"

namespace xv {
namespace {

using namespace nvenc;

// More than any encoder makes, where the driver does not tell: each takes memory.
constexpr int kMostBPictures = 63;

void LimitBPictures(NvencReader& reader, const NvencAbilities& abilities, NV_ENC_CONFIG& config) {
  const int asked = config.frameIntervalP - 1;
  const int told = abilities.Of(NV_ENC_CAPS_NUM_MAX_BFRAMES);
  if (const int most = told < 0 ? kMostBPictures : told; asked > most) {
    const std::string number = std::to_string(most);
    reader.Adjust(kBPictures, std::to_string(asked),
                  most == 0 ? "the encoder makes no B pictures"
                            : "the encoder makes " + number + " B pictures in a row: " + number +
                                  " are used");
    config.frameIntervalP = most + 1;
  }
  if (config.frameIntervalP <= 1) return;
  const bool endless = config.gopLength == NVENC_INFINITE_GOPLENGTH;
  const std::uint32_t pictures = endless ? 1 : config.gopLength;
  if (pictures == 0 || static_cast<std::uint32_t>(config.frameIntervalP) <= pictures) return;
  reader.Adjust(kBPictures, std::to_string(config.frameIntervalP - 1),
                endless ? "not without key frames: none are used" : "more than g has room for");
  config.frameIntervalP = static_cast<std::int32_t>(pictures);
}

void LimitFields(NvencReader& reader, const NvencAbilities& abilities, NV_ENC_CONFIG& config) {
  if (config.frameFieldMode == NV_ENC_PARAMS_FRAME_FIELD_MODE_FRAME) return;
  if (!abilities.Lacks(NV_ENC_CAPS_SUPPORT_FIELD_ENCODING)) return;
  reader.Adjust(kInterlace, "the encoder has no fields: pictures are coded as frames");
  config.frameFieldMode = NV_ENC_PARAMS_FRAME_FIELD_MODE_FRAME;
}

void LimitMvPrecision(NvencReader& reader, const NvencAbilities& abilities, NV_ENC_CONFIG& config) {
  if (config.mvPrecision != NV_ENC_MV_PRECISION_QUARTER_PEL) return;
  if (!abilities.Lacks(NV_ENC_CAPS_SUPPORT_QPELMV)) return;
  reader.Adjust(kMvPrecision, "the encoder has no quarters: halves are used");
  config.mvPrecision = NV_ENC_MV_PRECISION_HALF_PEL;
}

// Levels are numbers of their codec; 0 leaves them to the encoder.
void LimitLevel(NvencReader& reader, const NvencAbilities& abilities, const AttributeRow& key,
                std::uint32_t& level) {
  const int least = abilities.Of(NV_ENC_CAPS_LEVEL_MIN);
  const int most = abilities.Of(NV_ENC_CAPS_LEVEL_MAX);
  const int asked = static_cast<int>(level);
  int used = asked;
  if (least > 0) used = std::max(used, least);
  if (most > 0) used = std::min(used, most);
  if (asked == 0 || used == asked) return;
  reader.Adjust(key,
                "the encoder has other levels: its number " + std::to_string(used) + " is used");
  level = static_cast<std::uint32_t>(used);
}

void LimitRate(NvencReader& reader, const NvencAbilities& abilities, NV_ENC_RC_PARAMS& rate) {
  const int modes = abilities.Of(NV_ENC_CAPS_SUPPORTED_RATECONTROL_MODES);
  const int mode = rate.rateControlMode;
  if (modes > 0 && mode != NV_ENC_PARAMS_RC_CONSTQP && (modes & mode) != mode) {
    const bool variable = (modes & NV_ENC_PARAMS_RC_VBR) != 0;
    reader.Adjust(kRateControl, variable ? "the encoder lacks it: vbr is used"
                                         : "the encoder lacks it: cbr is used");
    rate.rateControlMode = variable ? NV_ENC_PARAMS_RC_VBR : NV_ENC_PARAMS_RC_CBR;
  }
  if (rate.vbvBufferSize == 0 && rate.vbvInitialDelay == 0) return;
  if (!abilities.Lacks(NV_ENC_CAPS_SUPPORT_CUSTOM_VBV_BUF_SIZE)) return;
  reader.Adjust(kVbvSize, std::to_string(rate.vbvBufferSize),
                "the encoder chooses the size of the buffer");
  rate.vbvBufferSize = 0;
  rate.vbvInitialDelay = 0;
}

// What both codecs have under the same names.
template <class Codec>
void LimitCommonTools(NvencReader& reader, const NvencAbilities& abilities,
                      const NV_ENC_CONFIG& config, Codec& codec) {
  if (codec.enableIntraRefresh && abilities.Lacks(NV_ENC_CAPS_SUPPORT_INTRA_REFRESH)) {
    reader.Adjust(kIntraRefreshCount, "the encoder has no intra refresh");
    codec.enableIntraRefresh = 0;
  }
  constexpr std::uint32_t kBytes = 1;
  if (codec.sliceMode == kBytes && abilities.Lacks(NV_ENC_CAPS_SUPPORT_DYNAMIC_SLICE_MODE)) {
    reader.Adjust(kSliceMode, "the encoder has no slices by bytes: one slice is used");
    codec.sliceMode = 3;
    codec.sliceModeData = 1;
  }
  if (codec.enableLTR && config.frameIntervalP > 1) {
    reader.Adjust(kLtr, "1", "not together with B pictures");
    codec.enableLTR = 0;
  }
  if (codec.enableLTR && abilities.Lacks(NV_ENC_CAPS_NUM_MAX_LTR_FRAMES)) {
    reader.Adjust(kLtr, "1", "the encoder has no long-term references");
    codec.enableLTR = 0;
  }
  const int most = abilities.Of(NV_ENC_CAPS_NUM_MAX_LTR_FRAMES);
  if (most < 0 || codec.ltrNumFrames <= static_cast<std::uint32_t>(most)) return;
  reader.Adjust(kLtrFrames, "the encoder has " + std::to_string(most));
  codec.ltrNumFrames = static_cast<std::uint32_t>(most);
}

// 1 where the profile asks for what the adapter lacks.
void LimitProfile(NvencReader& reader, const NvencAbilities& abilities, NV_ENC_CONFIG& config) {
  const bool stereo = SameGuid(config.profileGUID, NV_ENC_H264_PROFILE_STEREO_GUID) &&
                      abilities.Lacks(NV_ENC_CAPS_SUPPORT_STEREO_MVC);
  const bool full = SameGuid(config.profileGUID, NV_ENC_H264_PROFILE_HIGH_444_GUID) &&
                    abilities.Lacks(NV_ENC_CAPS_SUPPORT_YUV444_ENCODE) &&
                    abilities.Lacks(NV_ENC_CAPS_SUPPORT_LOSSLESS_ENCODE);
  if (!stereo && !full) return;
  reader.Adjust(kProfile, "the encoder lacks it and chooses itself");
  config.profileGUID = NV_ENC_CODEC_PROFILE_AUTOSELECT_GUID;
}

void LimitLayers(NvencReader& reader, const NvencAbilities& abilities, NV_ENC_CONFIG_H264& h264) {
  constexpr const char* kLacks = "the encoder lacks it";
  if (h264.enableTemporalSVC && abilities.Lacks(NV_ENC_CAPS_SUPPORT_TEMPORAL_SVC)) {
    reader.Adjust(kTemporalSvc, kLacks);
    h264.enableTemporalSVC = 0;
  }
  if (h264.hierarchicalPFrames && abilities.Lacks(NV_ENC_CAPS_SUPPORT_HIERARCHICAL_PFRAMES)) {
    reader.Adjust(kHierarchicalP, kLacks);
    h264.hierarchicalPFrames = 0;
  }
  if (h264.hierarchicalBFrames && abilities.Lacks(NV_ENC_CAPS_SUPPORT_HIERARCHICAL_BFRAMES)) {
    reader.Adjust(kHierarchicalB, kLacks);
    h264.hierarchicalBFrames = 0;
  }
  const int most = abilities.Of(NV_ENC_CAPS_NUM_MAX_TEMPORAL_LAYERS);
  if (most < 0 || h264.numTemporalLayers <= static_cast<std::uint32_t>(most)) return;
  reader.Adjust(kTemporalLayers, "the encoder has " + std::to_string(most));
  h264.numTemporalLayers = static_cast<std::uint32_t>(most);
}

void LimitH264(NvencReader& reader, const NvencAbilities& abilities, NV_ENC_CONFIG& config) {
  NV_ENC_CONFIG_H264& h264 = config.encodeCodecConfig.h264Config;
  LimitProfile(reader, abilities, config);
  LimitLevel(reader, abilities, kLevel264, h264.level);
  LimitLayers(reader, abilities, h264);
  if (h264.entropyCodingMode == NV_ENC_H264_ENTROPY_CODING_MODE_CABAC &&
      abilities.Lacks(NV_ENC_CAPS_SUPPORT_CABAC)) {
    reader.Adjust(kDisableCabac, "the encoder has no CABAC: CAVLC is used");
    h264.entropyCodingMode = NV_ENC_H264_ENTROPY_CODING_MODE_CAVLC;
  }
  if (h264.separateColourPlaneFlag && abilities.Lacks(NV_ENC_CAPS_SEPARATE_COLOUR_PLANE)) {
    reader.Adjust(kSeparatePlanes, "the encoder lacks it");
    h264.separateColourPlaneFlag = 0;
  }
  // A consequence of B pictures, not an attribute.
  if (h264.bdirectMode > NV_ENC_H264_BDIRECT_MODE_DISABLE &&
      abilities.Lacks(NV_ENC_CAPS_SUPPORT_BDIRECT_MODE)) {
    h264.bdirectMode = NV_ENC_H264_BDIRECT_MODE_DISABLE;
  }
}

void LimitRoom(NvencReader& reader, const NvencAbilities& abilities,
               NV_ENC_INITIALIZE_PARAMS& params) {
  if (params.maxEncodeWidth == 0) return;
  if (abilities.Lacks(NV_ENC_CAPS_SUPPORT_DYN_RES_CHANGE)) {
    reader.Adjust(kDynamicResolution, "the encoder keeps to one size");
    params.maxEncodeWidth = params.maxEncodeHeight = 0;
    return;
  }
  const auto most = [&](NV_ENC_CAPS ability, std::uint32_t size) {
    const int value = abilities.Of(ability);
    return value > 0 ? std::min(size, static_cast<std::uint32_t>(value)) : size;
  };
  const std::uint32_t width = most(NV_ENC_CAPS_WIDTH_MAX, params.maxEncodeWidth);
  const std::uint32_t height = most(NV_ENC_CAPS_HEIGHT_MAX, params.maxEncodeHeight);
  if (width == params.maxEncodeWidth && height == params.maxEncodeHeight) return;
  reader.Adjust(kDynamicResolution,
                "the encoder has room for " + std::to_string(width) + "x" + std::to_string(height));
  params.maxEncodeWidth = width;
  params.maxEncodeHeight = height;
}

}  // namespace

void BringDown(NvencReader& reader, const NvencSettingsRequest& request, NvencSettings& settings) {
  const NvencAbilities& abilities = request.abilities;
  NV_ENC_CONFIG& config = settings.config;
  if (IsLosslessWord(request.preset.word) && !request.preset.listed) {
    reader.Adjust(kPreset, "the encoder has no lossless preset: pictures lose");
  } else if (request.preset.word > 0 && !request.preset.listed) {
    reader.Adjust(kPreset, "the encoder does not have it: the default is used");
  }
  LimitBPictures(reader, abilities, config);
  LimitFields(reader, abilities, config);
  LimitMvPrecision(reader, abilities, config);
  LimitRate(reader, abilities, config.rcParams);
  LimitRoom(reader, abilities, settings.params);
  if (request.hevc) {
    NV_ENC_CONFIG_HEVC& hevc = config.encodeCodecConfig.hevcConfig;
    LimitLevel(reader, abilities, kLevelHevc, hevc.level);
    LimitCommonTools(reader, abilities, config, hevc);
  } else {
    LimitH264(reader, abilities, config);
    LimitCommonTools(reader, abilities, config, config.encodeCodecConfig.h264Config);
  }
}

}  // namespace xv
