#include "codec/muxer_defaults.h"

#include <string_view>

extern "C" {
#include <libavutil/avstring.h>
#include <libavutil/opt.h>
}

namespace xv {
namespace {

// How far sound and pictures stand ahead of the clock in a transport stream, in microseconds: what
// a decoder has to fill its buffer. FFmpeg's own 0 lets half of the packets arrive late.
constexpr int kDecoderDelay = 700'000;

bool HasClock(const AVOutputFormat& format) {
  constexpr const char* kNames = "mpegts,hls,segment,stream_segment,ssegment,rtp_mpegts";
  return av_match_name(format.name, kNames) != 0;
}

}  // namespace

void SetMuxerDefaults(AVFormatContext& context) {
  if (HasClock(*context.oformat)) context.max_delay = kDecoderDelay;
  // Sound would wait for others of its kind in the muxer; readers of a growing file and of a stream
  // want it at once.
  if (std::string_view(context.oformat->name) == "mpegts") {
    (void)av_opt_set_int(context.priv_data, "pes_payload_size", 0, 0);
  }
}

}  // namespace xv
