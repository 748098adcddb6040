#include "codec/sound_encode.h"

#include <algorithm>
#include <memory>

#include "audio/sample_convert.h"
#include "codec/encode.h"

namespace xv {
namespace {

constexpr int kSamplesWithoutVideo = 1024;

bool TakesShortFrames(const AVCodecContext& codec) {
  return codec.frame_size == 0 ||
         (codec.codec->capabilities &
          (AV_CODEC_CAP_SMALL_LAST_FRAME | AV_CODEC_CAP_VARIABLE_FRAME_SIZE)) != 0;
}

AvPtr<AVFrame> AllocateFrame(const StreamHolder& holder, int samples) {
  AvPtr<AVFrame> frame(av_frame_alloc());
  if (!frame) return nullptr;
  frame->nb_samples = samples;
  frame->format = holder.codec->sample_fmt;
  frame->sample_rate = holder.codec->sample_rate;
  if (av_channel_layout_copy(&frame->ch_layout, &holder.codec->ch_layout) < 0) return nullptr;
  if (av_frame_get_buffer(frame.get(), 0) < 0) return nullptr;
  frame->pts = holder.audioPts;
  return frame;
}

bool TakesAsItIs(const StreamHolder& holder, int rate) {
  return holder.codec->sample_rate == rate &&
         holder.codec->ch_layout.nb_channels == holder.trackChannels;
}

// Samples that the encoder takes at once.
int FrameSamples(const StreamHolder& holder, AVRational pictureRate) {
  if (holder.codec->frame_size > 0) return holder.codec->frame_size;
  if (pictureRate.num <= 0) return kSamplesWithoutVideo;
  return static_cast<int>(
      av_rescale_rnd(holder.codec->sample_rate, pictureRate.den, pictureRate.num, AV_ROUND_UP));
}

// The track's samples are resampled, mixed down, or filled up with silent channels.
Status Feed(StreamHolder& holder, XvAudioBuffer2& buffer, bool endOfStream) {
  if (!buffer.IsValid() || TakesAsItIs(holder, buffer.Rate())) return S_OK;
  if (!holder.own) {
    holder.own = std::make_unique<XvAudioBuffer2>();
    const XV_AUD_PROPS format{holder.codec->ch_layout.nb_channels, holder.codec->sample_rate, -32,
                              0};
    RETURN_IF_FAILED(holder.own->Prepare(&format, 0));
  }
  const int samples = buffer.AvailableSamples() - holder.readAhead;
  if (samples > 0) {
    const XV_AUD_PROPS source{holder.trackChannels, buffer.Rate(), -32, 0};
    holder.block.resize(static_cast<std::size_t>(samples * SampleBytes(source)));
    std::uint8_t* plane = holder.block.data();
    RETURN_IF_FAILED(buffer.ReadTrack(holder.firstChannel, holder.trackChannels, samples,
                                      AV_SAMPLE_FMT_FLT, &plane, holder.readAhead));
    holder.readAhead += samples;
    RETURN_IF_FAILED(holder.own->Append(
        source, plane, static_cast<std::uint32_t>(holder.block.size()), true, true));
  }
  return endOfStream ? holder.own->Flush() : Status(S_OK);
}

int Available(const StreamHolder& holder, const XvAudioBuffer2& buffer) {
  return holder.own ? holder.own->AvailableSamples() : buffer.AvailableSamples() - holder.readAhead;
}

Status ReadTrack(StreamHolder& holder, XvAudioBuffer2& buffer, int samples, AVFrame* frame) {
  const AVSampleFormat format = holder.codec->sample_fmt;
  if (holder.own) {
    return holder.own->ReadTrack(0, holder.codec->ch_layout.nb_channels, samples, format,
                                 frame->extended_data);
  }
  return buffer.ReadTrack(holder.firstChannel, holder.trackChannels, samples, format,
                          frame->extended_data, holder.readAhead);
}

void Consume(StreamHolder& holder, int samples) {
  if (holder.own) {
    (void)holder.own->Skip(samples);
  } else {
    holder.readAhead += samples;
  }
}

}  // namespace

std::int64_t SampleBytes(const XV_AUD_PROPS& format) {
  return std::int64_t{HostSampleBytes(format.nBitsPerSample)} * format.nChannels;
}

XV_AUD_PROPS SoundBufferFormat(const XV_AUD_PROPS& input) {
  const int bits = input.nBitsPerSample == 16 ? 16 : -32;
  return {input.nChannels, input.nSamplesPerSec, bits, input.nTrackMask};
}

Status EncodeSound(StreamHolder& holder, XvAudioBuffer2& buffer, AVRational pictureRate,
                   bool endOfStream, int* consumed) {
  *consumed = 0;
  RETURN_IF_FAILED(Feed(holder, buffer, endOfStream));
  const int available = Available(holder, buffer);
  if (available <= 0) return endOfStream ? EncodeBackend(holder, nullptr) : Status(S_FALSE);
  const int wanted = FrameSamples(holder, pictureRate);
  const bool variable = holder.codec->frame_size == 0;
  if (available < wanted && !endOfStream && !variable) return S_FALSE;
  const int taken = std::min(available, wanted);
  // An encoder of whole frames only gets its last one filled up with silence.
  const int encoded = TakesShortFrames(*holder.codec) ? taken : wanted;
  AvPtr<AVFrame> frame = AllocateFrame(holder, encoded);
  if (!frame) return E_OUTOFMEMORY;
  RETURN_IF_FAILED(ReadTrack(holder, buffer, encoded, frame.get()));
  const Status sent = EncodeBackend(holder, frame.get());
  holder.audioPts += encoded;
  Consume(holder, taken);
  *consumed = taken;
  return sent;
}

}  // namespace xv
