#pragma once

#include <span>

#include "base/ref.h"
#include "hw/hw_encoder.h"
#include "hw/pseudo_codecs.h"
#include "tree/attribute.h"

namespace xv {

// Places of one track for the vendors' encoders. One of them is filled at most, from the track's
// open to its close; all are empty where FFmpeg encodes.
struct XvHwEncoderSet {
  Ref<HwEncoder> cuda;
  Ref<HwEncoder> nv;
  Ref<HwEncoder> qs;

  // The place of a vendor's codec; null for kNone.
  Ref<HwEncoder>* Slot(PseudoCodec code);
  // The encoder that is there; null where none is.
  HwEncoder* Filled() const;
};

// A closed encoder; null for a codec that this build has no encoder of.
Ref<HwEncoder> MakeHwEncoder(PseudoCodec code);

// What the encoder of a vendor's codec reads of the track's node; empty for kNone.
std::span<const AttributeRow> HwAttributes(PseudoCodec code);

}  // namespace xv
