#include "xvrecord/sound_tracks.h"

#include <algorithm>
#include <cstring>

namespace xvrecord {
namespace {

// The host's samples that keep what a decoder gives.
AVSampleFormat FormatFor(const AVCodecContext& decoder) {
  switch (av_get_packed_sample_fmt(decoder.sample_fmt)) {
    case AV_SAMPLE_FMT_S16:
    case AV_SAMPLE_FMT_U8:
      return AV_SAMPLE_FMT_S16;
    case AV_SAMPLE_FMT_S32:
      return AV_SAMPLE_FMT_S32;
    default:
      return AV_SAMPLE_FMT_FLT;
  }
}

}  // namespace

SoundQueue::SoundQueue(const AVCodecContext& decoder, int rate, AVSampleFormat format)
    : rate_(rate),
      format_(format),
      sampleBytes_(static_cast<std::size_t>(decoder.ch_layout.nb_channels) *
                   static_cast<std::size_t>(av_get_bytes_per_sample(format))) {
  av_channel_layout_copy(&layout_, &decoder.ch_layout);
  OpenConverter(decoder.ch_layout, decoder.sample_fmt, decoder.sample_rate);
}

SoundQueue::~SoundQueue() {
  av_channel_layout_uninit(&given_);
  av_channel_layout_uninit(&layout_);
}

void SoundQueue::OpenConverter(const AVChannelLayout& layout, AVSampleFormat format, int rate) {
  av_channel_layout_copy(&given_, &layout);
  givenFormat_ = format;
  givenRate_ = rate;
  SwrContext* made = nullptr;
  swr_alloc_set_opts2(&made, &layout_, format_, rate_, &given_, format, rate, 0, nullptr);
  swr_.reset(made);
  if (made == nullptr || swr_init(made) < 0) {
    throw InputError("The input's sound cannot be converted.");
  }
}

void SoundQueue::FitConverterTo(const AVFrame& frame) {
  const bool fits = frame.format == givenFormat_ && frame.sample_rate == givenRate_ &&
                    av_channel_layout_compare(&frame.ch_layout, &given_) == 0;
  if (fits) return;
  Convert(nullptr, 0, 0);
  OpenConverter(frame.ch_layout, static_cast<AVSampleFormat>(frame.format), frame.sample_rate);
}

void SoundQueue::Convert(const std::uint8_t* const* planes, int samples, std::int64_t skip) {
  const int room = swr_get_out_samples(swr_.get(), samples) + 64;
  std::vector<std::uint8_t> out(static_cast<std::size_t>(room) * sampleBytes_);
  std::uint8_t* plane = out.data();
  const int got =
      swr_convert(swr_.get(), &plane, room, const_cast<const std::uint8_t**>(planes), samples);
  if (got <= skip) return;
  const auto bytes = [this](std::int64_t count) {
    return count * static_cast<std::ptrdiff_t>(sampleBytes_);
  };
  if (stretches_.empty() || stretches_.back().silence > 0) stretches_.emplace_back();
  std::vector<std::uint8_t>& all = stretches_.back().bytes;
  all.insert(all.end(), out.begin() + bytes(skip), out.begin() + bytes(got));
  end_ += got - skip;
  samples_ += got - skip;
}

void SoundQueue::AppendSilence(std::int64_t samples) {
  if (stretches_.empty() || !stretches_.back().bytes.empty()) stretches_.emplace_back();
  stretches_.back().silence += samples;
  samples_ += samples;
}

void SoundQueue::Append(const AVFrame& frame, std::int64_t start) {
  constexpr std::int64_t kTolerance = 25;  // a fortieth of a second
  constexpr std::int64_t kLongestGap = 24 * 60 * 60;
  FitConverterTo(frame);
  std::int64_t skip = 0;
  const std::int64_t gap = start - end_;
  if (gap > rate_ / kTolerance) {
    if (gap / rate_ <= kLongestGap) AppendSilence(gap);
    end_ = start;
  } else if (gap < 0 && (end_ == 0 || padded_)) {
    skip = -gap;
  }
  Convert(frame.extended_data, frame.nb_samples, skip);
}

void SoundQueue::PadTo(std::int64_t samples) {
  const std::int64_t missing = samples - Samples();
  if (missing <= 0) return;
  AppendSilence(missing);
  end_ += missing;
  padded_ = true;
}

std::int64_t SoundQueue::TakeOfFirst(std::int64_t samples, std::size_t stride, std::uint8_t* out) {
  Stretch& first = stretches_.front();
  if (first.silence > 0) {
    const std::int64_t count = std::min(samples, first.silence);
    for (std::int64_t i = 0; i < count; ++i, out += stride) std::memset(out, 0, sampleBytes_);
    first.silence -= count;
    if (first.silence == 0) stretches_.pop_front();
    return count;
  }
  const auto there = static_cast<std::int64_t>((first.bytes.size() - first.taken) / sampleBytes_);
  const std::int64_t count = std::min(samples, there);
  for (std::int64_t i = 0; i < count; ++i, out += stride, first.taken += sampleBytes_) {
    std::memcpy(out, first.bytes.data() + first.taken, sampleBytes_);
  }
  if (count == there) {
    stretches_.pop_front();
  } else if (first.taken * 2 >= first.bytes.size()) {
    first.bytes.erase(first.bytes.begin(),
                      first.bytes.begin() + static_cast<std::ptrdiff_t>(first.taken));
    first.taken = 0;
  }
  return count;
}

void SoundQueue::Take(std::int64_t samples, std::size_t stride, std::uint8_t* out) {
  samples_ -= samples;
  while (samples > 0) {
    const std::int64_t taken = TakeOfFirst(samples, stride, out);
    samples -= taken;
    out += static_cast<std::size_t>(taken) * stride;
  }
}

SoundTracks::SoundTracks(const std::vector<const AVCodecContext*>& decoders)
    : rate_(decoders.front()->sample_rate) {
  // s16, s32, flt: each keeps what the ones ahead of it have, the last as far as anyone hears.
  for (const AVCodecContext* decoder : decoders) format_ = std::max(format_, FormatFor(*decoder));
  for (const AVCodecContext* decoder : decoders) {
    queues_.push_back(std::make_unique<SoundQueue>(*decoder, rate_, format_));
  }
}

// The mask has a bit for the last channel of each track.
xv::XV_AUD_PROPS SoundTracks::Props() const {
  constexpr int kFloat = -32;
  int channels = 0;
  std::uint32_t ends = 0;
  for (const auto& queue : queues_) {
    channels += queue->Channels();
    ends |= 1U << (channels - 1);
  }
  const int bits = format_ == AV_SAMPLE_FMT_FLT ? kFloat : av_get_bytes_per_sample(format_) * 8;
  return {channels, rate_, bits, queues_.size() > 1 ? ends : 0};
}

std::int64_t SoundTracks::Samples() const {
  std::int64_t least = queues_.front()->Samples();
  for (const auto& queue : queues_) least = std::min(least, queue->Samples());
  return least;
}

std::int64_t SoundTracks::Most() const {
  std::int64_t most = 0;
  for (const auto& queue : queues_) most = std::max(most, queue->Samples());
  return most;
}

Block SoundTracks::Take(std::int64_t samples, BlockPool& pool) {
  samples = std::min(samples, Most());
  if (samples <= 0) return {};
  std::size_t stride = 0;
  for (const auto& queue : queues_) stride += queue->SampleBytes();
  const auto block = pool.Get(static_cast<std::size_t>(samples) * stride);
  std::uint8_t* out = block->data();
  for (const auto& queue : queues_) {
    queue->PadTo(samples);
    queue->Take(samples, stride, out);
    out += queue->SampleBytes();
  }
  taken_ += samples;
  return {block, block->data(), block->size()};
}

}  // namespace xvrecord
