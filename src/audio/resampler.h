#pragma once

#include <cstdint>

#include "audio/channels_buffer.h"
#include "base/status.h"
#include "contracts/av_handles.h"

namespace xv {

// Rate conversion of a set of planes with state: blocks of any size that follow one another give
// the same samples as one long block. One caller at a time.
class Resampler {
 public:
  // Appends the converted samples of all unread bytes of `source` to `target`, whose channels
  // become as many as the source's. `sampleBytes` is 2 (S16) or 4 (float). A change of rates,
  // channels or width drops the state: flush first.
  Status Convert(XvChannelsBuffer& source, int fromRate, int toRate, int sampleBytes,
                 XvChannelsBuffer& target);
  // Appends the filter's tail to `target` and ends the run.
  Status Flush(XvChannelsBuffer& target);
  // A run is under way: there is a tail to flush.
  bool Running() const { return context_ != nullptr; }
  // The run under way has these rates and channels.
  bool Serves(int fromRate, int toRate, int channels) const;
  void Reset() { context_.reset(); }

 private:
  Status Open(int fromRate, int toRate, int channels, int sampleBytes);
  Status Run(const std::uint8_t* const* input, int inputSamples, XvChannelsBuffer& target);

  AvPtr<SwrContext> context_;
  int fromRate_ = 0;
  int toRate_ = 0;
  int channels_ = 0;
  int sampleBytes_ = 0;
};

}  // namespace xv
