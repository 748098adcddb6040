#pragma once

#include <cstddef>
#include <cstdint>

#include "hw/quicksync/quick_session.h"
#include "hw/quicksync/quick_settings.h"

namespace xv {

// Parameter sets of an initialised encoder in Annex B, the sequence's first. `size`: in the bytes
// of `into` (may be null: only the size is told), out those of both.
//   E_OUTOFMEMORY  there is less room than both take.
//   E_FAIL         as the session's failure tells.
Status ReadParameterSets(QuickSession& session, const QuickSettings& settings, std::uint8_t* into,
                         std::size_t* size);

}  // namespace xv
