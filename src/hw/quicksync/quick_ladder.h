#pragma once

#include <vector>

#include "hw/quicksync/quick_api.h"

namespace xv {

// Implementations in the order in which a session is tried on them: devices by VA-API, devices in
// any way, whatever there is, the software runtime. `forceGpu` puts one ahead of them: 0 to 3 that
// adapter's, -1 the software runtime. What is ahead and fails leaves the rest as it is, so that
// nothing that works is left out.
std::vector<mfxIMPL> ImplementationOrder(int forceGpu);

}  // namespace xv
