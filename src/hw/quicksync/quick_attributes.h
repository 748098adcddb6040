#pragma once

#include <span>
#include <string_view>

#include "tree/attribute.h"

// What the QuickSync encoder reads of the node "video".
namespace xv::quick {

bool IsLevel(std::string_view text);  // "4.1", "1.0b"

inline constexpr const char* kInterlaceWords[] = {"auto", "progressive", "top", "bottom"};
enum InterlaceWord { kAuto, kProgressive, kTop, kBottom };  // indices of kInterlaceWords
inline constexpr const char* kProfileWords[] = {"Auto",     "Baseline", "Main",
                                                "Extended", "High",     "Progressive High"};
inline constexpr const char* kRateWords[] = {
    "cbr", "vbr", "cqp", "avbr", "vbr_la", "vbr_la_hrd", "quality", "quality_la", "quality_vbrvcm"};

inline constexpr Attribute<std::int32_t> kForceGpu{
    "force_gpu", kVideoNode, -2, Between(-2, 3),
    "Adapter that is tried first, 0 to 3; -1 the software runtime; -2 as the list goes."};
inline constexpr Attribute<std::int32_t> kAsyncDepth{
    "async_depth", kVideoNode, 0, Between(0, 65535),
    "Pictures in work at the same time; 0 leaves it to the runtime."};
inline constexpr Attribute<Word> kInterlace{
    "interlace", kVideoNode, kAuto, OneOf(kInterlaceWords),
    "Coding in fields: as the input, never (progressive), always (top, bottom)."};
inline constexpr Attribute<Word> kProfile{
    "profile", kVideoNode, 0, OneOf(kProfileWords),
    "Profile; Auto leaves it to the runtime, Progressive High codes no fields."};
inline constexpr Attribute<std::string> kLevel{"level",
                                               kVideoNode,
                                               {},
                                               Expect("a level such as 4.1 or 1.0b", IsLevel),
                                               "Level, from 1.1 to 5.2: other digits are the "
                                               "nearest ones (4.0 is 4.1); without it the runtime "
                                               "chooses."};
inline constexpr Attribute<std::int32_t> kQuality{
    "quality",
    kVideoNode,
    {},
    Between(1, 7),
    "1 fastest to 7 best; without it 7 on hardware, 2 in software."};
inline constexpr Attribute<std::int32_t> kGop{"g", kVideoNode, 200, Between(0, 65535),
                                              "Distance of key frames in pictures."};
inline constexpr Attribute<std::int32_t> kBPictures{"bf", kVideoNode, 2, Between(0, 65534),
                                                    "B pictures between two others."};
inline constexpr Attribute<bool> kExactGop{
    "exact_gop", kVideoNode, false, {}, "Key frames never come at other places than g says."};
inline constexpr Attribute<Word> kRateControl{
    "rc_type",
    kVideoNode,
    {},
    OneOf(kRateWords),
    "Rate control; without it vbr. quality and quality_la take icq_quality, cqp takes qpi, qpp and "
    "qpb, the others b."};
inline constexpr Attribute<Rate> kBitRate{"b", kVideoNode, "5M", AtLeast(0),
                                          "Bit rate that is aimed at."};
inline constexpr Attribute<Rate> kMaxRate{
    "maxrate", kVideoNode, {}, AtLeast(0), "Highest bit rate; without it b."};
inline constexpr Attribute<Rate> kInitialDelay{
    "InitialDelay", kVideoNode, {}, AtLeast(0), "Fill of the decoder buffer at the start, bytes."};
inline constexpr Attribute<Rate> kBufferSize{
    "BufferSize", kVideoNode, {}, AtLeast(0), "Size of the decoder buffer in bytes."};
inline constexpr Attribute<Rate> kBufSize{
    "bufsize", kVideoNode, {}, AtLeast(0), "As BufferSize, read when that is absent."};
inline constexpr Attribute<std::int32_t> kRefFrames{
    "ref_frames", kVideoNode, 0, Between(0, 16), "Reference pictures; 0 leaves it to the runtime."};
inline constexpr Attribute<std::int32_t> kIcqQuality{"icq_quality", kVideoNode, 25, Between(1, 51),
                                                     "Quality of quality and quality_la, 1 best."};
inline constexpr Attribute<std::int32_t> kAccuracy{"accuracy", kVideoNode, 100, Between(0, 65535),
                                                   "Accuracy of quality and quality_la."};
inline constexpr Attribute<std::int32_t> kConvergence{
    "Convergence", kVideoNode, 0, Between(0, 65535), "Convergence of quality and quality_la."};
inline constexpr Attribute<std::int32_t> kQpI{"qpi", kVideoNode, 22, Between(0, 51),
                                              "Quantiser of I pictures with cqp."};
inline constexpr Attribute<std::int32_t> kQpP{"qpp", kVideoNode, 22, Between(0, 51),
                                              "Quantiser of P pictures with cqp."};
inline constexpr Attribute<std::int32_t> kQpB{"qpb", kVideoNode, 22, Between(0, 51),
                                              "Quantiser of B pictures with cqp."};
inline constexpr Attribute<bool> kCavlc{"CAVLC", kVideoNode, false, {}, "CAVLC in place of CABAC."};
inline constexpr Attribute<bool> kGpuMemory{
    "gpu_memory", kVideoNode, false, {}, "Pictures lie in the device's memory, on hardware."};
inline constexpr Attribute<bool> kUseVpp{
    "use_vpp", kVideoNode, false, {}, "Makes the stage for processing pictures; it changes none."};

}  // namespace xv::quick

namespace xv {

// All keys that are read for q264, q264sw and q264hw.
std::span<const AttributeRow> QuickAttributes();

}  // namespace xv
