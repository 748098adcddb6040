#include "codec/stream_holder.h"

namespace xv {
namespace {

// Pictures hold both fields line by line. A container tells that apart from fields that stand one
// behind the other, which only Motion JPEG has.
AVFieldOrder WovenOrder(AVCodecID codec, AVFieldOrder order) {
  if (codec == AV_CODEC_ID_MJPEG) return order;
  if (order == AV_FIELD_TT) return AV_FIELD_TB;
  return order == AV_FIELD_BB ? AV_FIELD_BT : order;
}

int FillOne(AVStream* stream, const AVCodecContext* codec) {
  const std::uint32_t tag = stream->codecpar->codec_tag;
  const int result = avcodec_parameters_from_context(stream->codecpar, codec);
  if (tag != 0) stream->codecpar->codec_tag = tag;
  stream->codecpar->field_order = WovenOrder(codec->codec_id, codec->field_order);
  return result;
}

}  // namespace

bool GivesUp(const StreamHolder& holder) { return holder.givesUp && holder.givesUp(); }

Status GiveUpHeld(StreamHolder& holder) {
  holder.drained = true;
  const std::int64_t held = holder.framesSent - holder.packetsReceived;
  if (held <= 0) return S_OK;
  holder.failure = std::to_string(held) + " frames in the encoder were given up";
  return XV_E_ABORTED;
}

int FillStreamParameters(StreamHolder& holder) {
  const int result = FillOne(holder.stream, holder.codec.get());
  if (result < 0 || holder.twin == nullptr) return result;
  return FillOne(holder.twin, holder.codec.get());
}

}  // namespace xv
