#pragma once

#include <string>

#include "base/status.h"

namespace xv {

// The sentence of a status, or its number ("0x8007007F") where it has none, as other makers' may.
std::string StatusWords(Status status);

}  // namespace xv
