#include "codec/audio_format_pick.h"

#include <algorithm>
#include <cstdlib>
#include <span>

namespace xv {
namespace {

constexpr AVSampleFormat kFloat[] = {AV_SAMPLE_FMT_FLT, AV_SAMPLE_FMT_FLTP};
constexpr AVSampleFormat kDeep[] = {AV_SAMPLE_FMT_S32,  AV_SAMPLE_FMT_S32P, AV_SAMPLE_FMT_FLT,
                                    AV_SAMPLE_FMT_FLTP, AV_SAMPLE_FMT_S16,  AV_SAMPLE_FMT_S16P};
constexpr AVSampleFormat k16[] = {AV_SAMPLE_FMT_S16, AV_SAMPLE_FMT_S16P};

std::span<const AVSampleFormat> Preferred(const AVCodec& codec, int bits) {
  if (codec.id == AV_CODEC_ID_MP3) bits = std::abs(bits);
  if (bits == -32) return kFloat;
  if (bits == 16) return k16;
  return kDeep;
}

}  // namespace

AVSampleFormat PickSampleFormat(const AVCodec& codec, int bitsPerSample) {
  if (codec.sample_fmts == nullptr) return AV_SAMPLE_FMT_S16;
  for (const AVSampleFormat wanted : Preferred(codec, bitsPerSample)) {
    for (const AVSampleFormat* have = codec.sample_fmts; *have != AV_SAMPLE_FMT_NONE; ++have) {
      if (*have == wanted) return wanted;
    }
  }
  return codec.sample_fmts[0];
}

int PickSampleRate(std::span<const int> rates, int rate) {
  if (rates.empty()) return rate;
  int above = 0;
  int below = 0;
  for (const int have : rates) {
    if (have >= rate && (above == 0 || have < above)) above = have;
    if (have < rate) below = std::max(below, have);
  }
  return above != 0 ? above : below;
}

std::span<const int> SampleRatesOf(const AVCodec& codec) {
  const int* const rates = codec.supported_samplerates;
  if (rates == nullptr) return {};
  std::size_t count = 0;
  while (rates[count] != 0) ++count;
  return {rates, count};
}

}  // namespace xv
