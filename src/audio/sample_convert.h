#pragma once

#include <cstdint>

#include "xvwriter/media.h"

extern "C" {
#include <libavutil/samplefmt.h>
}

// Sample words: widths, conversions, interleaved against planar.
namespace xv {

// Bytes of a sample as the host interleaves it: 20 and 24 bits lie in 3 bytes, 12 in 2. A negative
// count (float) counts by its absolute value.
int HostSampleBytes(int bits);
// Bytes of a sample as buffers store it: as above, but 3 becomes 4. Stored 4 bytes are a float.
int StoredSampleBytes(int bits);

// Spreads interleaved host samples of `format` over `planes` (one for each channel of the format;
// null leaves a channel out), as stored samples of `targetBytes` bytes (2 or 4). 24 bits into 16
// keep the upper 16.
void Deinterleave(const XV_AUD_PROPS& format, const std::uint8_t* data, std::int32_t samples,
                  std::uint8_t* const* planes, int targetBytes);

// Writes `samples` stored samples of one channel as FFmpeg's `format` (packed form or planar
// alike), `stride` samples apart. A null `source` writes silence. False for a format that is not
// served.
bool WriteSamples(const std::uint8_t* source, int sourceBytes, std::int32_t samples,
                  AVSampleFormat format, std::uint8_t* target, int stride);

}  // namespace xv
