#pragma once

#include "kernels/colour_matrix.h"
#include "tree/node.h"
#include "xvwriter/media.h"

// Which matrix the pictures of a source have.
namespace xv {

enum class MatrixRule { kAuto, kBt601, kBt709, kBt2020, kClassic };
inline constexpr const char* kMatrixRules[] = {"auto", "bt601", "bt709", "bt2020", "classic"};

inline constexpr Attribute<MatrixRule> kMatrix{
    "matrix", kVideoNode, MatrixRule::kAuto, OneOf(kMatrixRules),
    "Matrix that YCbCr pictures come with, and that YCbCr is made of RGB with. auto: that of "
    "colorspace, else BT.709 for HDYC and above 625 lines, else BT.601. classic: BT.709 for HDYC "
    "alone."};

// Of a track's node: kMatrix, or with "auto" the rule that its encoder's "colorspace" names.
MatrixRule MatrixRuleOf(const XMLParse::CoXMLNode& node);
// Of a picture as the host gave it.
Matrix ChooseMatrix(MatrixRule rule, const XV_VID_PROPS& vid);
// High definition without a tag counts as BT.709.
bool IsHighDefinition(const XV_VID_PROPS& vid);

}  // namespace xv
