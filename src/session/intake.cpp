#include "session/intake.h"

#include <algorithm>

#include "contracts/frame_node.h"
#include "media/frame_duration.h"
#include "platform/folders.h"
#include "platform/paths.h"
#include "session/frame_contents.h"
#include "session/precedence.h"
#include "session/session_attributes.h"

namespace xv {
namespace {

constexpr int kDiskWatchInterval = 30;       // calls
constexpr std::int64_t kMostRepeats = 1000;  // a source's gap is never filled with more than this

// Containers that count pictures: without a picture for each tick they play too fast.
constexpr const char* kCountingFormats[] = {"dv", "gxf", "swf", "image2", "yuv4mpegpipe"};

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
  stats.FailSideFile("wav", host.wavPath, result);
}

bool DiskTooFull(HostSide& host, const Output& main, std::int64_t least) {
  if (++host.diskWatch % kDiskWatchInterval != 0) return false;
  const bool local = (main.format->flags & AVFMT_NOFILE) == 0 && !IsUrl(main.path);
  if (!local || main.sink.IsStream()) return false;
  const auto free = FreeDiskSpace(std::string(FolderOf(AbsolutePath(main.path))));
  return free && *free <= static_cast<std::uint64_t>(least);
}

void CountLeftOut(const SessionPlan& plan, const EncoderInput& input, SessionStats& stats) {
  if (plan.leavesSoundOut && HasSound(input, input.props->aud)) stats.Count(Remark::kSoundLeftOut);
  if (plan.leavesPicturesOut && HasPictureBytes(input)) stats.Count(Remark::kPicturesLeftOut);
}

Status TakeSound(AudioStage& sound, const EncoderInput& input, const XV_AUD_PROPS& format) {
  if (!sound.HasTracks()) return S_FALSE;
  if (!HasSound(input, format)) {
    sound.Miss(*input.time);
    return S_FALSE;
  }
  XV_TIME own = *input.time;
  if (const auto frame = Query<IXfFrame>(input.frame)) (void)frame->FrameTimeGet(&own);
  const bool endMark = (own.eFlags & eXvTF_EndMark) == eXvTF_EndMark;
  const bool placed = HasTime(&own) || input.videoSize >= kLeastBlock;
  return sound.Take(
      {format, placed ? input.time : nullptr, endMark ? nullptr : input.audio, input.audioSize});
}

bool HasPicture(const StreamHolder& holder, const EncoderInput& input) {
  return holder.synthetic || HasPictureBytes(input);
}

Status PreparePicture(VideoPreparation& preparation, const EncoderInput& input,
                      const StageOptions& options, SessionStats& stats, Ref<XvFrameFFM>* prepared,
                      std::int64_t* missing) {
  const Ref<IXfFrame> source = Query<IXfFrame>(input.frame);
  if (!source) return E_NOINTERFACE;
  const Status made = PrepareVideoFrame(preparation, input.time, source.get(), prepared, missing);
  if (made == Status(XV_S_SKIP_FRAME)) {
    stats.CountDrop();
    return S_FALSE;
  }
  if (made.Failed()) return made;
  if (!*prepared) return E_FAIL;
  KeepCaptionSource(input.frame, **prepared, options.embedCaptions);
  return S_OK;
}

Status AwaitRoom(VideoQueue& queue, const PutPace& pace, const StageOptions& options,
                 SessionStats& stats) {
  if (options.dropFrames && queue.Full()) {
    stats.CountDrop();
    return S_FALSE;
  }
  const bool waits = !options.dropFrames && (queue.Full() || pace.Hurries());
  if (!queue.AwaitRoom()) return E_UNEXPECTED;
  if (waits) (void)Precedence::LetOthersCatchUp();
  return S_OK;
}

bool CountsPictures(const AVOutputFormat& format) {
  return (format.flags & AVFMT_NOTIMESTAMPS) != 0 ||
         std::ranges::any_of(kCountingFormats, [&](const char* name) {
           return std::string_view(format.name) == name;
         });
}

GapFill PlanGap(std::int64_t missing, const StageOptions& options, bool counts,
                const VideoQueue& queue) {
  if (options.ignorePts || missing <= 0) return {};
  if (!options.dropFrames) return {std::min(missing, kMostRepeats), 0};
  if (!counts) return {};
  const auto room = static_cast<std::int64_t>(queue.Room()) - 1;  // but for the picture itself
  const std::int64_t now = std::clamp<std::int64_t>(room, 0, missing);
  return {now, missing - now};
}

std::int64_t RepeatsAtTheEnd(const PtsClock& clock, std::int64_t owed, const StageOptions& options,
                             bool counts) {
  if (options.ignorePts || clock.lastPts() == AV_NOPTS_VALUE) return 0;
  const std::int64_t open = clock.End() - 1 - clock.lastPts();
  if (options.dropFrames && counts) return std::max<std::int64_t>(open, 0) + owed;
  return std::clamp<std::int64_t>(open, 0, options.dropFrames ? 1 : kMostRepeats);
}

}  // namespace xv
