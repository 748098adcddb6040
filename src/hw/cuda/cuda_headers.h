#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "base/status.h"

namespace xv {

// Parameter sets as the vendor's library gives them: the sequence set and the picture set, each
// behind its length in two bytes, which is 255 times the first plus the second. Writes them in
// Annex B, each behind a start code of four bytes, into the `size` bytes of `into`; `size` becomes
// what was written. E_FAIL, with `size` 0, for other data and where there is too little room.
Status CudaHeadersToAnnexB(std::span<const std::uint8_t> raw, std::uint8_t* into,
                           std::size_t* size);

}  // namespace xv
