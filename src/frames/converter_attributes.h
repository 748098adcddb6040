#pragma once

#include "base/status.h"
#include "picture/crop.h"
#include "picture/mirror.h"
#include "picture/sample_filter.h"
#include "picture/scale_engine.h"
#include "tree/node.h"

// What the geometry converter and the preparation of frames read.
namespace xv {

inline constexpr const char* kRotations[] = {"right", "left"};
inline constexpr const char* kMirrors[] = {"", "horz", "vert", "both"};
inline constexpr const char* kSitings[] = {"classic", "centred"};

// Whole numbers, one to four.
bool IsCropList(std::string_view text);
// A code, or one of kQualityWords.
bool IsScalingQuality(std::string_view text);

inline constexpr Attribute<std::string> kCrop{
    "crop",
    kVideoNode,
    {},
    Expect("1 to 4 whole numbers", IsCropList),
    "Pixels cut from the edges, in even numbers (interlaced 4:2:0 lines: in "
    "multiples of 4); the shape stays."};
inline constexpr Attribute<Word> kRotate{"rotate", kVideoNode, -1, OneOf(kRotations),
                                         "Rotation by 90 degrees."};
inline constexpr Attribute<Mirror> kMirror{"mirror", kVideoNode, Mirror::kNone, OneOf(kMirrors),
                                           "Mirroring."};
// The session's wins over the stream's.
inline constexpr Attribute<std::string> kScalingQuality{
    "scaling_quality", kVideoNode, "auto",
    Expect("auto, fast_bilinear, bilinear, bicubic, area, bicublin, gauss, sinc, lanczos, spline, "
           "point or a code",
           IsScalingQuality),
    "Scaling filter; auto is bicubic. Codes: 1 nearest, 2 linear, 4 cubic, 8 area, 9 Lanczos. With "
    "classic siting words leave the choice to the kind of scaling, and 2 is the default. The "
    "session's counts for all tracks."};
inline constexpr Attribute<Siting> kScalingSiting{
    "scaling_siting", kVideoNode, Siting::kCentred, OneOf(kSitings),
    "Where scaled lines stand: centred, fields and chroma exactly where they belong; classic, up "
    "to half a line off, with 8-bit weights, as the first version did."};

// What the two of them come to: a code of the scaler, below 1 for the choice by kind.
int ScalingCode(std::string_view quality, Siting siting);

// kCrop: 1 number for all sides; 2 for left and right, then top and bottom; 3 for left and right,
// top, bottom; 4 or more for left, top, right, bottom. No attribute: no crop. E_INVALIDARG for
// a list without numbers.
Status ReadCrop(const XMLParse::CoXMLNode& props, CropSides* crop);

}  // namespace xv
