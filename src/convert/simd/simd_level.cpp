#include "convert/simd/simd_level.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>

#include "base/text.h"
#include "hwy/targets.h"

namespace xv {
namespace {

std::atomic<SimdLevel>& Active() {
  static std::atomic<SimdLevel> level = [] {
    const char* wanted = std::getenv("XVWRITER_SIMD");
    for (const SimdLevel candidate : SimdLevels()) {
      if (wanted != nullptr && EqualsNoCase(wanted, SimdLevelName(candidate))) return candidate;
    }
    return SimdLevels().back();
  }();
  return level;
}

}  // namespace

const char* SimdLevelName(SimdLevel level) {
  constexpr const char* kNames[] = {"plain", "ssse3", "avx2"};
  return kNames[static_cast<int>(level)];
}

const std::vector<SimdLevel>& SimdLevels() {
  static const std::vector<SimdLevel> levels = [] {
    const auto supported = hwy::SupportedTargets();
    std::vector<SimdLevel> found = {SimdLevel::kPlain};
    if ((supported & HWY_SSSE3) != 0) found.push_back(SimdLevel::kSsse3);
    if ((supported & HWY_AVX2) != 0) found.push_back(SimdLevel::kAvx2);
    return found;
  }();
  return levels;
}

SimdLevel ActiveSimdLevel() { return Active().load(std::memory_order_relaxed); }

void SetSimdLevel(SimdLevel level) {
  if (std::find(SimdLevels().begin(), SimdLevels().end(), level) != SimdLevels().end()) {
    Active().store(level, std::memory_order_relaxed);
  }
}

}  // namespace xv
