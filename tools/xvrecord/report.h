#pragma once

#include <cstdint>
#include <string>

#include "xvwriter/host.hpp"

namespace xvrecord {

struct Totals {
  std::int64_t frames = 0;    // with picture, sound or both
  std::int64_t pictures = 0;  // of the input
  double mediaSeconds = 0;
  double wallSeconds = 0;
  double cpuSeconds = 0;
  bool stopped = false;  // by a signal: what was recorded is whole, the input was not at its end
};

double CpuSeconds();

// The closing line: file, streams, duration, frames, drops, size, speed. Streams and duration are
// read back from the file.
std::string ClosingLine(const std::string& target, const xv::host::Writer& writer,
                        const Totals& totals);

// Everything as JSON.
std::string StatsJson(const std::string& target, const xv::host::Writer& writer,
                      const Totals& totals, xv::HRESULT result);

}  // namespace xvrecord
