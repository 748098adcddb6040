#pragma once

#include "hw/nvenc/nvenc_abilities.h"
#include "hw/nvenc/nvenc_api.h"
#include "hw/nvenc/nvenc_presets.h"
#include "hw/nvenc/nvenc_reader.h"
#include "xvwriter/media.h"

// What a session is initialised with, out of the attributes, the preset and the adapter's
// abilities. No call to the vendor is made here.
namespace xv {

// The preset that the attributes chose, as the driver has it.
struct NvencChosenPreset {
  int word = 0;
  NvencPreset preset;      // what the session gets: of an absent one the default preset
  bool listed = false;     // the driver has the chosen one
  NV_ENC_CONFIG config{};  // its settings; of a listed one alone

  // The preset rules over the rows of profile, level, slices and intra refresh.
  bool Rules() const { return listed && word > 0; }
  bool Lossless() const { return Rules() && IsLosslessWord(word); }
};

struct NvencSettingsRequest {
  XV_VID_PROPS vid{};
  bool hevc = false;
  NvencApi api;
  const NvencChosenPreset& preset;
  const NvencAbilities& abilities;
};

struct NvencSettings {
  NV_ENC_CONFIG config{};
  NV_ENC_INITIALIZE_PARAMS params{};  // encodeConfig is null: set it where the session is told
  int fieldOrder = 0;  // of pictures that are coded in fields: above 0 the top field comes first

  // Sizes of the buffers: pixels, lines.
  std::uint32_t BufferWidth() const;
  std::uint32_t BufferHeight() const;
  // Buffers of the ring at the start.
  std::size_t RingSize() const;
  // Pictures by which decoding stamps run ahead.
  int DecodingDelay() const;
};

// Lines that are encoded of a picture of `height` lines: 486 lines are 480 and 6 above them.
int EncodedHeight(int height);

// Brings down what the adapter cannot do; `reader` collects it.
NvencSettings MakeNvencSettings(const NvencSettingsRequest& request, NvencReader& reader);

}  // namespace xv
