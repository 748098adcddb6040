#pragma once

#include <atomic>
#include <cstdint>

namespace xv {

// Caption byte pairs of one session. Any thread may count and read.
struct CaptionCounters {
  std::atomic<std::int64_t> seen{0};      // found in frames
  std::atomic<std::int64_t> written{0};   // in side files
  std::atomic<std::int64_t> embedded{0};  // put into packets
  std::atomic<std::int64_t> lost{0};      // given up
};

}  // namespace xv
