#include "session/audio_stage.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "audio/sample_convert.h"
#include "codec/encode.h"
#include "codec/ffmpeg.h"
#include "media/frame_duration.h"

extern "C" {
#include <libavutil/opt.h>
}

namespace xv {
namespace {

constexpr int kSamplesWithoutVideo = 1024;
constexpr std::int64_t kMicroseconds = 1'000'000;  // in a second

// Of all channels at one time.
std::int64_t SampleBytes(const XV_AUD_PROPS& format) {
  return std::int64_t{HostSampleBytes(format.nBitsPerSample)} * format.nChannels;
}

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

// The buffer runs at the rate of the first block.
XV_AUD_PROPS BufferFormat(const XV_AUD_PROPS& input) {
  const int bits = input.nBitsPerSample == 16 ? 16 : -32;
  return {input.nChannels, input.nSamplesPerSec, bits, input.nTrackMask};
}

bool TakesAsItIs(const StreamHolder& holder, int rate) {
  return holder.codec->sample_rate == rate &&
         holder.codec->ch_layout.nb_channels == holder.trackChannels;
}

}  // namespace

void AudioStage::Start(const Tracks& tracks, const StageOptions& options) {
  const std::lock_guard guard(lock_);
  buffer_.Reset(true);
  tracks_.clear();
  for (StreamHolder* holder : tracks.Audio()) {
    tracks_.push_back({holder, RawDump(options.rawAudioPaths[tracks_.size()])});
  }
  pictureRate_ = tracks.video != nullptr ? tracks.video->codec->framerate : AVRational{0, 1};
  const bool pictures = tracks.video != nullptr && !tracks.video->synthetic;
  timeline_.Start(pictures && !options.ignorePts ? options.soundTolerance : 0);
}

void AudioStage::Close() {
  const std::lock_guard guard(lock_);
  tracks_.clear();
  buffer_.Reset(true);
}

// Samples that the encoder takes at once; one of any size gets a video frame's worth.
int AudioStage::FrameSamples(const StreamHolder& holder) const {
  if (holder.codec->frame_size > 0) return holder.codec->frame_size;
  if (pictureRate_.num <= 0) return kSamplesWithoutVideo;
  return static_cast<int>(
      av_rescale_rnd(holder.codec->sample_rate, pictureRate_.den, pictureRate_.num, AV_ROUND_UP));
}

// A track whose encoder has another rate or number of channels takes its samples at once into a
// buffer in its own, where they are resampled, mixed down, or filled up with silent channels.
Status AudioStage::Feed(StreamHolder& holder, bool endOfStream) {
  if (!buffer_.IsValid() || TakesAsItIs(holder, buffer_.Rate())) return S_OK;
  if (!holder.own) {
    holder.own = std::make_unique<XvAudioBuffer2>();
    const XV_AUD_PROPS format{holder.codec->ch_layout.nb_channels, holder.codec->sample_rate, -32,
                              0};
    RETURN_IF_FAILED(holder.own->Prepare(&format, 0));
  }
  const int samples = buffer_.AvailableSamples() - holder.readAhead;
  if (samples > 0) {
    const XV_AUD_PROPS source{holder.trackChannels, buffer_.Rate(), -32, 0};
    holder.block.resize(static_cast<std::size_t>(samples * SampleBytes(source)));
    std::uint8_t* plane = holder.block.data();
    RETURN_IF_FAILED(buffer_.ReadTrack(holder.firstChannel, holder.trackChannels, samples,
                                       AV_SAMPLE_FMT_FLT, &plane, holder.readAhead));
    holder.readAhead += samples;
    RETURN_IF_FAILED(holder.own->Append(
        source, plane, static_cast<std::uint32_t>(holder.block.size()), true, true));
  }
  return endOfStream ? holder.own->Flush() : Status(S_OK);
}

int AudioStage::Available(const StreamHolder& holder) const {
  return holder.own ? holder.own->AvailableSamples()
                    : buffer_.AvailableSamples() - holder.readAhead;
}

Status AudioStage::ReadTrack(StreamHolder& holder, int samples, AVFrame* frame) {
  const AVSampleFormat format = holder.codec->sample_fmt;
  if (holder.own) {
    return holder.own->ReadTrack(0, holder.codec->ch_layout.nb_channels, samples, format,
                                 frame->extended_data);
  }
  return buffer_.ReadTrack(holder.firstChannel, holder.trackChannels, samples, format,
                           frame->extended_data, holder.readAhead);
}

void AudioStage::Consume(StreamHolder& holder, int samples) {
  if (holder.own) {
    (void)holder.own->Skip(samples);
  } else {
    holder.readAhead += samples;
  }
}

// One codec frame of one track. `consumed` gets the samples taken.
Status AudioStage::EncodeFrame(StreamHolder& holder, bool endOfStream, int* consumed) {
  const FFmpegGuard guard(FFmpegLock());
  *consumed = 0;
  RETURN_IF_FAILED(Feed(holder, endOfStream));
  const int available = Available(holder);
  if (available <= 0) return endOfStream ? EncodeBackend(holder, nullptr) : Status(S_FALSE);
  const int wanted = FrameSamples(holder);
  const bool variable = holder.codec->frame_size == 0;
  if (available < wanted && !endOfStream && !variable) return S_FALSE;
  const int taken = std::min(available, wanted);
  // An encoder of whole frames only gets its last one filled up with silence.
  const int encoded = TakesShortFrames(*holder.codec) ? taken : wanted;
  AvPtr<AVFrame> frame = AllocateFrame(holder, encoded);
  if (!frame) return E_OUTOFMEMORY;
  RETURN_IF_FAILED(ReadTrack(holder, encoded, frame.get()));
  const Status sent = EncodeBackend(holder, frame.get());
  holder.audioPts += encoded;
  Consume(holder, taken);
  *consumed = taken;
  return sent;
}

// True when packets came.
bool AudioStage::DeliverPackets(Track& track) {
  bool any = false;
  while (AvPtr<AVPacket> packet = TakePacket(*track.holder)) {
    any = true;
    ScaleToStream(*track.holder, *packet);
    delivery_.Dump(track.dump, *packet, "raw_audio");
    delivery_.Deliver(std::move(packet), "audio packet");
  }
  return any;
}

// One round over all tracks. False when no track moved on.
bool AudioStage::Round(bool endOfStream) {
  bool moved = false;
  for (Track& track : tracks_) {
    int taken = 0;
    const Status encoded = EncodeFrame(*track.holder, endOfStream, &taken);
    failure_.Keep(encoded, "audio encoder", track.holder->failure);
    moved = DeliverPackets(track) || taken > 0 || moved;
  }
  return moved;
}

// The buffer lets go of what every track has taken: their frames may differ in size.
void AudioStage::DropTaken() {
  int taken = std::numeric_limits<int>::max();
  for (const Track& track : tracks_) taken = std::min(taken, track.holder->readAhead);
  buffer_.Skip(taken);
  for (const Track& track : tracks_) track.holder->readAhead -= taken;
}

SoundTimeline::Correction AudioStage::Place(const SoundBlock& block, std::int64_t samples) {
  const int rate = block.format.nSamplesPerSec;
  if (block.time == nullptr) {
    timeline_.Follow(samples, rate);
    return {};
  }
  const auto correction = timeline_.Place(block.time->rtStart, block.time->rtStop, samples, rate);
  stats_.Count(Remark::kSilence, correction.silence * kMicroseconds / rate);
  stats_.Count(Remark::kCut, correction.cut * kMicroseconds / rate);
  return correction;
}

// More than a second is encoded on the way, so that hours of silence need no memory.
Status AudioStage::AppendSilence(const XV_AUD_PROPS& format, std::int64_t samples) {
  const std::int64_t second = format.nSamplesPerSec;
  while (samples > 0) {
    const std::int64_t part = std::min(samples, second);
    RETURN_IF_FAILED(
        Append({format, nullptr, nullptr, static_cast<std::uint32_t>(part * SampleBytes(format))}));
    samples -= part;
    if (samples > 0) EncodeHeld(false);
  }
  return S_OK;
}

Status AudioStage::Append(const SoundBlock& block) {
  if (!buffer_.IsValid()) {
    const XV_AUD_PROPS buffer = BufferFormat(block.format);
    RETURN_IF_FAILED(buffer_.Prepare(&buffer, 0));
  }
  return buffer_.Append(block.format, block.data, block.bytes, true, true);
}

Status AudioStage::Take(const SoundBlock& block) {
  const std::lock_guard guard(lock_);
  if (tracks_.empty()) return S_FALSE;
  const std::int64_t sampleBytes = SampleBytes(block.format);
  const SoundTimeline::Correction correction = Place(block, block.bytes / sampleBytes);
  RETURN_IF_FAILED(AppendSilence(block.format, correction.silence));
  const std::int64_t cut = correction.cut * sampleBytes;
  return Append({block.format, nullptr, block.data == nullptr ? nullptr : block.data + cut,
                 static_cast<std::uint32_t>(block.bytes - cut)});
}

void AudioStage::FillUntil(std::int64_t end, const XV_AUD_PROPS& format) {
  const std::lock_guard guard(lock_);
  const double missing = static_cast<double>(end) - timeline_.End();
  if (tracks_.empty() || missing <= 0) return;
  const std::int64_t samples =
      RoundAwayFromZero(missing * format.nSamplesPerSec / kTimeUnitsPerSecond);
  stats_.Count(Remark::kSilence, samples * kMicroseconds / format.nSamplesPerSec);
  failure_.Keep(AppendSilence(format, samples), "silence", "");
}

void AudioStage::Miss(const XV_TIME& time) {
  const std::lock_guard guard(lock_);
  timeline_.Miss(time.rtStart, time.rtStop);
}

void AudioStage::EncodeHeld(bool endOfStream) {
  if (tracks_.empty()) return;
  if (endOfStream) (void)buffer_.Flush();
  bool moved = true;
  while (moved) {
    moved = Round(endOfStream);
    DropTaken();
  }
}

void AudioStage::Encode(bool endOfStream) {
  const std::lock_guard guard(lock_);
  EncodeHeld(endOfStream);
}

}  // namespace xv
