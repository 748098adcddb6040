#pragma once

#include <string>

#include "hw/cuda/cuda_offer.h"
#include "hw/nvenc/nvenc_offer.h"
#include "hw/quicksync/quick_offer.h"

namespace xvhw {

// What was found of each maker's encoders.
struct Machine {
  std::string vendorFolder;  // "" when none is given
  int adapter = 0;           // that NVENC was asked on
  xv::NvencOffer nvenc;
  xv::CudaOffer cuda;
  xv::QuickOffer quick;

  bool AnythingWorks() const { return nvenc.Works() || cuda.Works() || quick.Works(); }
};

// For a person, a line for each encoder and one for each of its codecs.
std::string TextReport(const Machine& machine);
// One object, with a line end.
std::string JsonReport(const Machine& machine);

}  // namespace xvhw
