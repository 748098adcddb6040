#include "frames/colour_choice.h"

#include <cstdlib>

#include "base/text.h"

namespace xv {
namespace {

struct NamedRule {
  const char* name;  // of FFmpeg's option "colorspace"
  MatrixRule rule;
};

constexpr NamedRule kNames[] = {
    {"bt709", MatrixRule::kBt709},       {"smpte170m", MatrixRule::kBt601},
    {"bt470bg", MatrixRule::kBt601},     {"bt2020nc", MatrixRule::kBt2020},
    {"bt2020_ncl", MatrixRule::kBt2020},
};

}  // namespace

MatrixRule MatrixRuleOf(const XMLParse::CoXMLNode& node) {
  const MatrixRule rule = node.Get(kMatrix);
  if (rule != MatrixRule::kAuto) return rule;
  const std::string tagged = node.Text("colorspace");
  for (const NamedRule& one : kNames) {
    if (EqualsNoCase(tagged, one.name)) return one.rule;
  }
  return rule;
}

bool IsHighDefinition(const XV_VID_PROPS& vid) {
  constexpr int kSdLines = 625;
  return std::abs(vid.nHeight) > kSdLines;
}

Matrix ChooseMatrix(MatrixRule rule, const XV_VID_PROPS& vid) {
  switch (rule) {
    case MatrixRule::kBt601:
      return Matrix::kBt601;
    case MatrixRule::kBt709:
      return Matrix::kBt709;
    case MatrixRule::kBt2020:
      return Matrix::kBt2020;
    case MatrixRule::kAuto:
      if (IsHighDefinition(vid)) return Matrix::kBt709;
      break;
    case MatrixRule::kClassic:
      break;
  }
  return vid.fccColor == kFccHDYC ? Matrix::kBt709 : Matrix::kBt601;
}

}  // namespace xv
