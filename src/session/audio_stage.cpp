#include "session/audio_stage.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "audio/channel_fold.h"
#include "codec/encode.h"
#include "codec/ffmpeg.h"
#include "session/packet_writing.h"

extern "C" {
#include <libavutil/opt.h>
}

namespace xv {
namespace {

constexpr int kSamplesWithoutVideo = 1024;

const StreamHolder* FirstAudio(const Session& session) {
  for (const auto& holder : session.streams) {
    if (holder->type == AVMEDIA_TYPE_AUDIO) return holder.get();
  }
  return nullptr;
}

// Samples that the encoder takes at once; one of any size gets a video frame's worth.
int FrameSamples(const Session& session, const StreamHolder& holder) {
  if (holder.codec->frame_size > 0) return holder.codec->frame_size;
  if (session.videoIndex < 0) return kSamplesWithoutVideo;
  const AVRational rate =
      session.streams[static_cast<std::size_t>(session.videoIndex)]->codec->framerate;
  if (rate.num <= 0) return kSamplesWithoutVideo;
  return static_cast<int>(
      av_rescale_rnd(holder.codec->sample_rate, rate.den, rate.num, AV_ROUND_UP));
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

// The track mixed down to fewer channels than it has, in the encoder's format.
Status ReadFolded(Session& session, StreamHolder& holder, int samples, AVFrame* frame) {
  const int channels = holder.codec->ch_layout.nb_channels;
  const XV_AUD_PROPS source{holder.trackChannels, holder.codec->sample_rate, -32, 0};
  const XV_AUD_PROPS folded{channels, holder.codec->sample_rate, -32, 0};
  std::vector<std::uint8_t>& interleaved = holder.unfolded;
  interleaved.resize(static_cast<std::size_t>(samples) *
                     static_cast<std::size_t>(holder.trackChannels) * 4);
  std::uint8_t* plane = interleaved.data();
  if (!holder.folded) holder.folded = std::make_unique<XvAudioBuffer2>();
  XvAudioBuffer2& track = *holder.folded;
  track.Reset(false);
  RETURN_IF_FAILED(session.audioBuffer.ReadTrack(holder.firstChannel, holder.trackChannels, samples,
                                                 AV_SAMPLE_FMT_FLT, &plane, holder.readAhead));
  RETURN_IF_FAILED(track.Prepare(&folded, 0));
  RETURN_IF_FAILED(
      track.Append(source, plane, static_cast<std::uint32_t>(interleaved.size()), false, true));
  return track.ReadTrack(0, channels, samples, holder.codec->sample_fmt, frame->extended_data);
}

Status ReadTrack(Session& session, StreamHolder& holder, int samples, AVFrame* frame) {
  if (holder.codec->ch_layout.nb_channels < holder.trackChannels) {
    return ReadFolded(session, holder, samples, frame);
  }
  return session.audioBuffer.ReadTrack(holder.firstChannel, holder.trackChannels, samples,
                                       holder.codec->sample_fmt, frame->extended_data,
                                       holder.readAhead);
}

// One codec frame of one track. `consumed` gets the samples taken from the buffer.
Status EncodeAudio(Session& session, StreamHolder& holder, bool endOfStream, int* consumed) {
  const FFmpegGuard guard(FFmpegLock());
  *consumed = 0;
  const int available = session.audioBuffer.AvailableSamples() - holder.readAhead;
  if (available <= 0) return endOfStream ? EncodeBackend(holder, nullptr) : Status(S_FALSE);
  const int wanted = FrameSamples(session, holder);
  const bool variable = holder.codec->frame_size == 0;
  if (available < wanted && !endOfStream && !variable) return S_FALSE;
  const int taken = std::min(available, wanted);
  // An encoder of whole frames only gets its last one filled up with silence.
  const int encoded = TakesShortFrames(*holder.codec) ? taken : wanted;
  AvPtr<AVFrame> frame = AllocateFrame(holder, encoded);
  if (!frame) return E_OUTOFMEMORY;
  RETURN_IF_FAILED(ReadTrack(session, holder, encoded, frame.get()));
  const Status sent = EncodeBackend(holder, frame.get());
  holder.audioPts += encoded;
  holder.readAhead += taken;
  *consumed = taken;
  return sent;
}

void Dump(Session& session, int track, const AVPacket& packet) {
  const auto index = static_cast<std::size_t>(track);
  const std::string& path = session.options.rawAudioPaths[index];
  if (path.empty()) return;
  while (session.rawAudio.size() <= index) {
    session.rawAudio.push_back(std::make_unique<RawDump>());
  }
  session.KeepError(session.rawAudio[index]->Append(path, packet), "raw_audio", path);
}

// True when packets came.
bool WritePackets(Session& session, StreamHolder& holder, int track) {
  bool any = false;
  while (AvPtr<AVPacket> packet = TakePacket(holder)) {
    any = true;
    ScaleToStream(holder, *packet);
    Dump(session, track, *packet);
    session.KeepError(WritePacket(session, std::move(packet)), "audio packet", session.main.path);
  }
  return any;
}

// One round over all tracks. False when no track moved on.
bool Round(Session& session, bool endOfStream) {
  bool moved = false;
  int track = 0;
  for (const auto& holder : session.streams) {
    if (holder->type != AVMEDIA_TYPE_AUDIO) continue;
    int taken = 0;
    const Status encoded = EncodeAudio(session, *holder, endOfStream, &taken);
    if (encoded.Failed()) session.KeepError(encoded, "audio encoder", holder->failure);
    moved = WritePackets(session, *holder, track) || taken > 0 || moved;
    ++track;
  }
  return moved;
}

// The buffer lets go of what every track has taken: their frames may differ in size.
void DropTaken(Session& session) {
  int taken = std::numeric_limits<int>::max();
  for (const auto& holder : session.streams) {
    if (holder->type == AVMEDIA_TYPE_AUDIO) taken = std::min(taken, holder->readAhead);
  }
  session.audioBuffer.Skip(taken);
  for (const auto& holder : session.streams) {
    if (holder->type == AVMEDIA_TYPE_AUDIO) holder->readAhead -= taken;
  }
}

// The buffer runs at the first track's rate: its sound is resampled once, on the way in.
XV_AUD_PROPS BufferFormat(const XV_AUD_PROPS& input, const StreamHolder& first) {
  const int bits = input.nBitsPerSample == 16 ? 16 : -32;
  return {input.nChannels, first.codec->sample_rate, bits, input.nTrackMask};
}

}  // namespace

Status TakeAudio(Session& session, const XV_AUD_PROPS& format, const XV_TIME& frameTime,
                 const std::uint8_t* data, std::uint32_t bytes) {
  const std::lock_guard guard(session.audioLock);
  const StreamHolder* first = FirstAudio(session);
  if (first == nullptr) return S_FALSE;
  if (!session.audioBuffer.IsValid()) {
    const XV_AUD_PROPS buffer = BufferFormat(format, *first);
    RETURN_IF_FAILED(session.audioBuffer.Prepare(&buffer, 0));
  }
  const bool endMark = (frameTime.eFlags & eXvTF_EndMark) == eXvTF_EndMark;
  return session.audioBuffer.Append(format, endMark ? nullptr : data, bytes, true, true);
}

void AudioStage(Session& session, bool endOfStream) {
  if (!session.HasAudio()) return;
  const std::lock_guard guard(session.audioLock);
  if (endOfStream) (void)session.audioBuffer.Flush();
  while (endOfStream || session.audioBuffer.AvailableSamples() > 0) {
    const bool moved = Round(session, endOfStream);
    DropTaken(session);
    if (!moved) return;
  }
}

}  // namespace xv
