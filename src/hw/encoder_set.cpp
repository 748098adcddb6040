#include "hw/encoder_set.h"

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

Ref<HwEncoder> MakeHwEncoder(PseudoCodec) { return nullptr; }

std::span<const AttributeRow> HwAttributes(PseudoCodec) { return {}; }

}  // namespace xv
