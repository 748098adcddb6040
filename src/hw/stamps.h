#pragma once

#include <cstdint>

#include "contracts/av_handles.h"

// Clocks of stamps on their way through QuickSync: the codec context's time base, units of 100 ns,
// and the 90 kHz of its runtime. Halves round away from zero. A time base that is not above 0
// counts as microseconds.
namespace xv {

// AV_NOPTS_VALUE stays as it is.
std::int64_t ToHundredNanoseconds(std::int64_t pts, AVRational timeBase);
std::int64_t FromHundredNanoseconds(std::int64_t stamp, AVRational timeBase);

// The runtime's mark for a stamp that is not known: all bits set.
inline constexpr std::uint64_t kUnknownClock = ~std::uint64_t{0};

// AV_NOPTS_VALUE and kUnknownClock stand for each other. The way back cuts to whole 100 ns.
std::uint64_t ToClock90(std::int64_t stamp);
std::int64_t FromClock90(std::uint64_t clock);

// Pictures by which decoding runs ahead of showing, out of the first access unit's stamps and the
// length of a picture in seconds. 1 where the runtime does not tell: its decoding stamp is 0,
// kUnknownClock or one below that.
int DecodingLead(std::uint64_t presentation, std::uint64_t decoding, AVRational picture);

}  // namespace xv
