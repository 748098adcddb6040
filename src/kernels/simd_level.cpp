#include "kernels/simd_level.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <utility>

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
  constexpr const char* kNames[] = {"plain", "ssse3", "sse4", "avx2", "avx512", "avx512_dl"};
  return kNames[static_cast<int>(level)];
}

const std::vector<SimdLevel>& SimdLevels() {
  static const std::vector<SimdLevel> levels = [] {
    constexpr std::pair<std::int64_t, SimdLevel> kTargets[] = {{HWY_SSSE3, SimdLevel::kSsse3},
                                                               {HWY_SSE4, SimdLevel::kSse4},
                                                               {HWY_AVX2, SimdLevel::kAvx2},
                                                               {HWY_AVX3, SimdLevel::kAvx512},
                                                               {HWY_AVX3_DL, SimdLevel::kAvx512Dl}};
    std::vector<SimdLevel> found = {SimdLevel::kPlain};
    for (const auto& [target, level] : kTargets) {
      if ((hwy::SupportedTargets() & target) != 0) found.push_back(level);
    }
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
