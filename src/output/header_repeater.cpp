#include "output/header_repeater.h"

namespace xv {
namespace {

bool HasHeadersInItsStream(AVCodecID codec) {
  return codec == AV_CODEC_ID_H264 || codec == AV_CODEC_ID_HEVC || codec == AV_CODEC_ID_MPEG4 ||
         codec == AV_CODEC_ID_MPEG2VIDEO || codec == AV_CODEC_ID_MPEG1VIDEO;
}

}  // namespace

Status HeaderRepeater::Add(const AVFormatContext& context, int stream,
                           const AVCodecContext& codec) {
  const bool apart = (codec.flags & AV_CODEC_FLAG_GLOBAL_HEADER) != 0 && codec.extradata_size > 0;
  const bool wantedApart = (context.oformat->flags & AVFMT_GLOBALHEADER) != 0;
  if (!apart || wantedApart || !HasHeadersInItsStream(codec.codec_id)) return S_OK;
  AVBSFContext* made = nullptr;
  const AVBitStreamFilter* repeat = av_bsf_get_by_name("dump_extra");
  if (repeat == nullptr || av_bsf_alloc(repeat, &made) < 0) return E_OUTOFMEMORY;
  AvPtr<AVBSFContext> filter(made);
  const AVStream& of = *context.streams[stream];
  if (avcodec_parameters_copy(filter->par_in, of.codecpar) < 0) return E_OUTOFMEMORY;
  filter->time_base_in = of.time_base;
  if (av_bsf_init(filter.get()) < 0) return E_OUTOFMEMORY;
  if (filters_.size() <= static_cast<std::size_t>(stream)) {
    filters_.resize(static_cast<std::size_t>(stream) + 1);
  }
  filters_[static_cast<std::size_t>(stream)] = std::move(filter);
  return S_OK;
}

int HeaderRepeater::Apply(AVPacket* packet) {
  const auto stream = static_cast<std::size_t>(packet->stream_index);
  if (stream >= filters_.size() || !filters_[stream]) return 0;
  // One packet in, one out.
  const int sent = av_bsf_send_packet(filters_[stream].get(), packet);
  return sent < 0 ? sent : av_bsf_receive_packet(filters_[stream].get(), packet);
}

}  // namespace xv
