#include "audio/audio_buffer.h"

#include <algorithm>
#include <limits>

#include "audio/channel_fold.h"
#include "audio/sample_convert.h"
#include "media/validity.h"

namespace xv {
namespace {

// What one channel may hold; far beyond any session's backlog, and safe in 32-bit sizes.
constexpr std::uint64_t kMaxChannelBytes = 1ULL << 30;

}  // namespace

int XvAudioBuffer2::StoredBytes() const { return StoredSampleBytes(format_.nBitsPerSample); }

bool XvAudioBuffer2::IsValid() const {
  return AudioPropsValid(format_, true) && channels_.ChannelCount() > 0;
}

std::int32_t XvAudioBuffer2::AvailableSamples() const {
  const int width = StoredBytes();
  return width == 0
             ? 0
             : static_cast<std::int32_t>(channels_.Available() / static_cast<unsigned>(width));
}

void XvAudioBuffer2::Reset(bool full) {
  calc_.Reset();
  resampler16_.Reset();
  resampler32_.Reset();
  channels_.Rewind();
  if (!full) return;
  channels_.Reset();
  format_ = {-1, 0, 0, 0};
}

Status XvAudioBuffer2::Prepare(const XV_AUD_PROPS* format, std::int32_t samples) {
  if (format == nullptr || samples < 0) return E_POINTER;
  if (!AudioPropsValid(*format, true)) return E_INVALIDARG;
  format_ = *format;
  const std::uint64_t bytes =
      static_cast<std::uint64_t>(samples) * static_cast<unsigned>(StoredBytes());
  if (bytes > kMaxChannelBytes) return E_OUTOFMEMORY;
  if (channels_.ChannelCount() == format_.nChannels && bytes <= channels_.Available()) return S_OK;
  return channels_.SetSize(static_cast<std::uint32_t>(bytes), format_.nChannels, true);
}

Status XvAudioBuffer2::Append(const XV_AUD_PROPS& format, const std::uint8_t* data,
                              std::uint32_t byteCount, bool keepTail, bool mixDown) {
  if (!AudioPropsValid(format, true)) return E_INVALIDARG;
  if (!AudioPropsValid(format_, true)) RETURN_IF_FAILED(Prepare(&format, 0));
  const auto blockBytes =
      static_cast<unsigned>(HostSampleBytes(format.nBitsPerSample) * format.nChannels);
  const auto samples = static_cast<std::int32_t>(byteCount / blockBytes);
  if (!keepTail) Reset(false);
  if (samples == 0) return S_OK;

  const bool sameRate = format.nSamplesPerSec == format_.nSamplesPerSec;
  const int planes = mixDown ? format_.nChannels : format.nChannels;
  if (sameRate || !ResamplerForWidth(StoredBytes())
                       .Serves(format.nSamplesPerSec, format_.nSamplesPerSec, planes)) {
    RETURN_IF_FAILED(Flush());
  }
  if (sameRate && format.nChannels <= format_.nChannels) return AppendDirect(format, data, samples);
  return AppendConverted(format, data, samples, mixDown);
}

Status XvAudioBuffer2::GrowBy(std::uint64_t bytes) {
  const std::uint64_t wanted = channels_.Available() + bytes;
  if (wanted > kMaxChannelBytes) {
    channels_.Reset();
    return E_OUTOFMEMORY;
  }
  return channels_.Reserve(static_cast<std::uint32_t>(wanted), format_.nChannels, true);
}

Status XvAudioBuffer2::AppendDirect(const XV_AUD_PROPS& format, const std::uint8_t* data,
                                    std::int32_t samples) {
  const std::uint32_t held = channels_.Available();
  const auto bytes = static_cast<std::uint64_t>(samples) * static_cast<unsigned>(StoredBytes());
  RETURN_IF_FAILED(GrowBy(bytes));
  const int given = data == nullptr ? 0 : format.nChannels;
  channels_.Clear(given, format_.nChannels - given, held, static_cast<std::uint32_t>(bytes));
  if (data != nullptr) {
    Deinterleave(format, data, samples, channels_.Planes(0, held, given), StoredBytes());
  }
  return S_OK;
}

Status XvAudioBuffer2::AppendConverted(const XV_AUD_PROPS& format, const std::uint8_t* data,
                                       std::int32_t samples, bool mixDown) {
  const int width = StoredBytes();
  const auto bytes = static_cast<std::uint64_t>(samples) * static_cast<unsigned>(width);
  if (bytes > kMaxChannelBytes) return E_OUTOFMEMORY;
  RETURN_IF_FAILED(
      intake_.SetSize(static_cast<std::uint32_t>(bytes), format.nChannels, data == nullptr));
  if (data != nullptr) {
    Deinterleave(format, data, samples, intake_.Planes(0, 0, format.nChannels), width);
  }
  if (mixDown) FoldChannels(intake_, format_.nChannels, width == 4);
  if (format.nSamplesPerSec == format_.nSamplesPerSec) return AppendPlanar(intake_);
  resampled_.Rewind();
  RETURN_IF_FAILED(ResamplerForWidth(width).Convert(intake_, format.nSamplesPerSec,
                                                    format_.nSamplesPerSec, width, resampled_));
  return AppendPlanar(resampled_);
}

Status XvAudioBuffer2::AppendPlanar(XvChannelsBuffer& source) {
  const std::uint32_t held = channels_.Available();
  const std::uint32_t bytes = source.Available();
  if (bytes == 0) return S_OK;
  RETURN_IF_FAILED(GrowBy(bytes));
  const int given = source.ChannelCount();
  channels_.Clear(given, format_.nChannels - given, held, bytes);
  channels_.CopyFrom(source, 0, 0, held, given, bytes);
  return S_OK;
}

Status XvAudioBuffer2::Flush() {
  for (Resampler* resampler : {&resampler16_, &resampler32_}) {
    if (!resampler->Running()) continue;
    resampled_.Rewind();
    RETURN_IF_FAILED(resampler->Flush(resampled_));
    RETURN_IF_FAILED(AppendPlanar(resampled_));
  }
  return S_OK;
}

Status XvAudioBuffer2::ReadTrack(int firstChannel, int channelCount, int samples,
                                 AVSampleFormat format, std::uint8_t* const* planes, int offset) {
  if (planes == nullptr || samples < 0 || channelCount < 1 || offset < 0) return E_INVALIDARG;
  const bool planar = av_sample_fmt_is_planar(format) != 0;
  const int bytes = av_get_bytes_per_sample(format);
  const int stride = planar ? 1 : channelCount;
  const int held = std::clamp(AvailableSamples() - offset, 0, samples);
  for (int i = 0; i < channelCount; ++i) {
    const int channel = firstChannel + i;
    const bool exists = channel >= 0 && channel < channels_.ChannelCount();
    const std::uint8_t* source =
        exists
            ? channels_.ChannelPointer(channel, static_cast<std::uint32_t>(offset * StoredBytes()))
            : nullptr;
    std::uint8_t* target = planar ? planes[i] : planes[0] + static_cast<std::ptrdiff_t>(i) * bytes;
    std::uint8_t* rest = target + static_cast<std::ptrdiff_t>(held) * stride * bytes;
    if (!WriteSamples(source, StoredBytes(), held, format, target, stride) ||
        !WriteSamples(nullptr, StoredBytes(), samples - held, format, rest, stride)) {
      return E_INVALIDARG;
    }
  }
  return S_OK;
}

std::int32_t XvAudioBuffer2::Skip(std::int32_t samples) {
  const std::int32_t dropped = std::clamp(samples, 0, AvailableSamples());
  channels_.Skip(static_cast<std::uint32_t>(dropped) * static_cast<unsigned>(StoredBytes()));
  return dropped;
}

}  // namespace xv
