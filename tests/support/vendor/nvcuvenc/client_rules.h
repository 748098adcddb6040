#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "hw/cuda/cuda_api.h"
#include "support/vendor/nvcuvenc/software_h264.h"

// What the stand-in holds its client to. Each function gives the broken rule in words, "" for none.
namespace xv::nvcuvenc {

// Values by the number of the parameter.
using Values = std::map<std::int32_t, std::vector<std::int64_t>>;

// Bytes behind the pointer of a parameter that is set; 0 for one that cannot be.
std::size_t SizeOfValue(std::int32_t id);
std::vector<std::int64_t> ReadValue(std::int32_t id, const void* value);

std::string RuleOfParameter(std::int32_t id, const std::vector<std::int64_t>& value,
                            const Values& before);
std::string RuleOfFrame(const CudaFrame& frame, const Values& values);

H264Options OptionsOf(const Values& values);

}  // namespace xv::nvcuvenc
