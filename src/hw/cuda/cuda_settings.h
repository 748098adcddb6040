#pragma once

#include <array>
#include <cstdint>
#include <string_view>
#include <variant>
#include <vector>

#include "hw/cuda/cuda_api.h"
#include "hw/hw_encoder.h"

namespace xv {

// A parameter with its value, as the library is told it.
struct CudaSetting {
  CudaParam id;
  std::variant<std::array<std::int32_t, 3>, std::int64_t> value;  // integers, or a rate

  const void* Data() const {
    return std::visit([](const auto& held) { return static_cast<const void*>(&held); }, value);
  }
};

// What a parameter is, for a person; where an attribute sets it, the attribute's name.
std::string_view CudaParamName(CudaParam id);

// `vid` as the encoder works with it: a height above 0, a layout, and a field order that is known:
// eXvI_TopFirst, eXvI_BottomFirst or eXvI_Progressive.
XV_VID_PROPS CudaProperties(const XV_VID_PROPS& vid);

// Lines of a picture that are encoded: of 486 interlaced ones 480; other interlaced heights that
// are no multiple of 4 are rounded down to one of 8.
std::int32_t CudaHeight(const XV_VID_PROPS& vid);

// All parameters of an encoder of such pictures, in the order in which they are set. Of the node
// CudaAttributes are read; `report` gets those that are not, and what was brought into bounds.
std::vector<CudaSetting> CudaSettings(const XV_VID_PROPS& vid, const XMLParse::CoXMLNode& node,
                                      HwOpenReport* report);

}  // namespace xv
