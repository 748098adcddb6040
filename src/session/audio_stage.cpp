#include "session/audio_stage.h"

#include <algorithm>
#include <limits>

#include "codec/encode.h"
#include "codec/sound_encode.h"
#include "media/frame_duration.h"

namespace xv {
namespace {

constexpr std::int64_t kMicroseconds = 1'000'000;  // in a second

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
    const Status encoded = EncodeSound(*track.holder, buffer_, pictureRate_, endOfStream, &taken);
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
    const XV_AUD_PROPS buffer = SoundBufferFormat(block.format);
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
