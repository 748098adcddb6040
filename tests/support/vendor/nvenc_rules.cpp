#include "support/vendor/nvenc_rules.h"

#include <fmt/format.h>

#include <algorithm>

namespace xv::vendor {
namespace {

// A member, or a bit field, that must be zero.
#define XV_ZERO(rules, structure, member) \
  (rules).Zero(&(structure).member, sizeof(structure).member, #member)
#define XV_ZERO_BITS(rules, structure, member) \
  if ((structure).member != 0) (rules).Broke(#member " is not zero")

void CheckRates(const Rules& rules, const NV_ENC_RC_PARAMS& rate) {
  // A version is asked for nowhere, but nothing else may stand there.
  if (rate.version != 0) rules.Version(rate.version, 1, "NV_ENC_RC_PARAMS");
  XV_ZERO_BITS(rules, rate, reservedBitField1);
  XV_ZERO_BITS(rules, rate, reservedBitFields);
  XV_ZERO(rules, rate, reserved1);
  XV_ZERO(rules, rate, reserved2);
  XV_ZERO(rules, rate, reserved);
  if (rules.Since(10)) return;
  XV_ZERO(rules, rate, qpMapMode);
  XV_ZERO(rules, rate, multiPass);
  XV_ZERO(rules, rate, alphaLayerBitrateRatio);
  XV_ZERO(rules, rate, cbQPIndexOffset);
  XV_ZERO(rules, rate, crQPIndexOffset);
  XV_ZERO(rules, rate, lowDelayKeyFrameScale);
}

void CheckH264(const Rules& rules, const NV_ENC_CONFIG_H264& h264) {
  XV_ZERO_BITS(rules, h264, reservedBitFields);
  XV_ZERO(rules, h264, h264VUIParameters.reserved);
  XV_ZERO(rules, h264, reserved1);
  XV_ZERO(rules, h264, reserved2);
  if (rules.Since(10)) return;
  XV_ZERO(rules, h264, useBFramesAsRef);
  XV_ZERO(rules, h264, numRefL0);
  XV_ZERO(rules, h264, numRefL1);
  XV_ZERO_BITS(rules, h264, enableFillerDataInsertion);
  XV_ZERO_BITS(rules, h264, singleSliceIntraRefresh);
}

void CheckHevc(const Rules& rules, const NV_ENC_CONFIG_HEVC& hevc) {
  XV_ZERO_BITS(rules, hevc, reserved);
  XV_ZERO(rules, hevc, hevcVUIParameters.reserved);
  XV_ZERO(rules, hevc, reserved1);
  XV_ZERO(rules, hevc, reserved2);
  if (rules.Since(10)) return;
  XV_ZERO(rules, hevc, useBFramesAsRef);
  XV_ZERO(rules, hevc, numRefL0);
  XV_ZERO(rules, hevc, numRefL1);
  XV_ZERO_BITS(rules, hevc, enableFillerDataInsertion);
  XV_ZERO_BITS(rules, hevc, singleSliceIntraRefresh);
}

void CheckInitializeZeros(const Rules& rules, const NV_ENC_INITIALIZE_PARAMS& params) {
  XV_ZERO_BITS(rules, params, reservedBitFields);
  XV_ZERO(rules, params, reserved);
  XV_ZERO(rules, params, reserved2);
  if (params.privDataSize != 0 || params.privData != nullptr) rules.Broke("private data");
  if (rules.Since(10)) return;
  XV_ZERO(rules, params, tuningInfo);
  XV_ZERO(rules, params, bufferFormat);
  XV_ZERO_BITS(rules, params, enableWeightedPrediction);
  XV_ZERO_BITS(rules, params, enableOutputInVidmem);
}

bool Listed(const std::vector<GUID>& list, const GUID& guid) {
  return std::any_of(list.begin(), list.end(), [&](const GUID& g) { return Same(g, guid); });
}

NVENCSTATUS CheckSize(const Settings& s, const NV_ENC_INITIALIZE_PARAMS& params) {
  const auto fits = [](std::uint32_t value, int least, int most) {
    return value >= static_cast<std::uint32_t>(least) && value <= static_cast<std::uint32_t>(most);
  };
  if (!fits(params.encodeWidth, 33, s.maxWidth) || !fits(params.encodeHeight, 17, s.maxHeight) ||
      params.encodeWidth % 2 != 0 || params.encodeHeight % 2 != 0) {
    return NV_ENC_ERR_INVALID_PARAM;
  }
  const bool most =
      params.maxEncodeWidth == 0 ||
      (fits(params.maxEncodeWidth, static_cast<int>(params.encodeWidth), s.maxWidth) &&
       fits(params.maxEncodeHeight, static_cast<int>(params.encodeHeight), s.maxHeight));
  if (!most || params.frameRateNum == 0 || params.frameRateDen == 0) {
    return NV_ENC_ERR_INVALID_PARAM;
  }
  return NV_ENC_SUCCESS;
}

NVENCSTATUS CheckAbilities(const Settings& s, bool hevc, const NV_ENC_CONFIG& config) {
  if (!Listed(OfferedProfiles(s, hevc), config.profileGUID)) return NV_ENC_ERR_UNSUPPORTED_PARAM;
  const bool fields = config.frameFieldMode != NV_ENC_PARAMS_FRAME_FIELD_MODE_FRAME;
  if (config.frameFieldMode < 1 || config.frameFieldMode > 3) return NV_ENC_ERR_INVALID_PARAM;
  if (fields && (hevc || !s.fields)) return NV_ENC_ERR_UNSUPPORTED_PARAM;
  if (config.frameIntervalP < 0 || config.mvPrecision > NV_ENC_MV_PRECISION_QUARTER_PEL) {
    return NV_ENC_ERR_INVALID_PARAM;
  }
  if (config.frameIntervalP - 1 > (hevc ? s.hevcBFrames : s.bFrames)) {
    return NV_ENC_ERR_INVALID_PARAM;
  }
  if (!HasRateMode(s, config.rcParams.rateControlMode)) return NV_ENC_ERR_UNSUPPORTED_PARAM;
  return NV_ENC_SUCCESS;
}

NVENCSTATUS CheckConfig(const Rules& rules, const Settings& s, std::uint32_t api, bool hevc,
                        const NV_ENC_CONFIG& config) {
  if (!rules.Version(config.version, ConfigStructNumber(api), "NV_ENC_CONFIG", true)) {
    return NV_ENC_ERR_INVALID_VERSION;
  }
  XV_ZERO(rules, config, reserved);
  XV_ZERO(rules, config, reserved2);
  CheckRates(rules, config.rcParams);
  if (hevc) {
    CheckHevc(rules, config.encodeCodecConfig.hevcConfig);
  } else {
    CheckH264(rules, config.encodeCodecConfig.h264Config);
  }
  return CheckAbilities(s, hevc, config);
}

NVENCSTATUS CheckPreset(const Rules& rules, const Settings& s,
                        const NV_ENC_INITIALIZE_PARAMS& params) {
  if (!Listed(OfferedPresets(s), params.presetGUID)) return NV_ENC_ERR_UNSUPPORTED_PARAM;
  const bool tuned = params.tuningInfo != NV_ENC_TUNING_INFO_UNDEFINED;
  if (tuned != IsOldPreset(params.presetGUID)) return NV_ENC_SUCCESS;
  rules.Broke(tuned ? "tuningInfo with a preset of old" : "no tuningInfo with a preset P1 to P7");
  return NV_ENC_ERR_INVALID_PARAM;
}

void CheckPicH264(const Rules& rules, const NV_ENC_PIC_PARAMS_H264& h264) {
  XV_ZERO(rules, h264, reserved3);
  XV_ZERO_BITS(rules, h264, reservedBitFields);
  XV_ZERO(rules, h264, reserved);
  XV_ZERO(rules, h264, reserved2);
}

void CheckPicHevc(const Rules& rules, const NV_ENC_PIC_PARAMS_HEVC& hevc) {
  XV_ZERO(rules, hevc, reserved);
  XV_ZERO_BITS(rules, hevc, reservedBitFields);
  XV_ZERO(rules, hevc, reserved2);
  XV_ZERO(rules, hevc, reserved3);
}

}  // namespace

void Rules::Broke(const std::string& text) const {
  Ledger::Get().Broke(fmt::format("{}: {}", call_, text));
}

bool Rules::Version(std::uint32_t got, unsigned number, const char* structure,
                    bool extended) const {
  const std::uint32_t right = api_ | number << 16 | 0x70000000U | (extended ? 0x80000000U : 0);
  if (got == right) return true;
  Broke(fmt::format("version {:#x} of {}, not {:#x}", got, structure, right));
  return false;
}

void Rules::Zero(const void* data, std::size_t bytes, const char* member) const {
  const auto* at = static_cast<const unsigned char*>(data);
  if (std::any_of(at, at + bytes, [](unsigned char b) { return b != 0; })) {
    Broke(fmt::format("{} is not zero", member));
  }
}

NVENCSTATUS CheckInitialize(const Rules& rules, const Settings& s, std::uint32_t api,
                            const NV_ENC_INITIALIZE_PARAMS& params) {
  if (!rules.Version(params.version, 5, "NV_ENC_INITIALIZE_PARAMS", true)) {
    return NV_ENC_ERR_INVALID_VERSION;
  }
  CheckInitializeZeros(rules, params);
  if (params.enableEncodeAsync != 0) {
    rules.Broke("enableEncodeAsync, which only Windows has");
    return NV_ENC_ERR_INVALID_PARAM;
  }
  if (params.enablePTD != 1) return NV_ENC_ERR_UNSUPPORTED_PARAM;
  if (!Listed(OfferedCodecs(s), params.encodeGUID)) return NV_ENC_ERR_UNSUPPORTED_PARAM;
  if (const NVENCSTATUS size = CheckSize(s, params); size != NV_ENC_SUCCESS) return size;
  if (const NVENCSTATUS preset = CheckPreset(rules, s, params); preset != NV_ENC_SUCCESS) {
    return preset;
  }
  const bool hevc = Same(params.encodeGUID, NV_ENC_CODEC_HEVC_GUID);
  return params.encodeConfig == nullptr ? NV_ENC_SUCCESS
                                        : CheckConfig(rules, s, api, hevc, *params.encodeConfig);
}

NVENCSTATUS CheckPicture(const Rules& rules, bool hevc, const NV_ENC_PIC_PARAMS& picture) {
  if (!rules.Version(picture.version, 4, "NV_ENC_PIC_PARAMS", true)) {
    return NV_ENC_ERR_INVALID_VERSION;
  }
  XV_ZERO(rules, picture, reserved1);
  XV_ZERO(rules, picture, reserved2);
  XV_ZERO(rules, picture, reserved3);
  XV_ZERO(rules, picture, reserved4);
  XV_ZERO(rules, picture, reservedBitFields);
  XV_ZERO(rules, picture, alphaBuffer);
  if (picture.completionEvent != nullptr) rules.Broke("a completion event without async mode");
  if ((picture.encodePicFlags & ~0xFU) != 0) rules.Broke("unknown picture flags");
  if (hevc) {
    CheckPicHevc(rules, picture.codecPicParams.hevcPicParams);
  } else {
    CheckPicH264(rules, picture.codecPicParams.h264PicParams);
  }
  return NV_ENC_SUCCESS;
}

NVENCSTATUS CheckCreateInput(const Rules& rules, const NV_ENC_CREATE_INPUT_BUFFER& buffer) {
  if (!rules.Version(buffer.version, 1, "NV_ENC_CREATE_INPUT_BUFFER")) {
    return NV_ENC_ERR_INVALID_VERSION;
  }
  XV_ZERO(rules, buffer, reserved);
  XV_ZERO(rules, buffer, reserved1);
  XV_ZERO(rules, buffer, reserved2);
  XV_ZERO(rules, buffer, pSysMemBuffer);
  return NV_ENC_SUCCESS;
}

NVENCSTATUS CheckCreateOutput(const Rules& rules, const NV_ENC_CREATE_BITSTREAM_BUFFER& buffer) {
  if (!rules.Version(buffer.version, 1, "NV_ENC_CREATE_BITSTREAM_BUFFER")) {
    return NV_ENC_ERR_INVALID_VERSION;
  }
  XV_ZERO(rules, buffer, reserved);
  XV_ZERO(rules, buffer, reserved1);
  XV_ZERO(rules, buffer, reserved2);
  return NV_ENC_SUCCESS;
}

NVENCSTATUS CheckLockInput(const Rules& rules, const NV_ENC_LOCK_INPUT_BUFFER& lock) {
  if (!rules.Version(lock.version, 1, "NV_ENC_LOCK_INPUT_BUFFER")) {
    return NV_ENC_ERR_INVALID_VERSION;
  }
  XV_ZERO_BITS(rules, lock, reservedBitFields);
  XV_ZERO(rules, lock, reserved1);
  XV_ZERO(rules, lock, reserved2);
  return NV_ENC_SUCCESS;
}

NVENCSTATUS CheckLockOutput(const Rules& rules, const NV_ENC_LOCK_BITSTREAM& lock) {
  if (!rules.Version(lock.version, 1, "NV_ENC_LOCK_BITSTREAM")) return NV_ENC_ERR_INVALID_VERSION;
  XV_ZERO_BITS(rules, lock, reservedBitFields);
  XV_ZERO(rules, lock, reserved);
  XV_ZERO(rules, lock, reserved1);
  XV_ZERO(rules, lock, reserved2);
  return NV_ENC_SUCCESS;
}

NVENCSTATUS CheckSequence(const Rules& rules, const NV_ENC_SEQUENCE_PARAM_PAYLOAD& payload) {
  if (!rules.Version(payload.version, 1, "NV_ENC_SEQUENCE_PARAM_PAYLOAD")) {
    return NV_ENC_ERR_INVALID_VERSION;
  }
  XV_ZERO(rules, payload, reserved);
  XV_ZERO(rules, payload, reserved2);
  const bool complete = payload.spsppsBuffer != nullptr && payload.outSPSPPSPayloadSize != nullptr;
  return complete ? NV_ENC_SUCCESS : NV_ENC_ERR_INVALID_PTR;
}

NVENCSTATUS CheckOpen(const Rules& rules, const NV_ENC_OPEN_ENCODE_SESSION_EX_PARAMS& params) {
  if (!rules.Version(params.version, 1, "NV_ENC_OPEN_ENCODE_SESSION_EX_PARAMS")) {
    return NV_ENC_ERR_INVALID_VERSION;
  }
  XV_ZERO(rules, params, reserved);
  XV_ZERO(rules, params, reserved1);
  XV_ZERO(rules, params, reserved2);
  if (params.deviceType != NV_ENC_DEVICE_TYPE_CUDA) return NV_ENC_ERR_UNSUPPORTED_DEVICE;
  if (Ledger::Get().ContextLives(params.device)) return NV_ENC_SUCCESS;
  rules.Broke("the device is no CUDA context that lives");
  return NV_ENC_ERR_INVALID_DEVICE;
}

}  // namespace xv::vendor
