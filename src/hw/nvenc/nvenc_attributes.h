#pragma once

#include <span>
#include <string_view>

#include "tree/attribute.h"

// What the NVENC encoder reads of the node "video". Keys without a documented default are left to
// the preset, or to the driver.
namespace xv::nvenc {

bool IsH264Level(std::string_view text);  // "4.1", "1.0b"
bool IsHevcLevel(std::string_view text);  // "4.1"

inline constexpr const char* kPresetWords[] = {
    "default",        "high_performance", "high_quality", "blue_ray_disk", "low_latency",
    "low_latency_hq", "low_latency_hp",   "lossless",     "lossless_hp"};
// The index of a word in kPresetWords.
enum PresetWord { kPresetDefault = 0, kPresetBluRay = 3, kPresetLossless = 7, kPresetCount = 9 };

inline constexpr const char* kProfileWords[] = {"Auto", "Baseline", "Main",
                                                "High", "Stereo",   "444"};
inline constexpr const char* kTierWords[] = {"high", "main"};
inline constexpr const char* kMvPrecisionWords[] = {"Auto", "Full", "Half", "Quarter"};
inline constexpr const char* kSliceModeWords[] = {"default", "mb", "bytes", "mb_rows",
                                                  "slice_number"};
inline constexpr const char* kInterlaceWords[] = {"auto", "top", "bottom", "progressive"};
inline constexpr const char* kRateWords[] = {"Auto", "cbr", "vbr", "cqp", "vbr_minq"};

// --- session and structure ---

inline constexpr Attribute<std::int32_t> kForceGpu{
    "force_gpu", kVideoNode, -1, AtLeast(-1),
    "Adapter, from 0; -1 the first, which is tried twice."};
inline constexpr Attribute<Word> kPreset{
    "preset", kVideoNode, kPresetDefault, OneOf(kPresetWords),
    "NVENC preset. All but default rule profile, level, slices and intra refresh; lossless ones "
    "rule interlace and rates too, blue_ray_disk rates."};
inline constexpr Attribute<bool> kDynamicResolution{
    "dynamic_resolution", kVideoNode, false, {}, "Room for pictures up to 4096x2160."};
inline constexpr Attribute<bool> kDisableSpsPps{
    "disable_sps_pps", kVideoNode, false, {}, "Leaves the parameter sets out of the stream."};
inline constexpr Attribute<std::int32_t> kGop{
    "g",
    kVideoNode,
    {},
    AtLeast(-1),
    "Pictures from key frame to key frame, -1 one at the start alone; without it the preset's."};
inline constexpr Attribute<std::int32_t> kIdrPeriod{
    "idrPeriod",
    kVideoNode,
    {},
    AtLeast(0),
    "Pictures from one IDR picture to the next; without it g."};
inline constexpr Attribute<std::int32_t> kBPictures{
    "bf",
    kVideoNode,
    {},
    AtLeast(-1),
    "B pictures between two others, -1 I pictures alone; without it the preset's."};
inline constexpr Attribute<Word> kMvPrecision{
    "mvprecision", kVideoNode, 0, OneOf(kMvPrecisionWords), "Precision of motion vectors."};
inline constexpr Attribute<Word> kInterlace{
    "interlace", kVideoNode, 0, OneOf(kInterlaceWords),
    "Coding in fields: as the input, always (top, bottom), never (progressive). H.264 alone."};
inline constexpr Attribute<Word> kSliceMode{"sliceMode", kVideoNode, 0, OneOf(kSliceModeWords),
                                            "What sliceModeData counts."};
inline constexpr Attribute<std::int32_t> kSliceModeData{
    "sliceModeData", kVideoNode, {}, AtLeast(0), "Size or number of slices by sliceMode."};
inline constexpr Attribute<std::int32_t> kIntraRefreshPeriod{
    "intraRefreshPeriod", kVideoNode, 0, AtLeast(0),
    "Pictures from one intra refresh to the next; 0 for none."};
inline constexpr Attribute<std::int32_t> kIntraRefreshCount{
    "intraRefreshCount", kVideoNode, 0, AtLeast(0),
    "Pictures that an intra refresh takes; at most the period."};
inline constexpr Attribute<std::int32_t> kLtrFrames{
    "ltrNumFrames", kVideoNode, {}, AtLeast(0), "Long-term reference pictures."};
inline constexpr Attribute<bool> kBufferingSei{
    "outputBufferingPeriodSEI", kVideoNode, true, {}, "Buffering period messages."};
inline constexpr Attribute<bool> kTimingSei{
    "outputPictureTimingSEI", kVideoNode, true, {}, "Picture timing messages."};
inline constexpr Attribute<bool> kAud{"outputAUD", kVideoNode, true, {}, "Access unit delimiters."};

// --- rate ---

inline constexpr Attribute<Word> kRateControl{
    "rc_type", kVideoNode, 0, OneOf(kRateWords),
    "Rate control; Auto is vbr. cqp takes the preset's quantisers."};
inline constexpr Attribute<Rate> kBitRate{"b", kVideoNode, "5M", AtLeast(0), "Average bit rate."};
inline constexpr Attribute<Rate> kMaxRate{
    "maxrate", kVideoNode, {}, AtLeast(0), "Highest bit rate."};
inline constexpr Attribute<Rate> kVbvSize{
    "vbvBufferSize", kVideoNode, {}, AtLeast(0), "Size of the decoder buffer in bits."};
inline constexpr Attribute<Rate> kVbvDelay{"vbvInitialDelay",
                                           kVideoNode,
                                           {},
                                           AtLeast(0),
                                           "Fill of the decoder buffer at the start, in bits."};
inline constexpr Attribute<bool> kAq{"enableAQ", kVideoNode, true, {}, "Adaptive quantisation."};

inline constexpr Attribute<bool> kInitialQpOn{
    "enableInitialRCQP", kVideoNode, false, {}, "Takes initialQPI, initialQPP and initialQPB."};
inline constexpr Attribute<std::int32_t> kInitialQpI{
    "initialQPI", kVideoNode, {}, Between(0, 51), "Quantiser of the first I picture."};
inline constexpr Attribute<std::int32_t> kInitialQpP{
    "initialQPP", kVideoNode, {}, Between(0, 51), "Quantiser of the first P picture."};
inline constexpr Attribute<std::int32_t> kInitialQpB{
    "initialQPB", kVideoNode, {}, Between(0, 51), "Quantiser of the first B picture."};
inline constexpr Attribute<bool> kMinQpOn{
    "enableMinQP", kVideoNode, false, {}, "Takes minQPI, minQPP and minQPB."};
inline constexpr Attribute<std::int32_t> kMinQpI{
    "minQPI", kVideoNode, {}, Between(0, 51), "Lowest quantiser of I pictures."};
inline constexpr Attribute<std::int32_t> kMinQpP{
    "minQPP", kVideoNode, {}, Between(0, 51), "Lowest quantiser of P pictures."};
inline constexpr Attribute<std::int32_t> kMinQpB{
    "minQPB", kVideoNode, {}, Between(0, 51), "Lowest quantiser of B pictures."};
inline constexpr Attribute<bool> kMaxQpOn{
    "enableMaxQP", kVideoNode, false, {}, "Takes maxQPI, maxQPP and maxQPB."};
inline constexpr Attribute<std::int32_t> kMaxQpI{
    "maxQPI", kVideoNode, {}, Between(0, 51), "Highest quantiser of I pictures."};
inline constexpr Attribute<std::int32_t> kMaxQpP{
    "maxQPP", kVideoNode, {}, Between(0, 51), "Highest quantiser of P pictures."};
inline constexpr Attribute<std::int32_t> kMaxQpB{
    "maxQPB", kVideoNode, {}, Between(0, 51), "Highest quantiser of B pictures."};

// --- H.264 alone ---

inline constexpr Attribute<Word> kProfile{"profile", kVideoNode, 0, OneOf(kProfileWords),
                                          "Profile; Auto leaves it to the encoder."};
inline constexpr Attribute<std::string> kLevel264{
    "level",
    kVideoNode,
    {},
    Expect("a level such as 4.1 or 1.0b", IsH264Level),
    "Level of H.264; without it the encoder chooses."};
inline constexpr Attribute<std::int32_t> kDeblock264{
    "deblock", kVideoNode, 1, Between(0, 2),
    "disable_deblocking_filter_idc of ITU-T H.264: 0 filters, 1 does not, 2 not across slices."};
inline constexpr Attribute<bool> kDisableCabac{
    "disable_cabac", kVideoNode, false, {}, "CAVLC in place of CABAC."};
inline constexpr Attribute<bool> kSeparatePlanes{
    "separateColourPlaneFlag", kVideoNode, {}, {}, "Colour planes coded apart."};
inline constexpr Attribute<bool> kTemporalSvc{
    "enableTemporalSVC", kVideoNode, {}, {}, "Temporal layers."};
inline constexpr Attribute<bool> kHierarchicalP{
    "hierarchicalPFrames", kVideoNode, {}, {}, "Hierarchical P pictures."};
inline constexpr Attribute<bool> kHierarchicalB{
    "hierarchicalBFrames", kVideoNode, {}, {}, "Hierarchical B pictures."};
inline constexpr Attribute<std::int32_t> kTemporalLayers{
    "numTemporalLayers", kVideoNode, {}, AtLeast(0), "Number of temporal layers."};
inline constexpr Attribute<std::int32_t> kRefFrames{
    "maxNumRefFrames", kVideoNode, {}, Between(0, 16), "Reference pictures."};
inline constexpr Attribute<std::int32_t> kLtrTrust{
    "ltrTrustMode", kVideoNode, {}, Between(0, 1), "Trust mode of long-term references."};
inline constexpr Attribute<bool> kConstrained{
    "enableConstrainedEncoding", kVideoNode, {}, {}, "Constrained slices, where the adapter can."};
inline constexpr Attribute<bool> kTransform8x8{"adaptiveTransformMode",
                                               kVideoNode,
                                               {},
                                               {},
                                               "8x8 transform beside 4x4, where the adapter can."};
inline constexpr Attribute<bool> kFmo{
    "fmoMode", kVideoNode, {}, {}, "Flexible macroblock order, where the adapter can."};
inline constexpr Attribute<bool> kPackingSei{
    "outputFramePackingSEI", kVideoNode, true, {}, "Frame packing messages."};
inline constexpr Attribute<bool> kRecoverySei{
    "outputRecoveryPointSEI", kVideoNode, true, {}, "Recovery point messages."};

// --- H.265 alone ---

inline constexpr Attribute<std::string> kLevelHevc{"level",
                                                   kVideoNode,
                                                   {},
                                                   Expect("a level such as 4.1", IsHevcLevel),
                                                   "Level; without it the encoder chooses."};
inline constexpr Attribute<std::string> kTier{"tier",
                                              kVideoNode,
                                              {},
                                              OneOf(kTierWords),
                                              "Tier. The values are the other way round in the "
                                              "stream: high sets general_tier_flag to 0, main "
                                              "to 1; without it 0."};
inline constexpr Attribute<bool> kDeblockHevc{
    "deblock", kVideoNode, true, {}, "Deblocking across slices."};
inline constexpr Attribute<bool> kConstrainedIntra{
    "useConstrainedIntraPred", kVideoNode, {}, {}, "Intra prediction from intra blocks only."};
inline constexpr Attribute<bool> kLtr{"enableLTR", kVideoNode, {}, {}, "Long-term references."};
inline constexpr Attribute<std::int32_t> kDpbFrames{
    "maxNumRefFramesInDPB", kVideoNode, {}, Between(0, 16), "Pictures in the decoder's buffer."};
inline constexpr Attribute<std::int32_t> kMoreLayers{
    "maxTemporalLayersMinus1", kVideoNode, {}, AtLeast(0), "Temporal layers, less one."};

}  // namespace xv::nvenc

namespace xv {

// All keys that are read for H.265, or for H.264.
std::span<const AttributeRow> NvencAttributes(bool hevc);

}  // namespace xv
