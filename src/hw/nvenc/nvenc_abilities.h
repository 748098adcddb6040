#pragma once

#include <array>

#include "hw/nvenc/nvenc_api.h"

namespace xv {

class NvencSession;

// What an adapter can do with one codec.
class NvencAbilities {
 public:
  NvencAbilities() { values_.fill(-1); }

  void Set(NV_ENC_CAPS ability, int value) { values_.at(ability) = value; }
  // -1 where the driver does not tell.
  int Of(NV_ENC_CAPS ability) const { return values_.at(ability); }
  // The driver says that it cannot.
  bool Lacks(NV_ENC_CAPS ability) const { return Of(ability) == 0; }
  bool Has(NV_ENC_CAPS ability) const { return Of(ability) > 0; }

 private:
  std::array<int, NV_ENC_CAPS_EXPOSED_COUNT> values_{};
};

NvencAbilities ReadAbilities(NvencSession& session);

}  // namespace xv
