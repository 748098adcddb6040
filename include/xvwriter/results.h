#pragma once

#include <cstdint>

// Results of every interface operation: a 32-bit status. Negative is failure, 0 success, 1 "nothing
// done". A system error N appears as 0x80070000 | (N & 0xFFFF).
namespace xv {

using HRESULT = std::int32_t;

#define XV_STATUS(name, value, sentence) \
  inline constexpr HRESULT name = static_cast<HRESULT>(value);
#include "xvwriter/status_codes.def"
#undef XV_STATUS

constexpr bool Failed(HRESULT result) { return result < 0; }
constexpr bool Succeeded(HRESULT result) { return result >= 0; }

// The status that stands for system error `error` (a positive number).
constexpr HRESULT StatusFromSystemError(std::uint32_t error) {
  return static_cast<HRESULT>((error & 0xFFFFu) | 0x80070000u);
}

// The sentence of a status of the table, or null for one that is not in it.
constexpr const char* StatusSentence(HRESULT result) {
  switch (result) {
#define XV_STATUS(name, value, sentence) \
  case name:                             \
    return sentence;
#include "xvwriter/status_codes.def"
#undef XV_STATUS
    default:
      return nullptr;
  }
}

}  // namespace xv
