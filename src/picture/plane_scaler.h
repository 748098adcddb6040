#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/status.h"
#include "contracts/av_handles.h"

namespace xv {

// Scales bytes of planes or pixels through libswscale, with what it builds kept from picture to
// picture. The library reads and writes past the end of rows: it gets the rows near unknown memory
// as a copy, and writes its own rows. One caller at a time.
class PlaneScaler {
 public:
  struct Plane {
    const std::uint8_t* data;
    std::ptrdiff_t step;
    int width;  // pixels
    int height;
  };

  // Both directions, for samples of 1, 3 or 4 bytes. `quality` 1 takes the nearest sample, 2 is
  // linear, 8 averages areas, 16 is Lanczos, all others cubic.
  //   E_FAIL  the library refuses the size.
  Status Scale(const Plane& source, const Plane& target, int sampleBytes, int quality);

 private:
  AvPtr<SwsContext> context_;
  std::vector<std::uint8_t> edge_;  // the source rows that lie last in memory
  std::vector<std::uint8_t> made_;  // the target with padded rows
};

}  // namespace xv
