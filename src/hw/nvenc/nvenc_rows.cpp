#include "hw/nvenc/nvenc_rows.h"

#include <algorithm>
#include <cstdint>
#include <limits>

#include "base/text.h"
#include "hw/nvenc/nvenc_attributes.h"

namespace xv {
namespace {

using namespace nvenc;

std::uint32_t Unsigned(std::int32_t value) { return static_cast<std::uint32_t>(value); }

std::uint32_t Bits(std::int64_t value) {
  constexpr std::int64_t kMost = std::numeric_limits<std::uint32_t>::max();
  return static_cast<std::uint32_t>(std::clamp<std::int64_t>(value, 0, kMost));
}

// A number where the attribute is there.
void Fill(NvencReader& reader, const Attribute<std::int32_t>& key, std::uint32_t& field) {
  if (const auto value = reader.Find(key)) field = Unsigned(std::max(*value, 0));
}

void Fill(NvencReader& reader, const Attribute<Rate>& key, std::uint32_t& field) {
  if (const auto value = reader.Find(key)) field = Bits(*value);
}

// What both codecs have under the same names, in structures of their own.
template <class Codec>
void ReadCommonRows(NvencReader& reader, bool rules, NV_ENC_CONFIG& config, Codec& codec) {
  codec.repeatSPSPPS = !reader.Get(kDisableSpsPps);
  if (const auto gop = reader.Find(kGop)) {
    config.gopLength = Unsigned(std::max(*gop, -1));
    codec.idrPeriod = config.gopLength;
  }
  if (const auto pictures = reader.Find(kBPictures)) {
    constexpr int kMost = std::numeric_limits<std::int32_t>::max() - 2;
    config.frameIntervalP = std::clamp(*pictures, -1, kMost) + 1;
  }
  if (const int precision = reader.Get(kMvPrecision); precision > 0) {
    config.mvPrecision = static_cast<NV_ENC_MV_PRECISION>(precision);
  }
  Fill(reader, kIdrPeriod, codec.idrPeriod);
  Fill(reader, kLtrFrames, codec.ltrNumFrames);
  codec.outputBufferingPeriodSEI = reader.Get(kBufferingSei);
  codec.outputPictureTimingSEI = reader.Get(kTimingSei);
  codec.outputAUD = reader.Get(kAud);
  if (rules) return;
  if (const int mode = reader.Get(kSliceMode); mode > 0) codec.sliceMode = Unsigned(mode - 1);
  Fill(reader, kSliceModeData, codec.sliceModeData);
  codec.intraRefreshPeriod = Unsigned(std::max(reader.Get(kIntraRefreshPeriod), 0));
  codec.intraRefreshCnt =
      std::min(Unsigned(std::max(reader.Get(kIntraRefreshCount), 0)), codec.intraRefreshPeriod);
  codec.enableIntraRefresh = codec.intraRefreshCnt > 0;
}

// "4.1" in tenths; 0 for a text that is no level.
std::uint32_t LevelTenths(const std::string& text) {
  if (!IsHevcLevel(text)) return 0;
  return static_cast<std::uint32_t>(text[0] - '0') * 10 + static_cast<std::uint32_t>(text[2] - '0');
}

const GUID* ProfileGuid(int index) {
  static const GUID* const kProfiles[] = {nullptr,
                                          &NV_ENC_H264_PROFILE_BASELINE_GUID,
                                          &NV_ENC_H264_PROFILE_MAIN_GUID,
                                          &NV_ENC_H264_PROFILE_HIGH_GUID,
                                          &NV_ENC_H264_PROFILE_STEREO_GUID,
                                          &NV_ENC_H264_PROFILE_HIGH_444_GUID};
  return kProfiles[index];
}

void ReadH264ProfileAndLevel(NvencReader& reader, NV_ENC_CONFIG& config) {
  if (const GUID* profile = ProfileGuid(reader.Get(kProfile))) config.profileGUID = *profile;
  auto& level = config.encodeCodecConfig.h264Config.level;
  const std::string text = reader.Get(kLevel264);
  if (text == "1.0b") level = NV_ENC_LEVEL_H264_1b;
  if (const std::uint32_t tenths = LevelTenths(text)) level = tenths;
}

NV_ENC_H264_ENTROPY_CODING_MODE EntropyCoding(bool noCabac, const GUID& profile) {
  if (noCabac) return NV_ENC_H264_ENTROPY_CODING_MODE_CAVLC;
  return SameGuid(profile, NV_ENC_H264_PROFILE_BASELINE_GUID)
             ? NV_ENC_H264_ENTROPY_CODING_MODE_AUTOSELECT
             : NV_ENC_H264_ENTROPY_CODING_MODE_CABAC;
}

// A tool that only some adapters have: nothing where it is absent, or the adapter lacks it.
std::optional<bool> FindTool(NvencReader& reader, const Attribute<bool>& key,
                             const NvencAbilities& abilities, NV_ENC_CAPS ability) {
  const auto value = reader.Find(key);
  if (!value || abilities.Has(ability)) return value;
  reader.Adjust(key, "the adapter does not have it: left to the preset");
  return std::nullopt;
}

void ReadH264Tools(NvencReader& reader, const NvencAbilities& abilities, NV_ENC_CONFIG_H264& h264) {
  if (const auto on =
          FindTool(reader, kConstrained, abilities, NV_ENC_CAPS_SUPPORT_CONSTRAINED_ENCODING)) {
    h264.enableConstrainedEncoding = *on;
  }
  if (const auto on =
          FindTool(reader, kTransform8x8, abilities, NV_ENC_CAPS_SUPPORT_ADAPTIVE_TRANSFORM)) {
    h264.adaptiveTransformMode =
        *on ? NV_ENC_H264_ADAPTIVE_TRANSFORM_ENABLE : NV_ENC_H264_ADAPTIVE_TRANSFORM_DISABLE;
  }
  if (const auto on = FindTool(reader, kFmo, abilities, NV_ENC_CAPS_SUPPORT_FMO)) {
    h264.fmoMode = *on ? NV_ENC_H264_FMO_ENABLE : NV_ENC_H264_FMO_DISABLE;
  }
}

void ReadLayers(NvencReader& reader, NV_ENC_CONFIG_H264& h264) {
  if (const auto on = reader.Find(kTemporalSvc)) h264.enableTemporalSVC = *on;
  if (const auto on = reader.Find(kHierarchicalP)) h264.hierarchicalPFrames = *on;
  if (const auto on = reader.Find(kHierarchicalB)) h264.hierarchicalBFrames = *on;
  Fill(reader, kTemporalLayers, h264.numTemporalLayers);
  Fill(reader, kRefFrames, h264.maxNumRefFrames);
  Fill(reader, kLtrTrust, h264.ltrTrustMode);
}

using QpKey = Attribute<std::int32_t>;

void ReadQps(NvencReader& reader, const QpKey& intra, const QpKey& inter, const QpKey& both,
             NV_ENC_QP& qps) {
  Fill(reader, intra, qps.qpIntra);
  Fill(reader, inter, qps.qpInterP);
  Fill(reader, both, qps.qpInterB);
}

}  // namespace

void ReadH264Rows(NvencReader& reader, bool rules, const NvencAbilities& abilities,
                  NV_ENC_CONFIG& config) {
  NV_ENC_CONFIG_H264& h264 = config.encodeCodecConfig.h264Config;
  ReadCommonRows(reader, rules, config, h264);
  if (!rules) ReadH264ProfileAndLevel(reader, config);
  h264.disableDeblockingFilterIDC = Unsigned(std::clamp(reader.Get(kDeblock264), 0, 2));
  h264.entropyCodingMode = EntropyCoding(reader.Get(kDisableCabac), config.profileGUID);
  if (const auto apart = reader.Find(kSeparatePlanes)) h264.separateColourPlaneFlag = *apart;
  ReadLayers(reader, h264);
  ReadH264Tools(reader, abilities, h264);
  h264.outputFramePackingSEI = reader.Get(kPackingSei);
  h264.outputRecoveryPointSEI = reader.Get(kRecoverySei);
  if (reader.Find(kBPictures)) h264.bdirectMode = NV_ENC_H264_BDIRECT_MODE_TEMPORAL;
}

void ReadHevcRows(NvencReader& reader, bool rules, NV_ENC_CONFIG& config) {
  NV_ENC_CONFIG_HEVC& hevc = config.encodeCodecConfig.hevcConfig;
  ReadCommonRows(reader, rules, config, hevc);
  if (!rules) {
    config.profileGUID = NV_ENC_HEVC_PROFILE_MAIN_GUID;
    if (const std::uint32_t tenths = LevelTenths(reader.Get(kLevelHevc))) hevc.level = tenths * 3;
  }
  const auto tier = reader.Find(kTier);
  hevc.tier = tier && !EqualsNoCase(*tier, "high") ? 1 : 0;
  hevc.disableDeblockAcrossSliceBoundary = !reader.Get(kDeblockHevc);
  if (const auto on = reader.Find(kConstrainedIntra)) hevc.useConstrainedIntraPred = *on;
  if (const auto on = reader.Find(kLtr)) hevc.enableLTR = *on;
  Fill(reader, kDpbFrames, hevc.maxNumRefFramesInDPB);
  Fill(reader, kMoreLayers, hevc.maxTemporalLayersMinus1);
}

void ReadRateRows(NvencReader& reader, NV_ENC_CONFIG& config) {
  constexpr int kModes[] = {NV_ENC_PARAMS_RC_VBR, NV_ENC_PARAMS_RC_CBR, NV_ENC_PARAMS_RC_VBR,
                            NV_ENC_PARAMS_RC_CONSTQP, 4};  // 4: VBR_MINQP, gone since version 10
  NV_ENC_RC_PARAMS& rate = config.rcParams;
  rate.rateControlMode = static_cast<NV_ENC_PARAMS_RC_MODE>(kModes[reader.Get(kRateControl)]);
  rate.enableInitialRCQP = reader.Get(kInitialQpOn);
  ReadQps(reader, kInitialQpI, kInitialQpP, kInitialQpB, rate.initialRCQP);
  rate.enableMinQP = reader.Get(kMinQpOn);
  ReadQps(reader, kMinQpI, kMinQpP, kMinQpB, rate.minQP);
  rate.enableMaxQP = reader.Get(kMaxQpOn);
  ReadQps(reader, kMaxQpI, kMaxQpP, kMaxQpB, rate.maxQP);
  rate.averageBitRate = Bits(reader.Get(kBitRate));
  Fill(reader, kMaxRate, rate.maxBitRate);
  Fill(reader, kVbvSize, rate.vbvBufferSize);
  Fill(reader, kVbvDelay, rate.vbvInitialDelay);
  rate.enableAQ = reader.Get(kAq);
}

}  // namespace xv
