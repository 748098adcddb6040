#include "codec/stream_holder.h"

namespace xv {
namespace {

int FillOne(AVStream* stream, const AVCodecContext* codec) {
  const std::uint32_t tag = stream->codecpar->codec_tag;
  const int result = avcodec_parameters_from_context(stream->codecpar, codec);
  if (tag != 0) stream->codecpar->codec_tag = tag;
  return result;
}

}  // namespace

int FillStreamParameters(StreamHolder& holder) {
  const int result = FillOne(holder.stream, holder.codec.get());
  if (result < 0 || holder.twin == nullptr) return result;
  return FillOne(holder.twin, holder.codec.get());
}

}  // namespace xv
