#pragma once

#include <span>

#include "tree/attribute.h"

// What the CUDA encoder reads of the node "video". With a preset that is the preset, `b` and
// `maxrate` alone.
namespace xv {

namespace cuda_words {
inline constexpr const char* kPreset[] = {"Sony PSP", "iPod",    "AVCHD", "BD",
                                          "HDV 1440", "Zune HD", nullptr};
inline constexpr const char* kProfile[] = {"Baseline", "Main", "High", nullptr};
inline constexpr const char* kRateControl[] = {"cqp", "vbr", "cbr", "vbr_minq", nullptr};
}  // namespace cuda_words

// "4.1".
bool IsCudaLevel(std::string_view text);

inline constexpr Attribute<Word> kCudaPresetKey{
    "preset", kVideoNode, -1, OneOf(cuda_words::kPreset),
    "Device that the stream is for; with it size and aspect are the device's, and of the others "
    "only b and maxrate are read."};
inline constexpr Attribute<std::int32_t> kCudaG{
    "g", kVideoNode, -1, AtLeast(-1), "Pictures from key frame to key frame; below 1 they are 32."};
inline constexpr Attribute<std::int32_t> kCudaBf{
    "bf", kVideoNode, 16, AtLeast(1),
    "Distance of reference pictures, 1 for no B pictures; at most g - 1."};
inline constexpr Attribute<bool> kCudaDynamicGopKey{
    "dynamic_gop", kVideoNode, true, {}, "Lets the encoder choose the structure."};
inline constexpr Attribute<Word> kCudaProfile{
    "profile", kVideoNode, -1, OneOf(cuda_words::kProfile), "Profile; Main without it."};
inline constexpr Attribute<std::string> kCudaLevel{"level",
                                                   kVideoNode,
                                                   {},
                                                   Expect("a level such as 4.1", IsCudaLevel),
                                                   "Level; the encoder chooses one without it."};
inline constexpr Attribute<Word> kCudaRcType{"rc_type", kVideoNode, 1,
                                             OneOf(cuda_words::kRateControl), "Rate control."};
inline constexpr Attribute<std::int32_t> kCudaQpI{"qp_level_i", kVideoNode, 28, Between(0, 51),
                                                  "Quantiser of I pictures; cqp and vbr_minq."};
inline constexpr Attribute<std::int32_t> kCudaQpP{"qp_level_p", kVideoNode, 28, Between(0, 51),
                                                  "Quantiser of P pictures; cqp and vbr_minq."};
inline constexpr Attribute<std::int32_t> kCudaQpB{"qp_level_b", kVideoNode, 28, Between(0, 51),
                                                  "Quantiser of B pictures; cqp and vbr_minq."};
inline constexpr Attribute<bool> kCudaDeblockKey{
    "deblock", kVideoNode, true, {}, "Deblocking filter."};
inline constexpr Attribute<bool> kCudaDisableCabac{
    "disable_cabac", kVideoNode, false, {}, "Entropy coding by CAVLC in place of CABAC."};
inline constexpr Attribute<bool> kCudaDisableHeaders{
    "disable_sps_pps",
    kVideoNode,
    false,
    {},
    "Leaves out the parameter sets that stand in the stream."};
inline constexpr Attribute<bool> kCudaDeinterlaceKey{
    "deinterlace", kVideoNode, false, {}, "Deinterlaces the pictures."};
inline constexpr Attribute<Rate> kCudaB{
    "b", kVideoNode, "0", {}, "Average bit rate; 0 leaves it to the encoder."};
inline constexpr Attribute<Rate> kCudaMaxRate{
    "maxrate", kVideoNode, "0", {}, "Highest bit rate; below b it becomes twice b."};
inline constexpr Attribute<std::string> kCudaNalType{
    "nal_type", kVideoNode, {}, {}, "Kept for catalogues; not read."};

std::span<const AttributeRow> CudaAttributes();

}  // namespace xv
