#pragma once

#include <array>
#include <cstddef>
#include <vector>

namespace xv {

// Instruction sets that the picture kernels are built for, lowest first. kPlain is the reference
// in portable C++: every other level gives the same bytes. kAvx512Dl is what the AVX-512 processors
// from 2019 on have (VBMI and its kin).
enum class SimdLevel { kPlain, kSsse3, kSse4, kAvx2, kAvx512, kAvx512Dl };
inline constexpr std::size_t kSimdLevels = 6;

const char* SimdLevelName(SimdLevel level);  // "plain", "ssse3" ... "avx512", "avx512_dl"

// The levels that this processor offers, lowest first.
const std::vector<SimdLevel>& SimdLevels();

// The level in force: the highest, or the one that the environment variable XVWRITER_SIMD names,
// where the processor offers it.
SimdLevel ActiveSimdLevel();
// For tests: no kernel may be running.
void SetSimdLevel(SimdLevel level);

// How a kernel writes what nobody reads soon. kStreamed goes past the cache: targets are multiples
// of 64 bytes, and a fence (ChannelKernels) comes before the picture is handed on.
enum class Stores { kCached, kStreamed };

// What is built for each level, in the order of SimdLevel.
template <class T>
T SelectLevel(SimdLevel level, const std::array<T, kSimdLevels>& built) {
  return built[static_cast<std::size_t>(level)];
}

}  // namespace xv

// The variant of `name` at a level, out of the namespaces that Highway gives its targets; `prefix`
// is & for its address or nothing for its value.
#define XV_AT_LEVEL(level, prefix, name)                                                      \
  ::xv::SelectLevel(level,                                                                    \
                    std::array{prefix plain::name, prefix N_SSSE3::name, prefix N_SSE4::name, \
                               prefix N_AVX2::name, prefix N_AVX3::name, prefix N_AVX3_DL::name})
