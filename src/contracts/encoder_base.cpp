#include "contracts/encoder_base.h"

namespace xv {

XvEncoderBaseLegacy::~XvEncoderBaseLegacy() = default;

}  // namespace xv
