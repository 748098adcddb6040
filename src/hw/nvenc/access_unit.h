#pragma once

#include <cstdint>
#include <span>

namespace xv {

// Whether an access unit in Annex B holds a slice of an IDR picture of H.264 (nal_unit_type 5 of
// ITU-T H.264 7.4.1). Slices of H.265, whose type stands elsewhere in the byte, are never taken for
// one.
bool HoldsIdrSlice(std::span<const std::uint8_t> accessUnit);

}  // namespace xv
