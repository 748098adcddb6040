#include "audio/resampler.h"

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
}

namespace xv {

bool Resampler::Serves(int fromRate, int toRate, int channels) const {
  return Running() && fromRate == fromRate_ && toRate == toRate_ && channels == channels_;
}

Status Resampler::Open(int fromRate, int toRate, int channels, int sampleBytes) {
  // Planes are independent: the layout only tells their number.
  AVChannelLayout layout{};
  layout.order = AV_CHANNEL_ORDER_UNSPEC;
  layout.nb_channels = channels;
  const AVSampleFormat format = sampleBytes == 2 ? AV_SAMPLE_FMT_S16P : AV_SAMPLE_FMT_FLTP;
  SwrContext* made = nullptr;
  const int result =
      swr_alloc_set_opts2(&made, &layout, format, toRate, &layout, format, fromRate, 0, nullptr);
  context_.reset(made);
  if (result < 0 || swr_init(made) < 0) {
    context_.reset();
    return E_OUTOFMEMORY;
  }
  fromRate_ = fromRate;
  toRate_ = toRate;
  channels_ = channels;
  sampleBytes_ = sampleBytes;
  return S_OK;
}

Status Resampler::Run(const std::uint8_t* const* input, int inputSamples,
                      XvChannelsBuffer& target) {
  const std::uint32_t held = target.Available();
  const int room = swr_get_out_samples(context_.get(), inputSamples);
  if (room < 0) return E_FAIL;
  if (room == 0) return S_OK;
  const auto width = static_cast<std::uint32_t>(sampleBytes_);
  RETURN_IF_FAILED(
      target.Reserve(held + static_cast<std::uint32_t>(room) * width, channels_, true));
  auto* const* output = target.Planes(0, held, channels_);
  const int got = swr_convert(context_.get(), const_cast<std::uint8_t**>(output), room,
                              const_cast<const std::uint8_t**>(input), inputSamples);
  if (got < 0) return E_FAIL;
  return target.Reserve(held + static_cast<std::uint32_t>(got) * width, channels_, true);
}

Status Resampler::Convert(XvChannelsBuffer& source, int fromRate, int toRate, int sampleBytes,
                          XvChannelsBuffer& target) {
  const int channels = source.ChannelCount();
  const auto samples = static_cast<int>(source.Available() / static_cast<unsigned>(sampleBytes));
  if (samples == 0 || channels == 0) return S_OK;
  if (!Serves(fromRate, toRate, channels) || sampleBytes != sampleBytes_) {
    RETURN_IF_FAILED(Open(fromRate, toRate, channels, sampleBytes));
  }
  return Run(source.Planes(0, 0, channels), samples, target);
}

Status Resampler::Flush(XvChannelsBuffer& target) {
  if (!Running()) return S_OK;
  const Status status = Run(nullptr, 0, target);
  Reset();
  return status;
}

}  // namespace xv
