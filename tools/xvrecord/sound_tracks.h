#pragma once

#include <deque>
#include <vector>

#include "contracts/av_handles.h"
#include "xvrecord/input.h"

namespace xvrecord {

// One track's decoded sound as interleaved samples on the time line of the pictures.
class SoundQueue {
 public:
  // Samples come out with `rate` and `format` (s16, s32 or flt). Throws InputError.
  SoundQueue(const AVCodecContext& decoder, int rate, AVSampleFormat format);
  ~SoundQueue();
  SoundQueue(const SoundQueue&) = delete;
  SoundQueue& operator=(const SoundQueue&) = delete;

  int Channels() const { return layout_.nb_channels; }
  std::size_t SampleBytes() const { return sampleBytes_; }  // of all channels
  std::int64_t Samples() const { return samples_; }
  std::int64_t End() const { return end_; }
  // `start`: time of the frame from the first picture on, in samples of the queue's rate. A gap is
  // silence, unless it is longer than a day: such a stamp is wrong. A frame of another layout or
  // rate than those before it is converted to theirs. Throws InputError.
  void Append(const AVFrame& frame, std::int64_t start);
  // Silence up to so many samples in the queue; what comes later for that time is left out.
  void PadTo(std::int64_t samples);
  // The next `samples`, which must be there, one every `stride` bytes.
  void Take(std::int64_t samples, std::size_t stride, std::uint8_t* out);

 private:
  void AppendSilence(std::int64_t samples);
  // `samples` of `planes` into the queue, but for the first `skip` that come out; null: what the
  // converter still holds.
  void Convert(const std::uint8_t* const* planes, int samples, std::int64_t skip);
  void FitConverterTo(const AVFrame& frame);
  void OpenConverter(const AVChannelLayout& layout, AVSampleFormat format, int rate);
  // Of the first stretch, `samples` at most; how many they were.
  std::int64_t TakeOfFirst(std::int64_t samples, std::size_t stride, std::uint8_t* out);

  xv::AvPtr<SwrContext> swr_;
  AVChannelLayout given_{};  // of the decoder's frames of late
  AVSampleFormat givenFormat_ = AV_SAMPLE_FMT_NONE;
  int givenRate_ = 0;
  AVChannelLayout layout_{};
  int rate_;
  AVSampleFormat format_;
  std::size_t sampleBytes_;
  // A stretch of the queue: silence, or bytes of samples.
  struct Stretch {
    std::int64_t silence = 0;  // samples
    std::vector<std::uint8_t> bytes;
    std::size_t taken = 0;  // of the bytes
  };
  std::deque<Stretch> stretches_;
  std::int64_t samples_ = 0;  // in all stretches
  bool padded_ = false;
  std::int64_t end_ = 0;  // samples from the first picture on
};

// All tracks of a recording: their channels lie side by side in one block.
class SoundTracks {
 public:
  static constexpr int kMostChannels = 32;

  // At the rate of the first one, in a format that keeps what each of them has.
  explicit SoundTracks(const std::vector<const AVCodecContext*>& decoders);

  int Rate() const { return rate_; }
  xv::XV_AUD_PROPS Props() const;
  std::int64_t Samples() const;  // that every track has
  std::int64_t Most() const;     // that one of them has
  std::int64_t End(std::size_t track) const { return queues_[track]->End(); }
  std::int64_t Taken() const { return taken_; }
  void Append(std::size_t track, const AVFrame& frame, std::int64_t start) {
    queues_[track]->Append(frame, start);
  }
  // Up to so many samples; tracks that have fewer than others get silence.
  Block Take(std::int64_t samples, BlockPool& pool);

 private:
  int rate_;
  AVSampleFormat format_ = AV_SAMPLE_FMT_S16;
  std::vector<std::unique_ptr<SoundQueue>> queues_;
  std::int64_t taken_ = 0;
};

}  // namespace xvrecord
