#include "hw/stamps.h"

#include <algorithm>

namespace xv {
namespace {

constexpr AVRational kHundredNanoseconds{1, 10'000'000};
constexpr AVRational kClock90{1, 90'000};
constexpr AVRational kMicroseconds{1, 1'000'000};
// More than any order of pictures that H.264 allows.
constexpr std::int64_t kMostLead = 16;

AVRational Usable(AVRational timeBase) {
  return timeBase.num > 0 && timeBase.den > 0 ? timeBase : kMicroseconds;
}

std::int64_t Rescale(std::int64_t stamp, AVRational from, AVRational to) {
  return stamp == AV_NOPTS_VALUE ? stamp : av_rescale_q(stamp, from, to);
}

}  // namespace

std::int64_t ToHundredNanoseconds(std::int64_t pts, AVRational timeBase) {
  return Rescale(pts, Usable(timeBase), kHundredNanoseconds);
}

std::int64_t FromHundredNanoseconds(std::int64_t stamp, AVRational timeBase) {
  return Rescale(stamp, kHundredNanoseconds, Usable(timeBase));
}

std::uint64_t ToClock90(std::int64_t stamp) {
  if (stamp == AV_NOPTS_VALUE) return kUnknownClock;
  return static_cast<std::uint64_t>(Rescale(stamp, kHundredNanoseconds, kClock90));
}

std::int64_t FromClock90(std::uint64_t clock) {
  if (clock == kUnknownClock) return AV_NOPTS_VALUE;
  return av_rescale_q_rnd(static_cast<std::int64_t>(clock), kClock90, kHundredNanoseconds,
                          AV_ROUND_ZERO);
}

int DecodingLead(std::uint64_t presentation, std::uint64_t decoding, AVRational picture) {
  const bool told = decoding != 0 && decoding < kUnknownClock - 1;
  if (!told || presentation == kUnknownClock || picture.num <= 0 || picture.den <= 0) return 1;
  const auto ahead = static_cast<std::int64_t>(presentation - decoding);
  return static_cast<int>(
      std::clamp<std::int64_t>(av_rescale_q(ahead, kClock90, picture), 0, kMostLead));
}

}  // namespace xv
