#include "hw/nvenc/nvenc_settings.h"

#include <algorithm>
#include <cstdlib>

#include "hw/frame_rate.h"
#include "hw/nvenc/nvenc_attributes.h"
#include "hw/nvenc/nvenc_limits.h"
#include "hw/nvenc/nvenc_rows.h"

namespace xv {
namespace {

using namespace nvenc;

constexpr std::uint32_t kRoomyWidth = 4096;
constexpr std::uint32_t kRoomyHeight = 2160;

std::uint32_t Aligned(std::uint32_t size) { return (size + 31) & ~31u; }

// What stands where neither preset nor attribute says otherwise.
void SetH264Defaults(NV_ENC_CONFIG_H264& h264) {
  h264.chromaFormatIDC = 1;
  h264.sliceMode = 3;
  h264.bdirectMode = NV_ENC_H264_BDIRECT_MODE_DISABLE;
}

void SetHevcDefaults(NV_ENC_CONFIG_HEVC& hevc) {
  hevc.minCUSize = NV_ENC_HEVC_CUSIZE_32x32;
  hevc.maxCUSize = NV_ENC_HEVC_CUSIZE_32x32;
  hevc.chromaFormatIDC = 1;
  hevc.sliceMode = 3;
  hevc.outputBufferingPeriodSEI = 1;
  hevc.outputPictureTimingSEI = 1;
  hevc.outputAUD = 1;
  hevc.enableLTR = 1;
  hevc.repeatSPSPPS = 1;
  hevc.enableIntraRefresh = 1;
}

NV_ENC_CONFIG DefaultConfig(bool hevc) {
  NV_ENC_CONFIG config{};
  config.profileGUID = NV_ENC_CODEC_PROFILE_AUTOSELECT_GUID;
  config.gopLength = 30;
  config.frameIntervalP = 8;
  config.frameFieldMode = NV_ENC_PARAMS_FRAME_FIELD_MODE_FRAME;
  config.mvPrecision = NV_ENC_MV_PRECISION_QUARTER_PEL;
  config.rcParams.rateControlMode = NV_ENC_PARAMS_RC_CBR;
  if (hevc) {
    SetHevcDefaults(config.encodeCodecConfig.hevcConfig);
  } else {
    SetH264Defaults(config.encodeCodecConfig.h264Config);
  }
  return config;
}

NV_ENC_INITIALIZE_PARAMS BasicParams(const NvencSettingsRequest& request) {
  const XV_VID_PROPS& vid = request.vid;
  NV_ENC_INITIALIZE_PARAMS params{};
  params.version = InitializeVersion(request.api);
  params.encodeGUID = request.hevc ? NV_ENC_CODEC_HEVC_GUID : NV_ENC_CODEC_H264_GUID;
  params.presetGUID = request.preset.preset.guid;
  params.tuningInfo = request.preset.preset.tuning;
  params.encodeWidth = static_cast<std::uint32_t>(vid.nWidth);
  params.encodeHeight = static_cast<std::uint32_t>(EncodedHeight(vid.nHeight));
  if (vid.nAspectX > 0 && vid.nAspectY > 0) {
    params.darWidth = static_cast<std::uint32_t>(vid.nAspectX);
    params.darHeight = static_cast<std::uint32_t>(vid.nAspectY);
  }
  if (const HwRate rate = HwFrameRate(vid.dblRate); rate.numerator > 0) {
    params.frameRateNum = rate.numerator;
    params.frameRateDen = rate.denominator;
  }
  // Linux has no events of the encoder: the session is asked.
  params.enableEncodeAsync = 0;
  params.enablePTD = 1;
  return params;
}

void ReadDynamicResolution(NvencReader& reader, NV_ENC_INITIALIZE_PARAMS& params) {
  if (!reader.Get(kDynamicResolution)) return;
  params.maxEncodeWidth = std::max(params.encodeWidth, kRoomyWidth);
  params.maxEncodeHeight = std::max(params.encodeHeight, kRoomyHeight);
}

// The field order is the source's; of a progressive source it is the one that was asked for.
void ReadFieldMode(NvencReader& reader, const NvencSettingsRequest& request,
                   NvencSettings& settings) {
  const std::uint32_t source = request.vid.eInterlace;
  settings.fieldOrder = source == eXvI_TopFirst ? 1 : source == eXvI_BottomFirst ? -1 : 0;
  settings.config.frameFieldMode = NV_ENC_PARAMS_FRAME_FIELD_MODE_FRAME;
  if (request.hevc || request.preset.Lossless()) return;
  enum { kAuto, kTop, kBottom, kProgressive };
  const int index = reader.Get(kInterlace);
  if (index == kAuto ? settings.fieldOrder == 0 : index == kProgressive) return;
  settings.config.frameFieldMode = NV_ENC_PARAMS_FRAME_FIELD_MODE_FIELD;
  if (settings.fieldOrder == 0) settings.fieldOrder = index == kTop ? 1 : -1;
}

void ReadRows(NvencReader& reader, const NvencSettingsRequest& request, NvencSettings& settings) {
  const bool rules = request.preset.Rules();
  ReadDynamicResolution(reader, settings.params);
  if (request.hevc) {
    ReadHevcRows(reader, rules, settings.config);
  } else {
    ReadH264Rows(reader, rules, request.abilities, settings.config);
  }
  ReadFieldMode(reader, request, settings);
  const bool bluRay = rules && request.preset.word == kPresetBluRay;
  if (!bluRay && !request.preset.Lossless()) ReadRateRows(reader, settings.config);
}

}  // namespace

int EncodedHeight(int height) {
  const int lines = std::abs(height);
  return lines == 486 ? 480 : lines;
}

std::uint32_t NvencSettings::BufferWidth() const {
  return Aligned(std::max(params.maxEncodeWidth, params.encodeWidth));
}

std::uint32_t NvencSettings::BufferHeight() const {
  const std::uint32_t height = std::max(params.maxEncodeHeight, params.encodeHeight);
  return Aligned(height == 486 ? 480 : height);
}

std::size_t NvencSettings::RingSize() const {
  return static_cast<std::size_t>(std::max(config.frameIntervalP, 4));
}

int NvencSettings::DecodingDelay() const { return std::max(config.frameIntervalP + 1, 0); }

NvencSettings MakeNvencSettings(const NvencSettingsRequest& request, NvencReader& reader) {
  NvencSettings settings;
  settings.params = BasicParams(request);
  settings.config = request.preset.listed ? request.preset.config : DefaultConfig(request.hevc);
  settings.config.version = ConfigVersion(request.api);
  ReadRows(reader, request, settings);
  BringDown(reader, request, settings);
  return settings;
}

}  // namespace xv
