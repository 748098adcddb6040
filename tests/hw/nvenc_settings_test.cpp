#include "hw/nvenc/nvenc_settings.h"

#include <gmock/gmock.h>

#include "hw/nvenc/access_unit.h"
#include "hw/nvenc/nvenc_attributes.h"
#include "picture/pictures.h"

#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace xv {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

// A request, and what became of it.
struct Made {
  NvencSettings settings;
  std::vector<std::string> adjusted;
  std::vector<std::string> unused;

  const NV_ENC_CONFIG& config() const { return settings.config; }
  const NV_ENC_RC_PARAMS& rate() const { return config().rcParams; }
  const NV_ENC_CONFIG_H264& h264() const { return config().encodeCodecConfig.h264Config; }
  const NV_ENC_CONFIG_HEVC& hevc() const { return config().encodeCodecConfig.hevcConfig; }
};

// Recognisable settings, as a driver's preset would give them.
NV_ENC_CONFIG PresetConfig(bool hevc) {
  NV_ENC_CONFIG config{};
  config.profileGUID = NV_ENC_H264_PROFILE_MAIN_GUID;
  config.gopLength = 77;
  config.frameIntervalP = 3;
  config.rcParams.rateControlMode = NV_ENC_PARAMS_RC_CONSTQP;
  config.rcParams.averageBitRate = 1234;
  (hevc ? config.encodeCodecConfig.hevcConfig.level : config.encodeCodecConfig.h264Config.level) =
      30;
  return config;
}

struct Wish {
  std::string attributes{};  // as of a session: "video::bf=2"
  bool hevc = false;
  int word = 0;
  bool listed = false;
  NvencAbilities abilities{};
  NvencApi api{};
  int width = 1920, height = 1080;
  eXvInterlace interlace = eXvI_Progressive;
  double rate = 25;
};

Made Make(const Wish& wish) {
  XMLParse::XMLNodePtr root;
  EXPECT_EQ(NodeFromText("", wish.attributes, &root), Status(S_OK));
  const XMLParse::XMLNodePtr node = root->Child("video", true);
  XV_VID_PROPS vid =
      test::VidProps(kFccNV12, wish.width, wish.height, static_cast<std::uint32_t>(wish.interlace));
  vid.nAspectX = 16;
  vid.nAspectY = 9;
  vid.dblRate = wish.rate;
  NvencChosenPreset chosen;
  chosen.word = wish.word;
  chosen.listed = wish.listed;
  chosen.preset = PresetOfWord(wish.listed ? wish.word : 0, wish.api);
  if (wish.listed) chosen.config = PresetConfig(wish.hevc);
  NvencReader reader(*node);
  Made made{MakeNvencSettings({vid, wish.hevc, wish.api, chosen, wish.abilities}, reader), {}, {}};
  made.adjusted = reader.Adjusted();
  made.unused = reader.Unused();
  return made;
}

using Numbers = std::vector<std::uint64_t>;

TEST(NvencSettings, AbsentPresetLeavesTheEncodersOwnDefaults) {
  const Made made = Make({.height = -486, .rate = 29.97});
  const NV_ENC_INITIALIZE_PARAMS& params = made.settings.params;
  EXPECT_THAT((Numbers{params.version, made.config().version}),
              ElementsAre(0xf0050007, 0xf0060007));
  EXPECT_TRUE(SameGuid(params.presetGUID, NV_ENC_PRESET_DEFAULT_GUID));
  EXPECT_THAT(
      (Numbers{params.encodeWidth, params.encodeHeight, params.darWidth, params.frameRateNum,
               params.frameRateDen, params.enableEncodeAsync, params.enablePTD}),
      ElementsAre(1920, 480, 16, 29970, 1000, 0, 1));
  const NV_ENC_CONFIG& config = made.config();
  EXPECT_THAT((Numbers{config.gopLength, static_cast<std::uint64_t>(config.frameIntervalP),
                       config.mvPrecision, made.rate().averageBitRate, made.rate().enableAQ}),
              ElementsAre(30, 8, NV_ENC_MV_PRECISION_QUARTER_PEL, 5'000'000, 1));
  EXPECT_EQ(made.rate().rateControlMode, NV_ENC_PARAMS_RC_VBR);  // "Auto", although CBR stood there
  const NV_ENC_CONFIG_H264& h264 = made.h264();
  EXPECT_THAT(
      (Numbers{h264.sliceMode, h264.disableDeblockingFilterIDC, h264.repeatSPSPPS, h264.bdirectMode,
               h264.entropyCodingMode, h264.outputAUD, h264.outputRecoveryPointSEI}),
      ElementsAre(3, 1, 1, NV_ENC_H264_BDIRECT_MODE_DISABLE, NV_ENC_H264_ENTROPY_CODING_MODE_CABAC,
                  1, 1));
  EXPECT_EQ(made.settings.RingSize(), 8U);
  EXPECT_EQ(made.settings.DecodingDelay(), 9);
  const Made other = Make({.hevc = true});
  const NV_ENC_CONFIG_HEVC& hevc = other.hevc();
  EXPECT_TRUE(SameGuid(other.config().profileGUID, NV_ENC_HEVC_PROFILE_MAIN_GUID));
  EXPECT_THAT((Numbers{hevc.minCUSize, hevc.tier, hevc.disableDeblockAcrossSliceBoundary,
                       hevc.enableIntraRefresh}),
              ElementsAre(NV_ENC_HEVC_CUSIZE_32x32, 0, 0, 0));
}

TEST(NvencSettings, AttributesOfBothCodecs) {
  for (const bool hevc : {false, true}) {
    const Made made =
        Make({.attributes =
                  "video::g=50 video::bf=0 video::mvprecision=half video::sliceMode=mb_rows "
                  "video::sliceModeData=4 video::intraRefreshPeriod=20 "
                  "video::intraRefreshCount=30 video::ltrNumFrames=2 video::disable_sps_pps=yes "
                  "video::outputBufferingPeriodSEI=no video::outputPictureTimingSEI=no "
                  "video::outputAUD=no video::rc_type=cbr video::b=7M video::maxrate=9M "
                  "video::vbvBufferSize=3000 video::vbvInitialDelay=2000 video::enableAQ=no "
                  "video::enableInitialRCQP=1 video::initialQPI=1 video::initialQPP=2 "
                  "video::initialQPB=3 video::enableMinQP=1 video::minQPI=4 video::minQPP=5 "
                  "video::minQPB=6 video::enableMaxQP=1 video::maxQPI=7 video::maxQPP=8 "
                  "video::maxQPB=9 video::dynamic_resolution=true",
              .hevc = hevc});
    const auto check = [](const auto& codec) {
      EXPECT_THAT(
          (Numbers{codec.idrPeriod, codec.sliceMode, codec.sliceModeData, codec.intraRefreshPeriod,
                   codec.intraRefreshCnt, codec.enableIntraRefresh, codec.ltrNumFrames,
                   codec.repeatSPSPPS, codec.outputBufferingPeriodSEI, codec.outputPictureTimingSEI,
                   codec.outputAUD}),
          ElementsAre(50, 2, 4, 20, 20, 1, 2, 0, 0, 0, 0));
    };
    hevc ? check(made.hevc()) : check(made.h264());
    EXPECT_THAT(
        (Numbers{made.config().gopLength, static_cast<std::uint64_t>(made.config().frameIntervalP),
                 made.config().mvPrecision}),
        ElementsAre(50, 1, NV_ENC_MV_PRECISION_HALF_PEL));
    const NV_ENC_RC_PARAMS& rate = made.rate();
    EXPECT_THAT((Numbers{rate.rateControlMode, rate.averageBitRate, rate.maxBitRate,
                         rate.vbvBufferSize, rate.vbvInitialDelay, rate.enableAQ}),
                ElementsAre(NV_ENC_PARAMS_RC_CBR, 7'000'000, 9'000'000, 3000, 2000, 0));
    EXPECT_EQ(rate.enableInitialRCQP & rate.enableMinQP & rate.enableMaxQP, 1U);
    EXPECT_THAT(
        (Numbers{rate.initialRCQP.qpIntra, rate.initialRCQP.qpInterP, rate.initialRCQP.qpInterB,
                 rate.minQP.qpIntra, rate.minQP.qpInterP, rate.minQP.qpInterB, rate.maxQP.qpIntra,
                 rate.maxQP.qpInterP, rate.maxQP.qpInterB}),
        ElementsAre(1, 2, 3, 4, 5, 6, 7, 8, 9));
    EXPECT_EQ(made.settings.BufferWidth(), 4096U);
    EXPECT_EQ(made.settings.BufferHeight(), 2176U);
    EXPECT_THAT(made.unused, IsEmpty());
  }
}

TEST(NvencSettings, AttributesOfH264) {
  NvencAbilities all;
  for (const auto one : {NV_ENC_CAPS_SUPPORT_CONSTRAINED_ENCODING, NV_ENC_CAPS_SUPPORT_FMO,
                         NV_ENC_CAPS_SUPPORT_ADAPTIVE_TRANSFORM}) {
    all.Set(one, 1);
  }
  const std::string tools =
      "video::enableConstrainedEncoding=1 video::adaptiveTransformMode=0 video::fmoMode=yes ";
  const Made made =
      Make({.attributes =
                tools + "video::profile=high video::level=4.1 video::deblock=2 video::g=10 "
                        "video::idrPeriod=20 video::bf=2 video::disable_cabac=yes "
                        "video::separateColourPlaneFlag=1 video::enableTemporalSVC=1 "
                        "video::hierarchicalPFrames=1 video::hierarchicalBFrames=1 "
                        "video::numTemporalLayers=3 video::maxNumRefFrames=5 video::ltrTrustMode=1 "
                        "video::outputFramePackingSEI=no video::outputRecoveryPointSEI=no "
                        "video::tier=main video::useConstrainedIntraPred=1",
            .abilities = all});
  const NV_ENC_CONFIG_H264& h264 = made.h264();
  EXPECT_TRUE(SameGuid(made.config().profileGUID, NV_ENC_H264_PROFILE_HIGH_GUID));
  EXPECT_THAT(
      (Numbers{made.config().gopLength, static_cast<std::uint64_t>(made.config().frameIntervalP),
               h264.level, h264.disableDeblockingFilterIDC, h264.idrPeriod, h264.bdirectMode,
               h264.entropyCodingMode}),
      ElementsAre(10, 3, 41, 2, 20, NV_ENC_H264_BDIRECT_MODE_TEMPORAL,
                  NV_ENC_H264_ENTROPY_CODING_MODE_CAVLC));
  EXPECT_THAT(
      (Numbers{h264.separateColourPlaneFlag, h264.ltrTrustMode, h264.enableTemporalSVC,
               h264.hierarchicalPFrames, h264.hierarchicalBFrames, h264.numTemporalLayers,
               h264.maxNumRefFrames, h264.enableConstrainedEncoding, h264.adaptiveTransformMode,
               h264.fmoMode, h264.outputFramePackingSEI, h264.outputRecoveryPointSEI}),
      ElementsAre(1, 1, 1, 1, 1, 3, 5, 1, NV_ENC_H264_ADAPTIVE_TRANSFORM_DISABLE,
                  NV_ENC_H264_FMO_ENABLE, 0, 0));
  EXPECT_THAT(made.unused, UnorderedElementsAre("tier", "useConstrainedIntraPred"));

  const Made without = Make({.attributes = tools});
  EXPECT_EQ(without.h264().fmoMode, NV_ENC_H264_FMO_AUTOSELECT);
  EXPECT_EQ(without.adjusted.size(), 3U);
  EXPECT_EQ(Make({.attributes = "video::level=1.0b"}).h264().level, 9U);
  EXPECT_EQ(Make({.attributes = "video::level=11"}).h264().level, 0U);
  EXPECT_EQ(Make({.attributes = "video::profile=baseline"}).h264().entropyCodingMode,
            NV_ENC_H264_ENTROPY_CODING_MODE_AUTOSELECT);
  const AttributeRow* level = FindRow(NvencAttributes(false), "level");
  ASSERT_NE(level, nullptr);
  EXPECT_TRUE(IsValidValue(*level, "1.0b") && !IsValidValue(*level, "4.1x"));
}

TEST(NvencSettings, AttributesOfHevc) {
  const Made made = Make({.attributes = "video::level=5.1 video::tier=main video::deblock=no "
                                        "video::useConstrainedIntraPred=1 video::enableLTR=yes "
                                        "video::maxNumRefFramesInDPB=4 video::bf=0 "
                                        "video::maxTemporalLayersMinus1=2 video::interlace=top",
                          .hevc = true,
                          .interlace = eXvI_TopFirst});
  const NV_ENC_CONFIG_HEVC& hevc = made.hevc();
  EXPECT_THAT((Numbers{hevc.level, hevc.tier, hevc.disableDeblockAcrossSliceBoundary,
                       hevc.useConstrainedIntraPred, hevc.enableLTR, hevc.maxNumRefFramesInDPB,
                       hevc.maxTemporalLayersMinus1}),
              ElementsAre(153, 1, 1, 1, 1, 4, 2));
  EXPECT_EQ(made.config().frameFieldMode, NV_ENC_PARAMS_FRAME_FIELD_MODE_FRAME);
  EXPECT_THAT(made.unused, ElementsAre("interlace"));
  EXPECT_EQ(Make({.attributes = "video::tier=HIGH", .hevc = true}).hevc().tier, 0U);
}

TEST(NvencSettings, RateAndInterlaceWordsAreNumbersOfTheirOwnLists) {
  const std::pair<const char*, int> rates[] = {{"auto", 1}, {"cbr", 2},      {"vbr", 1},
                                               {"cqp", 0},  {"vbr_minq", 4}, {"other", 1}};
  for (const auto& [word, mode] : rates) {
    EXPECT_EQ(Make({.attributes = std::string("video::rc_type=") + word}).rate().rateControlMode,
              mode)
        << word;
  }
  const std::tuple<const char*, eXvInterlace, int> modes[] = {
      {"auto", eXvI_Progressive, 1},     {"auto", eXvI_TopFirst, 2},
      {"top", eXvI_Progressive, 2},      {"bottom", eXvI_TopFirst, 2},
      {"progressive", eXvI_TopFirst, 1},
  };
  for (const auto& [word, source, mode] : modes) {
    const Made made =
        Make({.attributes = std::string("video::interlace=") + word, .interlace = source});
    EXPECT_EQ(made.config().frameFieldMode, mode) << word;
    EXPECT_TRUE(source != eXvI_TopFirst || made.settings.fieldOrder == 1);
  }
}

// The word's place in the list tells what the preset rules.
TEST(NvencSettings, PresetsRuleByTheirWord) {
  const std::string all =
      "video::profile=high video::level=5.0 video::sliceMode=mb video::sliceModeData=9 "
      "video::intraRefreshPeriod=5 video::intraRefreshCount=5 video::interlace=top video::b=9M "
      "video::g=12 video::force_gpu=0 video::preset=default";
  const Made first = Make({.attributes = all, .word = 0, .listed = true});
  EXPECT_EQ(first.h264().level, 50U);
  EXPECT_EQ(first.config().frameIntervalP, 3);
  EXPECT_EQ(first.config().version, 0xf0060007);
  EXPECT_EQ(first.rate().averageBitRate, 9'000'000U);

  const Made quality = Make({.attributes = all, .word = 2, .listed = true});
  EXPECT_TRUE(SameGuid(quality.settings.params.presetGUID, NV_ENC_PRESET_HQ_GUID));
  EXPECT_TRUE(SameGuid(quality.config().profileGUID, NV_ENC_H264_PROFILE_MAIN_GUID));
  EXPECT_EQ(quality.h264().level, 30U);
  EXPECT_EQ(quality.h264().sliceModeData | quality.h264().intraRefreshCnt, 0U);
  EXPECT_EQ(quality.config().gopLength, 12U);
  EXPECT_EQ(quality.config().frameFieldMode, NV_ENC_PARAMS_FRAME_FIELD_MODE_FIELD);
  EXPECT_EQ(quality.rate().averageBitRate, 9'000'000U);
  EXPECT_THAT(quality.unused, Contains("level"));

  const Made disk = Make({.attributes = all, .word = 3, .listed = true});
  EXPECT_EQ(disk.rate().averageBitRate, 1234U);
  EXPECT_EQ(disk.config().frameFieldMode, NV_ENC_PARAMS_FRAME_FIELD_MODE_FIELD);
  for (const int word : {7, 8}) {
    const Made lossless = Make({.attributes = all, .word = word, .listed = true});
    EXPECT_EQ(lossless.rate().rateControlMode, NV_ENC_PARAMS_RC_CONSTQP);
    EXPECT_EQ(lossless.config().frameFieldMode, NV_ENC_PARAMS_FRAME_FIELD_MODE_FRAME);
    EXPECT_EQ(lossless.h264().outputAUD, 1U);
    EXPECT_THAT(lossless.unused, Contains("interlace"));
  }
  const Made absent = Make({.attributes = all, .word = 2});
  EXPECT_EQ(absent.h264().level, 50U);
  EXPECT_THAT(absent.adjusted, Contains(HasSubstr("the default is used")));
}

TEST(NvencSettings, NewerVersionsHaveOtherPresetsAndVersionWords) {
  constexpr NvencApi kNow{11, 1};
  const Made made = Make({.word = 5, .listed = true, .api = kNow});
  EXPECT_EQ(made.settings.params.version, NV_ENC_INITIALIZE_PARAMS_VER);
  EXPECT_EQ(made.config().version, NV_ENC_CONFIG_VER);
  EXPECT_TRUE(SameGuid(made.settings.params.presetGUID, NV_ENC_PRESET_P6_GUID));
  EXPECT_EQ(made.settings.params.tuningInfo, NV_ENC_TUNING_INFO_LOW_LATENCY);
  const NvencPreset lossless = PresetOfWord(7, kNow);
  EXPECT_TRUE(SameGuid(lossless.guid, NV_ENC_PRESET_P4_GUID));
  EXPECT_EQ(lossless.tuning, NV_ENC_TUNING_INFO_LOSSLESS);
  EXPECT_TRUE(SameGuid(PresetOfWord(1, {9, 1}).guid, NV_ENC_PRESET_HP_GUID));
  EXPECT_EQ(PresetOfWord(1, {9, 1}).tuning, NV_ENC_TUNING_INFO_UNDEFINED);
  EXPECT_EQ(NvencApiFromDriver(12 << 4 | 1), (NvencApi{12, 1}));
}

struct LimitCase {
  const char* attributes;
  NV_ENC_CAPS ability;
  int value;
  const char* adjusted;  // the one that it makes
  bool hevc = false;
};

TEST(NvencSettings, WhatTheAdapterLacksIsBroughtDownAndNamed) {
  const LimitCase cases[] = {
      {"video::bf=5", NV_ENC_CAPS_NUM_MAX_BFRAMES, 3,
       "bf=5 (the encoder makes 3 B pictures in a row: 3 are used)"},
      {"", NV_ENC_CAPS_NUM_MAX_BFRAMES, 0, "bf=7 (the encoder makes no B pictures)"},
      {"video::g=4", NV_ENC_CAPS_NUM_MAX_BFRAMES, 7, "bf=7 (more than g has room for)"},
      {"video::g=-1", NV_ENC_CAPS_NUM_MAX_BFRAMES, 7,
       "bf=7 (not without key frames: none are used)"},
      {"video::bf=0 video::level=5.1", NV_ENC_CAPS_LEVEL_MAX, 42, "level=5.1 (the encoder"},
      {"video::bf=0", NV_ENC_CAPS_SUPPORT_CABAC, 0, "disable_cabac=false (the encoder has no"},
      {"video::bf=0", NV_ENC_CAPS_SUPPORT_QPELMV, 0, "mvprecision=Auto (the encoder has no"},
      {"video::rc_type=vbr_minq", NV_ENC_CAPS_SUPPORTED_RATECONTROL_MODES, 3, "rc_type=vbr_minq ("},
      {"video::vbvBufferSize=5M", NV_ENC_CAPS_SUPPORT_CUSTOM_VBV_BUF_SIZE, 0,
       "vbvBufferSize=5000000 ("},
      {"video::sliceMode=bytes", NV_ENC_CAPS_SUPPORT_DYNAMIC_SLICE_MODE, 0, "sliceMode=bytes ("},
      {"video::profile=stereo", NV_ENC_CAPS_SUPPORT_STEREO_MVC, 0, "profile=stereo ("},
      {"video::numTemporalLayers=9", NV_ENC_CAPS_NUM_MAX_TEMPORAL_LAYERS, 4, "numTemporalLayers=9"},
      {"video::enableTemporalSVC=1", NV_ENC_CAPS_SUPPORT_TEMPORAL_SVC, 0, "enableTemporalSVC=1 ("},
      {"video::dynamic_resolution=1", NV_ENC_CAPS_WIDTH_MAX, 2048,
       "dynamic_resolution=1 (the encoder has room for 2048x2160)"},
      {"video::dynamic_resolution=1", NV_ENC_CAPS_SUPPORT_DYN_RES_CHANGE, 0,
       "dynamic_resolution=1 (the encoder keeps to one size)"},
      {"video::intraRefreshPeriod=9 video::intraRefreshCount=9", NV_ENC_CAPS_SUPPORT_INTRA_REFRESH,
       0, "intraRefreshCount=9 ("},
      {"video::bf=0 video::enableLTR=1", NV_ENC_CAPS_NUM_MAX_LTR_FRAMES, 0, "enableLTR=1 (", true},
      {"video::bf=2", NV_ENC_CAPS_NUM_MAX_LTR_FRAMES, 8, "enableLTR=1 (not together", true}};
  for (const LimitCase& one : cases) {
    Wish wish{.attributes = one.attributes, .hevc = one.hevc};
    wish.abilities.Set(one.ability, one.value);
    EXPECT_THAT(Make(wish).adjusted, ElementsAre(HasSubstr(one.adjusted))) << one.attributes;
  }
  Wish wish{.attributes = "video::bf=5"};
  wish.abilities.Set(NV_ENC_CAPS_NUM_MAX_BFRAMES, 3);
  EXPECT_EQ(Make(wish).config().frameIntervalP, 4);
}

TEST(NvencSettings, BadValuesStayWithinWhatTheEncoderTakes) {
  const Made made = Make({.attributes = "video::bf=-9 video::b=99999999999 video::sliceModeData=-4 "
                                        "video::deblock=7"});
  EXPECT_EQ(made.config().frameIntervalP, 0);
  EXPECT_EQ(made.rate().averageBitRate, 0xffffffffU);
  EXPECT_EQ(made.h264().sliceModeData, 0U);
  EXPECT_EQ(made.h264().disableDeblockingFilterIDC, 2U);
  EXPECT_EQ(made.settings.RingSize(), 4U);
  EXPECT_EQ(Make({.attributes = "video::bf=2147483647 video::g=0"}).config().frameIntervalP, 64);
}

TEST(NvencAccessUnit, AnIdrSliceIsFoundWhereverItStands) {
  const auto holds = [](std::vector<std::uint8_t> bytes) { return HoldsIdrSlice(bytes); };
  EXPECT_TRUE(holds({0, 0, 0, 1, 0x67, 9, 0, 0, 1, 0x65, 1}));
  EXPECT_TRUE(holds({0, 0, 1, 0x25}));
  EXPECT_FALSE(holds({0, 0, 0, 1, 0x67, 9, 0, 0, 1, 0x41, 0x65}));
  EXPECT_FALSE(holds({0, 0, 1}));
  EXPECT_FALSE(holds({}));
  EXPECT_FALSE(holds({0, 0, 1, 0x0a, 1}));  // TSA_R of H.265, whose six bits hold a 5
}

}  // namespace
}  // namespace xv
