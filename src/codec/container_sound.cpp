#include "codec/container_sound.h"

#include <algorithm>

namespace xv {
namespace {

constexpr int k48000[] = {48000};
constexpr int kFlash[] = {11025, 22050, 44100};

constexpr std::string_view kOneTrack[] = {"ac3", "adts", "flv", "mp3", "mxf_d10", "swf", "wav"};

struct RateRow {
  std::string_view muxer;
  AVCodecID codec;  // AV_CODEC_ID_NONE for all
  std::span<const int> rates;
};

// SMPTE 382M and 386M and SMPTE 360M sound as FFmpeg writes them; Adobe's FLV and SWF file formats,
// versions 10 and 19.
constexpr RateRow kRates[] = {
    {"mxf", AV_CODEC_ID_NONE, k48000}, {"mxf_d10", AV_CODEC_ID_NONE, k48000},
    {"gxf", AV_CODEC_ID_NONE, k48000}, {"flv", AV_CODEC_ID_MP3, kFlash},
    {"swf", AV_CODEC_ID_NONE, kFlash},
};

}  // namespace

bool TakesOneAudioTrack(std::string_view muxer) {
  return std::find(std::begin(kOneTrack), std::end(kOneTrack), muxer) != std::end(kOneTrack);
}

std::span<const int> ContainerSampleRates(std::string_view muxer, AVCodecID codec) {
  for (const RateRow& row : kRates) {
    const bool ofCodec = row.codec == AV_CODEC_ID_NONE || row.codec == codec;
    if (row.muxer == muxer && ofCodec) return row.rates;
  }
  return {};
}

}  // namespace xv
