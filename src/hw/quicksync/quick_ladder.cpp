#include "hw/quicksync/quick_ladder.h"

namespace xv {
namespace {

constexpr mfxIMPL kLadder[] = {
    MFX_IMPL_HARDWARE_ANY | MFX_IMPL_VIA_VAAPI,
    MFX_IMPL_HARDWARE | MFX_IMPL_VIA_VAAPI,
    MFX_IMPL_HARDWARE2 | MFX_IMPL_VIA_VAAPI,
    MFX_IMPL_HARDWARE3 | MFX_IMPL_VIA_VAAPI,
    MFX_IMPL_HARDWARE4 | MFX_IMPL_VIA_VAAPI,
    MFX_IMPL_HARDWARE_ANY,
    MFX_IMPL_HARDWARE,
    MFX_IMPL_HARDWARE2,
    MFX_IMPL_HARDWARE3,
    MFX_IMPL_HARDWARE4,
    MFX_IMPL_AUTO_ANY,
    MFX_IMPL_SOFTWARE,
};

}  // namespace

std::vector<mfxIMPL> ImplementationOrder(int forceGpu) {
  std::vector<mfxIMPL> order;
  if (forceGpu >= 0 && forceGpu <= 3) order.push_back(kLadder[forceGpu + 1]);
  if (forceGpu == -1) order.push_back(MFX_IMPL_SOFTWARE);
  order.insert(order.end(), std::begin(kLadder), std::end(kLadder));
  return order;
}

}  // namespace xv
