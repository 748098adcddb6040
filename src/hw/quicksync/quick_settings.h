#pragma once

#include <string_view>

#include "hw/attribute_reader.h"
#include "hw/quicksync/quick_api.h"
#include "xvwriter/media.h"

// What an encoder of a QuickSync session is initialised with, out of the attributes. No call to the
// runtime is made here.
namespace xv {

struct QuickSettings {
  mfxVideoParam param{};        // without extended buffers
  mfxExtCodingOption coding{};  // goes with it
  bool gpuMemory = false;       // pictures lie in the device's memory: on hardware alone
  bool useVpp = false;
};

// `hardware`: the session's. Rates beyond 65535 kbit/s, the type's end, go in units of
// BRCParamMultiplier; sizes of buffers with them.
QuickSettings MakeQuickSettings(const XV_VID_PROPS& vid, bool hardware, AttributeReader& reader);

// "1.9" is 13, "5.9" 52, "0.1" 11, "1.0b" 9: digits are brought to levels that there are. 0, which
// leaves it to the runtime, for anything else.
mfxU16 QuickLevel(std::string_view text);

// The aspect of a pixel, in lowest terms; 0:0 where it is not known, or a term takes 17 bits.
struct PixelAspect {
  mfxU16 across = 0;
  mfxU16 down = 0;
};
PixelAspect PixelAspectOf(const XV_VID_PROPS& vid);

// Kilobits or kilobytes, unit of `value`'s field, with the multiplier.
std::uint32_t Multiplied(const mfxVideoParam& param, mfxU16 value);

// Names in `reader` what the encoder made of the settings: rates, GOP, B pictures, level and more.
void NameCorrections(const mfxVideoParam& asked, const mfxVideoParam& got, AttributeReader& reader);

// `settings` with their extended buffers behind one pointer, for a call.
class LinkedParam {
 public:
  explicit LinkedParam(const QuickSettings& settings, mfxExtBuffer* more = nullptr);
  LinkedParam(const LinkedParam&) = delete;
  LinkedParam& operator=(const LinkedParam&) = delete;
  mfxVideoParam* get() { return &param_; }

 private:
  mfxVideoParam param_;
  mfxExtCodingOption coding_;
  mfxExtBuffer* list_[2];
};

}  // namespace xv
