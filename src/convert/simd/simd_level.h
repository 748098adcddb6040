#pragma once

#include <vector>

namespace xv {

// Instruction sets that the picture kernels are built for, lowest first. kPlain is the reference
// in portable C++: every other level gives the same bytes.
enum class SimdLevel { kPlain, kSsse3, kAvx2 };

const char* SimdLevelName(SimdLevel level);  // "plain", "ssse3", "avx2"

// The levels that this processor offers, lowest first.
const std::vector<SimdLevel>& SimdLevels();

// The level in force: the highest, or the one that the environment variable XVWRITER_SIMD names,
// where the processor offers it.
SimdLevel ActiveSimdLevel();
// For tests: no kernel may be running.
void SetSimdLevel(SimdLevel level);

// What is built for each level.
template <class T>
const T& SelectLevel(SimdLevel level, const T& plain, const T& ssse3, const T& avx2) {
  return level == SimdLevel::kAvx2 ? avx2 : level == SimdLevel::kSsse3 ? ssse3 : plain;
}

}  // namespace xv
