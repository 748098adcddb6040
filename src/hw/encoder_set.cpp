#include "hw/encoder_set.h"

#include "hw/cuda/cuda_attributes.h"
#include "hw/cuda/cuda_encoder.h"
#include "hw/nvenc/nv_encoder_hw.h"
#include "hw/nvenc/nvenc_attributes.h"
#include "hw/quicksync/quick_attributes.h"
#include "hw/quicksync/quick_encoder.h"

namespace xv {

Ref<HwEncoder>* XvHwEncoderSet::Slot(PseudoCodec code) {
  switch (code) {
    case PseudoCodec::kCuda264:
      return &cuda;
    case PseudoCodec::kNvenc264:
    case PseudoCodec::kNvenc265:
      return &nv;
    case PseudoCodec::kQuick264:
      return &qs;
    case PseudoCodec::kNone:
      break;
  }
  return nullptr;
}

HwEncoder* XvHwEncoderSet::Filled() const {
  for (const Ref<HwEncoder>* slot : {&cuda, &nv, &qs}) {
    if (*slot) return slot->get();
  }
  return nullptr;
}

Ref<HwEncoder> MakeHwEncoder(PseudoCodec code) {
  switch (code) {
    case PseudoCodec::kNvenc264:
    case PseudoCodec::kNvenc265:
      return MakeRef<NVEncoderHW>();
    case PseudoCodec::kCuda264:
      return MakeRef<CUDAEncoder>();
    case PseudoCodec::kQuick264:
      return MakeRef<QSEncoder>();
    case PseudoCodec::kNone:
      break;
  }
  return nullptr;
}

std::span<const AttributeRow> HwAttributes(PseudoCodec code) {
  switch (code) {
    case PseudoCodec::kNvenc264:
    case PseudoCodec::kNvenc265:
      return NvencAttributes(code == PseudoCodec::kNvenc265);
    case PseudoCodec::kCuda264:
      return CudaAttributes();
    case PseudoCodec::kQuick264:
      return QuickAttributes();
    case PseudoCodec::kNone:
      break;
  }
  return {};
}

}  // namespace xv
