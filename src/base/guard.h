#pragma once

#include <new>

#include "base/status.h"

namespace xv {

// Runs the body of an interface operation; what it throws becomes a status.
template <class Body>
HRESULT Guarded(Body&& body) noexcept {
  try {
    return Status(body()).code();
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  } catch (...) {
    return E_UNEXPECTED;
  }
}

}  // namespace xv
