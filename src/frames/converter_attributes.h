#pragma once

#include <optional>

#include "base/status.h"
#include "picture/filter_bank.h"
#include "picture/mirror.h"
#include "tree/node.h"

namespace xv {

// Pixels cut off each side.
struct CropSides {
  int left = 0;
  int top = 0;
  int right = 0;
  int bottom = 0;
  bool Any() const { return (left | top | right | bottom) != 0; }
};

// "crop": 1 number for all sides; 2 for left and right, then top and bottom; 3 for left and right,
// top, bottom; 4 or more for left, top, right, bottom. No attribute: no crop. E_INVALIDARG for
// a list without numbers.
Status ReadCrop(const XMLParse::CoXMLNode& props, CropSides* crop);
// "rotate": "right" 0, "left" 1; nothing for any other value.
std::optional<int> ReadRotate(const XMLParse::CoXMLNode& props);
// "mirror": "horz", "vert", "both".
Mirror ReadMirror(const XMLParse::CoXMLNode& props);
// "scaling_quality": a code, 2 by default.
int ReadScalingQuality(const XMLParse::CoXMLNode& props);
// "scaling_siting": "classic", "centred".
Siting ReadSiting(const XMLParse::CoXMLNode& props);

}  // namespace xv
