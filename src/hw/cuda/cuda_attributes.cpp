#include "hw/cuda/cuda_attributes.h"

namespace xv {

bool IsCudaLevel(std::string_view text) {
  const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
  return text.size() == 3 && isDigit(text[0]) && text[1] == '.' && isDigit(text[2]);
}

std::span<const AttributeRow> CudaAttributes() {
  static constexpr AttributeRow kRows[] = {kCudaPresetKey,
                                           kCudaG,
                                           kCudaBf,
                                           kCudaDynamicGopKey,
                                           kCudaProfile,
                                           kCudaLevel,
                                           kCudaRcType,
                                           kCudaQpI,
                                           kCudaQpP,
                                           kCudaQpB,
                                           kCudaDeblockKey,
                                           kCudaDisableCabac,
                                           kCudaDisableHeaders,
                                           kCudaDeinterlaceKey,
                                           kCudaB,
                                           kCudaMaxRate,
                                           kCudaNalType};
  return kRows;
}

}  // namespace xv
