#pragma once

#include "xvwriter/object.h"

namespace xv::test {

inline constexpr Guid kOtherClass{
    0x7d1c1d5e, 0x0f53, 0x4b5a, {0x9e, 0x0b, 0x37, 0x5e, 0x21, 0x88, 0x90, 0x11}};
inline constexpr char kOtherClassText[] = "7d1c1d5e-0f53-4b5a-9e0b-375e21889011";

}  // namespace xv::test
