#pragma once

#include <stdexcept>

namespace xv::test {

// What a pointer leads to. A test that finds nothing there fails by an exception.
template <class Pointer>
decltype(auto) Needed(Pointer&& pointer) {
  if (!pointer) throw std::runtime_error("nothing is there");
  return *pointer;
}

}  // namespace xv::test
