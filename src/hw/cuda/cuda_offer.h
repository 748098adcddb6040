#pragma once

#include <string>

namespace xv {

// What the CUDA encoder offers.
struct CudaOffer {
  // Why nothing can be encoded, for a person: no library, no adapter, a call that fails. "" when it
  // works.
  std::string problem;
  int adapters = 0;

  bool Works() const { return problem.empty(); }
};

// Makes an encoder as far as its adapter, and gives it up. Any thread.
CudaOffer ProbeCuda();

}  // namespace xv
