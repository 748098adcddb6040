#include "xvrecord/packet_stream.h"

#include <algorithm>

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace xvrecord {
namespace {

std::int64_t Stamp(std::int64_t stamp) { return stamp == AV_NOPTS_VALUE ? xv::kNoTime : stamp; }

// Of the whole picture.
void SetAspect(AVRational pixels, xv::XV_STREAM_INFO* info) {
  if (pixels.num <= 0 || pixels.den <= 0) return;
  av_reduce(&info->nAspectX, &info->nAspectY, std::int64_t{info->nWidth} * pixels.num,
            std::int64_t{info->nHeight} * pixels.den, INT32_MAX);
}

std::uint32_t FieldsOf(AVFieldOrder order) {
  switch (order) {
    case AV_FIELD_PROGRESSIVE:
      return xv::eXvI_Progressive;
    case AV_FIELD_TT:
    case AV_FIELD_TB:
      return xv::eXvI_TopFirst;
    case AV_FIELD_BB:
    case AV_FIELD_BT:
      return xv::eXvI_BottomFirst;
    default:
      return xv::eXvI_Auto;
  }
}

void SetColour(const AVCodecParameters& from, xv::XV_STREAM_INFO* info) {
  const auto known = [](int code) { return code == 2 ? 0u : static_cast<std::uint32_t>(code); };
  info->nPrimaries = known(from.color_primaries);
  info->nTransfer = known(from.color_trc);
  if (from.color_space != AVCOL_SPC_UNSPECIFIED) {
    info->nMatrix = static_cast<std::uint32_t>(from.color_space) + 1;
  }
  info->nRange = static_cast<std::uint32_t>(from.color_range);
}

}  // namespace

std::shared_ptr<const xv::host::PacketStream> DescribePackets(AVFormatContext& input,
                                                              AVStream& stream) {
  const AVCodecParameters& from = *stream.codecpar;
  auto made =
      std::make_shared<xv::host::PacketStream>(xv::eXfMT_Video, avcodec_get_name(from.codec_id));
  xv::XV_STREAM_INFO& info = made->info;
  info.nTimeBaseNum = stream.time_base.num;
  info.nTimeBaseDen = stream.time_base.den;
  info.nWidth = from.width;
  info.nHeight = from.height;
  const AVRational rate = av_guess_frame_rate(&input, &stream, nullptr);
  if (rate.num > 0) info.dblRate = av_q2d(rate);
  SetAspect(av_guess_sample_aspect_ratio(&input, &stream, nullptr), &info);
  info.nBits = from.bits_per_coded_sample;
  info.nBitrate = static_cast<std::int32_t>(std::clamp<std::int64_t>(from.bit_rate, 0, INT32_MAX));
  info.fccTag = from.codec_tag;
  info.nProfile = std::max(from.profile, 0);
  info.nLevel = std::max(from.level, 0);
  info.eInterlace = FieldsOf(from.field_order);
  info.nReorder = static_cast<std::uint32_t>(std::max(from.video_delay, 0));
  SetColour(from, &info);
  if (from.extradata_size > 0) {
    made->extra.assign(from.extradata, from.extradata + from.extradata_size);
  }
  return made;
}

xv::host::EncodedData EncodedDataOf(const AVPacket& packet) {
  const std::shared_ptr<AVPacket> kept(av_packet_clone(&packet),
                                       [](AVPacket* p) { av_packet_free(&p); });
  if (kept == nullptr) throw std::bad_alloc();
  xv::host::EncodedData data;
  data.data = kept->data;
  data.bytes = static_cast<std::size_t>(kept->size);
  data.pts = Stamp(kept->pts);
  data.dts = Stamp(kept->dts);
  data.duration = static_cast<std::int32_t>(std::min<std::int64_t>(kept->duration, INT32_MAX));
  data.key = (kept->flags & AV_PKT_FLAG_KEY) != 0;
  data.keep = kept;
  return data;
}

}  // namespace xvrecord
