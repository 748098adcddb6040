#pragma once

#include <map>
#include <span>
#include <string>

#include "contracts/av_handles.h"

// Values that FFmpeg takes and its encoders and muxers do not stand: they end the process.
namespace xv {

// What an encoder may be given of an option, narrower than FFmpeg's own bounds.
struct OptionLimit {
  const char* name;
  double least;
  double most;
};

// The limits of that encoder; empty for those that need none.
std::span<const OptionLimit> LimitsOf(const AVCodec& codec);

// Names of options that were taken out, each with the reason in words.
using Refusals = std::map<std::string, std::string>;

// Takes out of `options` what the encoder, or the muxer, of `trial` would not stand. `trial` has
// the values of the session otherwise and is not opened afterwards: it keeps the options.
Refusals TakeOutFatalOptions(AvDictionary& options, AVCodecContext& trial);
Refusals TakeOutFatalOptions(AvDictionary& options, const AVOutputFormat& format);

}  // namespace xv
