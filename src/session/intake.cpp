#include "session/intake.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include "contracts/frame_node.h"
#include "media/validity.h"
#include "platform/file.h"
#include "platform/paths.h"
#include "session/audio_stage.h"
#include "session/open_output.h"
#include "session/video_stage.h"
#include "xvwriter/writer.h"

namespace xv {
namespace {

constexpr int kDiskWatchInterval = 30;  // calls
constexpr auto kQueuePoll = std::chrono::milliseconds(10);
constexpr std::uint32_t kLeastBlock = 5;  // bytes; a shorter picture or sound counts as none
constexpr int kMostRepeats = 1000;        // a gap in time is never filled with more than this

void WriteSideWav(Session& session, const EncoderInput& input) {
  if (session.wavPath.empty() || input.audio == nullptr || input.audioSize == 0) return;
  Status result;
  if (!session.wav.IsOpen()) result = session.wav.Open(session.wavPath, input.props->aud);
  if (!result.Failed()) result = session.wav.Write(input.audio, input.audioSize);
  if (result.Failed()) session.stats->Fail("wav", session.wavPath, result);
}

XV_AV_PROPS PropsOfFrame(const Session& session, const XV_AV_PROPS& given) {
  XV_AV_PROPS props = given;
  if (session.trackMaskOverride != kNoMaskOverride)
    props.aud.nTrackMask = session.trackMaskOverride;
  return props;
}

bool DiskTooFull(Session& session) {
  if (++session.putCounter % kDiskWatchInterval != 0) return false;
  if ((session.main.format->flags & AVFMT_NOFILE) != 0 || IsUrl(session.main.path)) {
    return false;
  }
  const auto free = FreeDiskSpace(std::string(FolderOf(AbsolutePath(session.main.path))));
  if (!free) return false;
  return *free <= static_cast<std::uint64_t>(session.options.leastDiskSpace);
}

Status TakeSound(Session& session, const EncoderInput& input, const XV_AUD_PROPS& format) {
  if (!session.HasAudio() || !AudioPropsValid(format, true) || input.audio == nullptr ||
      input.audioSize < kLeastBlock) {
    return S_FALSE;
  }
  XV_TIME time = *input.time;
  if (const auto frame = Query<IXfFrame>(input.frame)) (void)frame->FrameTimeGet(&time);
  return TakeAudio(session, format, time, input.audio, input.audioSize);
}

bool HasPicture(const StreamHolder& holder, const EncoderInput& input) {
  if (holder.synthetic) return true;
  return VideoPropsValid(input.props->vid, true) && input.video != nullptr &&
         input.videoSize >= kLeastBlock;
}

bool UsesQueue(const Session& session, const StreamHolder& holder) {
  return session.videoBuffers >= 1 && !holder.synthetic;
}

// Waits until the queue has room. S_FALSE: the frame is dropped instead.
Status AwaitRoom(Session& session, IntakeOwner& owner) {
  while (session.isOpen && session.queue.Size() >= static_cast<std::size_t>(session.videoBuffers)) {
    if (session.options.dropFrames) {
      session.stats->drops.fetch_add(1, std::memory_order_relaxed);
      owner.Worker().Wake();
      return S_FALSE;
    }
    if (owner.Worker().State() != ThreadState::kRunning) return E_UNEXPECTED;
    std::this_thread::sleep_for(kQueuePoll);
  }
  return session.isOpen ? Status(S_OK) : Status(XV_E_NOT_OPEN);
}

void Enqueue(Session& session, IntakeOwner& owner, const Ref<XvFrameFFM>& frame, int repeats) {
  const std::int64_t pts = frame->picture()->pts;
  std::size_t waiting = 0;
  for (int left = std::min(repeats, kMostRepeats); left > 0; --left) {
    session.queue.Push({frame, pts - left});
  }
  waiting = session.queue.Push({frame, pts});
  session.stats->videoDeque.store(static_cast<std::int64_t>(waiting), std::memory_order_relaxed);
  owner.Worker().Wake();
}

// The frame's own node counts first.
bool EmbedsCaptions(const Session& session, IXvFrame* source) {
  const XMLParse::XMLNodePtr own = NodeOfFrame(source);
  return own ? own->Bool("embed_cc", session.options.embedCaptions) : session.options.embedCaptions;
}

void KeepCaptionSource(const Session& session, IXvFrame* source, XvFrameFFM& frame) {
  if (!EmbedsCaptions(session, source)) return;
  std::uint32_t size = 0;
  const std::uint8_t* data = nullptr;
  if (Failed(source->FrameExtraGet(FourCC("C608"), &size, &data)) || size == 0) return;
  frame.KeepSource(source);
}

Status PutPicture(Session& session, IntakeOwner& owner, const EncoderInput& input) {
  StreamHolder& holder = *session.VideoHolder();
  const bool queued = UsesQueue(session, holder);
  if (queued) {
    const Status room = AwaitRoom(session, owner);
    if (room.Failed() || room.NothingDone()) return room;
  }
  const Ref<IXfFrame> source = Query<IXfFrame>(input.frame);
  if (!source) return E_NOINTERFACE;
  Ref<XvFrameFFM> prepared;
  int repeats = 0;
  const Status made =
      PrepareVideoFrame(session.video, input.time, source.get(), &prepared, &repeats);
  if (made == Status(XV_S_SKIP_FRAME)) {
    session.stats->drops.fetch_add(1, std::memory_order_relaxed);
    return S_FALSE;
  }
  if (made.Failed()) return made;
  if (!prepared) return E_FAIL;
  KeepCaptionSource(session, input.frame, *prepared);
  if (queued) {
    Enqueue(session, owner, prepared, std::max(0, repeats));
    return S_OK;
  }
  VideoStage(session, {prepared, prepared->picture()->pts});
  ++session.frameCount;
  return S_OK;
}

}  // namespace

Status PutFrame(Session& session, IntakeOwner& owner, const EncoderInput& input) {
  if (!session.isOpen) return XV_E_NOT_OPEN;
  RETURN_IF_FAILED(session.stickyError());
  if (session.needHeader) {
    RETURN_IF_FAILED(OpenOutputs(session));
    session.needHeader = false;
  }
  session.stats->framesIn.fetch_add(1, std::memory_order_relaxed);
  WriteSideWav(session, input);
  const XV_AV_PROPS props = PropsOfFrame(session, *input.props);
  if (DiskTooFull(session)) {
    session.stats->Fail("disk watch", session.main.path, XV_E_DISK_FULL);
    (void)owner.CloseEncoder(kInfinite);
    return XV_E_DISK_FULL;
  }
  RETURN_IF_FAILED(TakeSound(session, input, props.aud));
  const StreamHolder* video = session.VideoHolder();
  if (video != nullptr && HasPicture(*video, input)) return PutPicture(session, owner, input);
  AudioStage(session, false);
  ++session.frameCount;
  if (session.growing && session.second) FinishHeaderFile(*session.second, session.frameCount);
  return S_OK;
}

}  // namespace xv
