#pragma once

#include <cstdint>

#include "audio/channels_buffer.h"
#include "audio/resampler.h"
#include "base/auto_obj_base.h"
#include "base/status.h"
#include "xvwriter/media.h"

extern "C" {
#include <libavutil/samplefmt.h>
}

namespace xv {

// Time keeper of an audio buffer. Both values start unset and are reset with the buffer.
class XvAudioCalc final : public AutoObjBase<XvAudioCalc> {
 public:
  void Reset() {
    value = 0.0;
    time = kNoTime;
  }
  double value = 0.0;
  std::int64_t time = kNoTime;  // 100 ns
};

// Audio between the host's blocks and the codec's frames: interleaved blocks go in, in any format,
// and come out by the sample, planar inside. The buffer keeps 16-bit integers or 32-bit floats;
// 20- and 24-bit input is exact as a float, 32-bit integers lose their low eight bits. Another rate
// is resampled on the way in, with the filter's state kept across blocks.
// One caller at a time: whoever shares it brings the lock.
class XvAudioBuffer2 final : public AutoObjBase<XvAudioBuffer2> {
 public:
  XvAudioBuffer2() = default;

  // Takes the format and makes sure of `samples` samples of silence, unless as much is there.
  //   E_POINTER     null format or a negative count.
  //   E_INVALIDARG  the format is not valid.
  Status Prepare(const XV_AUD_PROPS* format, std::int32_t samples);

  // Appends `byteCount` bytes of interleaved samples; a null `data` appends silence of that length.
  // Without `keepTail` what is held is dropped first. With `mixDown` more channels than the buffer
  // has are folded (channel_fold.h), without it the surplus is left out; fewer are filled up with
  // silence. The first block gives the buffer its format when none is set.
  //   E_INVALIDARG   the format is not valid.
  //   E_OUTOFMEMORY  all audio held is dropped.
  Status Append(const XV_AUD_PROPS& format, const std::uint8_t* data, std::uint32_t byteCount,
                bool keepTail, bool mixDown);
  // End of the stream: what the resampler still holds joins the buffer.
  Status Flush();

  // Copies `samples` samples of channels [firstChannel, firstChannel + channelCount), from `offset`
  // samples behind the head on, without consuming them, in any of FFmpeg's U8, S16, S32, FLT and
  // DBL forms: interleaved into planes[0], or a plane for each channel. Channels and samples that
  // do not exist are silence. Floats round to nearest and saturate.
  //   E_INVALIDARG  another sample format, or nothing to write to.
  Status ReadTrack(int firstChannel, int channelCount, int samples, AVSampleFormat format,
                   std::uint8_t* const* planes, int offset = 0);
  // Drops samples from the head; more than there are empties the buffer. Gives the count dropped.
  std::int32_t Skip(std::int32_t samples);

  // Clears channels, time and resamplers; with `full` the format too.
  void Reset(bool full);
  // A valid format and at least one channel.
  bool IsValid() const;
  std::int32_t AvailableSamples() const;
  // Samples a second; 0 without a format.
  int Rate() const { return format_.nSamplesPerSec; }

  // Read access for planar consumers; see XvChannelsBuffer. Samples are S16 or float.
  XvChannelsBuffer& Channels() { return channels_; }

 private:
  int StoredBytes() const;
  Resampler& ResamplerForWidth(int bytes) { return bytes == 2 ? resampler16_ : resampler32_; }
  Status GrowBy(std::uint64_t bytes);
  Status AppendDirect(const XV_AUD_PROPS& format, const std::uint8_t* data, std::int32_t samples);
  Status AppendConverted(const XV_AUD_PROPS& format, const std::uint8_t* data, std::int32_t samples,
                         bool mixDown);
  Status AppendPlanar(XvChannelsBuffer& source);

  XV_AUD_PROPS format_{-1, 0, 0, 0};
  XvChannelsBuffer channels_;
  XvChannelsBuffer intake_;     // a block in the source's rate and channels
  XvChannelsBuffer resampled_;  // the same in the buffer's rate
  Resampler resampler16_;
  Resampler resampler32_;
  XvAudioCalc calc_;
};

}  // namespace xv
