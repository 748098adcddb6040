#include "frames/scaling_choice.h"

#include <cstdlib>

#include "frames/converter_attributes.h"
#include "media/validity.h"

namespace xv {

double DisplayAspect(const XV_VID_PROPS& vid) {
  if (vid.nAspectX > 0 && vid.nAspectY > 0) return double{1} * vid.nAspectX / vid.nAspectY;
  const int lines = std::abs(vid.nHeight);
  return lines > 0 ? double{1} * vid.nWidth / lines : 1.7777777777777777;
}

int ResolveScalingQuality(int value, const XV_VID_PROPS& source, const XV_VID_PROPS& target,
                          int field) {
  if (value >= 1) return value;
  const int sourceLines = std::abs(source.nHeight);
  const int targetLines = std::abs(target.nHeight);
  if (InterlaceOrder(source) != 0) {
    if (InterlaceOrder(target) != 0) {
      if (sourceLines > 1.8 * targetLines || field >= 0) return 18;
      if (targetLines < sourceLines) return 16;
    } else if (target.dblRate >= 1.7 * source.dblRate) {
      return 16;
    }
  }
  return sourceLines > 2 * targetLines ? 8 : 4;
}

int ChooseScaling(std::string_view quality, Siting siting, const XV_VID_PROPS& source,
                  const XV_VID_PROPS& target, int field) {
  constexpr int kBicubicCode = 4;
  const int code = ScalingCode(quality, siting);
  if (code < 1 && siting == Siting::kCentred) return kBicubicCode;
  return ResolveScalingQuality(code, source, target, field);
}

}  // namespace xv
