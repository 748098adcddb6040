#include "session/intake.h"

#include <algorithm>

#include "contracts/frame_node.h"
#include "media/validity.h"
#include "platform/folders.h"
#include "platform/paths.h"
#include "session/frame_contents.h"
#include "session/session_attributes.h"

namespace xv {
namespace {

constexpr int kDiskWatchInterval = 30;  // calls
constexpr int kMostRepeats = 1000;      // a gap in time is never filled with more than this

// The frame's own node counts first.
bool EmbedsCaptions(IXvFrame* source, bool sessionDoes) {
  const XMLParse::XMLNodePtr own = NodeOfFrame(source);
  return own ? own->Find(kEmbedCc).value_or(sessionDoes) : sessionDoes;
}

void KeepCaptionSource(IXvFrame* source, XvFrameFFM& frame, bool sessionEmbeds) {
  if (!EmbedsCaptions(source, sessionEmbeds)) return;
  std::uint32_t size = 0;
  const std::uint8_t* data = nullptr;
  if (Failed(source->FrameExtraGet(FourCC("C608"), &size, &data)) || size == 0) return;
  frame.KeepSource(source);
}

bool SameSamples(const XV_AUD_PROPS& a, const XV_AUD_PROPS& b) {
  return a.nChannels == b.nChannels && a.nSamplesPerSec == b.nSamplesPerSec &&
         a.nBitsPerSample == b.nBitsPerSample;
}

// A WAV file has one format: sound of another one goes on in "a.2.wav".
Status OpenNextWav(HostSide& host, const XV_AUD_PROPS& format, SessionStats& stats) {
  std::string path = host.wavPath;
  if (host.wavParts > 0) {
    path = AppendBeforeExtension(path, "." + std::to_string(host.wavParts + 1));
    stats.Fail("wav", "the sound's format changed; it goes on in " + path, S_OK);
  }
  RETURN_IF_FAILED(host.wav.Open(path, format));
  ++host.wavParts;
  host.wavFormat = format;
  return S_OK;
}

}  // namespace

void WriteSideWav(HostSide& host, const EncoderInput& input, SessionStats& stats) {
  if (host.wavPath.empty() || input.audio == nullptr || input.audioSize == 0) return;
  const XV_AUD_PROPS& format = input.props->aud;
  Status result;
  if (host.wav.IsOpen() && !SameSamples(format, host.wavFormat)) result = host.wav.Close();
  if (!host.wav.IsOpen()) result.Update(OpenNextWav(host, format, stats));
  if (!result.Failed()) result = host.wav.Write(input.audio, input.audioSize);
  if (!result.Failed()) return;
  stats.sideFileErrors.fetch_add(1, std::memory_order_relaxed);
  stats.Fail("wav", host.wavPath, result);
}

bool DiskTooFull(HostSide& host, const Output& main, std::int64_t least) {
  if (++host.diskWatch % kDiskWatchInterval != 0) return false;
  const bool local = (main.format->flags & AVFMT_NOFILE) == 0 && !IsUrl(main.path);
  if (!local || main.sink.IsStream()) return false;
  const auto free = FreeDiskSpace(std::string(FolderOf(AbsolutePath(main.path))));
  return free && *free <= static_cast<std::uint64_t>(least);
}

Status TakeSound(AudioStage& sound, const EncoderInput& input, const XV_AUD_PROPS& format) {
  if (!sound.HasTracks() || !AudioPropsValid(format, true) || !HasSoundBytes(input)) {
    return S_FALSE;
  }
  XV_TIME time = *input.time;
  if (const auto frame = Query<IXfFrame>(input.frame)) (void)frame->FrameTimeGet(&time);
  return sound.Take(format, time, input.audio, input.audioSize);
}

bool HasPicture(const StreamHolder& holder, const EncoderInput& input) {
  if (holder.synthetic) return true;
  return HasPictureBytes(input);
}

Status PreparePicture(VideoPreparation& preparation, const EncoderInput& input,
                      const StageOptions& options, SessionStats& stats, Ref<XvFrameFFM>* prepared,
                      int* repeats) {
  const Ref<IXfFrame> source = Query<IXfFrame>(input.frame);
  if (!source) return E_NOINTERFACE;
  const Status made = PrepareVideoFrame(preparation, input.time, source.get(), prepared, repeats);
  if (made == Status(XV_S_SKIP_FRAME)) {
    stats.CountDrop();
    return S_FALSE;
  }
  if (made.Failed()) return made;
  if (!*prepared) return E_FAIL;
  KeepCaptionSource(input.frame, **prepared, options.embedCaptions);
  return S_OK;
}

Status AwaitRoom(VideoQueue& queue, const StageOptions& options, SessionStats& stats) {
  if (options.dropFrames && queue.Full()) {
    stats.CountDrop();
    return S_FALSE;
  }
  return queue.AwaitRoom() ? S_OK : E_UNEXPECTED;
}

void Enqueue(VideoQueue& queue, const Ref<XvFrameFFM>& frame, int repeats, SessionStats& stats) {
  const std::int64_t pts = frame->picture()->pts;
  for (int left = std::min(repeats, kMostRepeats); left > 0; --left) {
    (void)queue.Push({frame, pts - left});
  }
  (void)queue.Push({frame, pts});
  stats.videoDeque.store(static_cast<std::int64_t>(queue.Size()), std::memory_order_relaxed);
}

}  // namespace xv
