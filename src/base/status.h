#pragma once

#include <cstdint>

#include "xvwriter/results.h"

namespace xv {

// A status inside the library: the number that the interfaces give, with predicates. Converts from
// HRESULT so that `return E_INVALIDARG;` reads well; becomes an HRESULT by `.code()` alone.
class [[nodiscard]] Status {
 public:
  constexpr Status() = default;
  constexpr Status(HRESULT code) : code_(code) {}  // NOLINT(google-explicit-constructor)

  constexpr HRESULT code() const { return code_; }
  constexpr bool Failed() const { return code_ < 0; }
  constexpr bool Ok() const { return code_ >= 0; }
  constexpr bool NothingDone() const { return code_ == S_FALSE; }

  // Keeps the first failure: for closing, where every step runs.
  constexpr void Update(Status other) {
    if (!Failed() && other.Failed()) code_ = other.code_;
  }

  friend constexpr bool operator==(Status a, Status b) { return a.code_ == b.code_; }

 private:
  HRESULT code_ = S_OK;
};

// The status of a POSIX errno: the system error that hosts know for the same fault, always one with
// a sentence; XV_E_GENERAL_FAILURE where there is no such error.
Status StatusFromErrno(int error);
// An errno of that status; EIO where there is none.
int ErrnoFromStatus(Status status);

#define RETURN_IF_FAILED(expr)                                   \
  do {                                                           \
    if (const ::xv::Status status_ = (expr); status_.Failed()) { \
      return status_;                                            \
    }                                                            \
  } while (false)

}  // namespace xv
