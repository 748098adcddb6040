#pragma once

#include <cstdint>

// Results of every interface operation: a 32-bit status, negative for a failure.
//
// - 0 (S_OK) is done; 1 (S_FALSE) says that nothing was done or it was already so, such as a frame
//   that was dropped. Both are success: test with Failed, not against S_OK.
// - A failure leaves out arguments null or as they were and keeps no reference to what was passed.
// - 0x8007nnnn is an error of the operating system, nnnn the number of the same fault in Win32 and
//   Winsock: 0x80070070 is a full disk, 0x8007274D a connection that was refused.
//
// docs/status-codes.md lists the statuses that this library gives, each with a sentence. What went
// wrong in a recording in the library's own words is the property "quality::last_error".
namespace xv {

using HRESULT = std::int32_t;

// One constant for each row of the table.
#define XV_STATUS(name, value, sentence) \
  inline constexpr HRESULT name = static_cast<HRESULT>(value);
#include "xvwriter/status_codes.def"
#undef XV_STATUS

constexpr bool Failed(HRESULT result) { return result < 0; }
constexpr bool Succeeded(HRESULT result) { return result >= 0; }

// The sentence of a status of the table, for a person; null for one that is not in it. Static
// storage. host.hpp's Describe makes a text of any status.
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
