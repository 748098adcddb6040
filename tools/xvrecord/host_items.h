#pragma once

#include <cstdint>
#include <vector>

#include "xvwriter/captions.hpp"

// cc data for sources that have captions as pairs alone.
namespace xv {

using host::CaptionItems;
using host::MakeCaptionItems;

// cc data with this pair in field 1, filled up to the count of constructs that the rate asks for
// (CEA-708-E, 4.3.6: 9600 bits a second).
std::vector<std::uint8_t> ConstructsForPair(std::uint16_t pair, double rate);

}  // namespace xv
