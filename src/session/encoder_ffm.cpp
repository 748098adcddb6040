#include "session/encoder_ffm.h"

#include <algorithm>
#include <chrono>

#include "base/guard.h"
#include "platform/clock.h"
#include "session/close.h"
#include "session/intake.h"
#include "session/open.h"
#include "session/open_output.h"
#include "xvwriter/writer.h"

namespace xv {
namespace {

constexpr std::uint32_t kWorkerGrace = 1000;  // ms until the first warning
constexpr std::chrono::seconds kIdleFlush{1};

}  // namespace

CEncoderFFM::CEncoderFFM(SessionStats& stats, std::function<bool()> stopsAtOnce) : session_(stats) {
  session_.stopsAtOnce = std::move(stopsAtOnce);
}

CEncoderFFM::~CEncoderFFM() {
  (void)Guarded([this] { return EncoderClose(kInfinite); });
}

bool CEncoderFFM::EncoderIsOpen() { return session_.outputs.main.exists(); }

bool CEncoderFFM::StopsAtOnce() const { return session_.stopsAtOnce && session_.stopsAtOnce(); }

bool CEncoderFFM::UsesQueue() const {
  const StreamHolder* video = session_.tracks.video;
  return session_.plan.videoBuffers >= 1 && video != nullptr && !video->synthetic;
}

Status CEncoderFFM::EncoderOpen(const char* target, const XV_AV_PROPS* props, const XV_TIME* time,
                                XMLParse::XMLNodePtr attributes) {
  if (target == nullptr || props == nullptr || !attributes) return E_POINTER;
  (void)EncoderClose(kInfinite);  // of an earlier recording; S_FALSE for none
  RETURN_IF_FAILED(OpenSession(session_, target, *props, time, attributes));
  const bool queued = UsesQueue();
  const std::size_t capacity = queued ? static_cast<std::size_t>(session_.plan.videoBuffers) : 1;
  session_.queue.Open(capacity);
  if (queued && session_.plan.options.dropFrames) session_.precedence.Start(capacity);
  const Status started = worker_.Start(this, &CEncoderFFM::WorkerMain);
  if (started.Failed()) Cleanup(session_);
  return started;
}

Status CEncoderFFM::EncoderPut(const EncoderInput& input) {
  if (!session_.isOpen) return XV_E_NOT_OPEN;
  RETURN_IF_FAILED(session_.failure.status());
  if (session_.host.needHeader) RETURN_IF_FAILED(OpenWithFirstFrame());
  return TakeFrame(input);
}

Status CEncoderFFM::OpenWithFirstFrame() {
  const Status opened = OpenOutputs(session_);
  // An output that could not be opened has been cleaned up; the worker has nothing left to serve.
  if (!EncoderIsOpen()) (void)worker_.Stop(kWorkerGrace, true);
  if (!opened.Failed()) session_.host.needHeader = false;
  return opened;
}

Status CEncoderFFM::TakeFrame(const EncoderInput& input) {
  HostSide& host = session_.host;
  const Output& main = session_.outputs.main;
  session_.stats.framesIn.fetch_add(1, std::memory_order_relaxed);
  CountLeftOut(session_.plan, input, session_.stats);
  WriteSideWav(host, input, session_.stats);
  if (DiskTooFull(host, main, session_.plan.options.leastDiskSpace)) {
    session_.stats.Fail("disk watch", main.path, XV_E_DISK_FULL);
    CloseBeside();
    return XV_E_DISK_FULL;
  }
  XV_AUD_PROPS sound = input.props->aud;
  if (session_.plan.trackMaskOverride != kNoMaskOverride) {
    sound.nTrackMask = session_.plan.trackMaskOverride;
  }
  RETURN_IF_FAILED(TakeSound(session_.sound, input, sound));
  const StreamHolder* video = session_.tracks.video;
  if (video != nullptr && HasPicture(*video, input)) return TakePicture(input);
  EncodeSoundAlone();
  return S_OK;
}

Status CEncoderFFM::TakePicture(const EncoderInput& input) {
  PutPace& pace = session_.host.pace;
  constexpr std::int64_t kNanoseconds = 100;  // of a unit of time
  pace.Begin(SystemClock().SteadyNanoseconds(),
             (input.time->rtStop - input.time->rtStart) * kNanoseconds);
  const Status taken = QueuePicture(input);
  pace.End(SystemClock().SteadyNanoseconds());
  return taken;
}

Status CEncoderFFM::QueuePicture(const EncoderInput& input) {
  HostSide& host = session_.host;
  if (UsesQueue()) {
    const Status room = AwaitRoom(session_.queue, host.pace, session_.plan.options, session_.stats);
    if (room.NothingDone()) PassVideoFrame(host.preparation, *input.time);
    if (room.Failed() && !session_.isOpen) return XV_E_NOT_OPEN;
    if (room.Failed() || room.NothingDone()) return room;
  }
  Ref<XvFrameFFM> prepared;
  std::int64_t missing = 0;
  const Status made = PreparePicture(host.preparation, input, session_.plan.options, session_.stats,
                                     &prepared, &missing);
  if (made.Failed() || made.NothingDone()) return made;
  const std::int64_t pts = prepared->picture()->pts;
  const GapFill gap = PlanGap(missing, session_.plan.options, host.countsPictures, session_.queue);
  host.owed += gap.owed;
  RETURN_IF_FAILED(Repeat(gap.now, pts - gap.now));
  host.shown = prepared;
  return Submit({prepared, pts});
}

Status CEncoderFFM::Submit(const QueuedFrame& frame) {
  if (!UsesQueue()) {
    EncodePass(frame);
    ++session_.host.frames;
    return S_OK;
  }
  if (!session_.queue.AwaitRoom()) return session_.isOpen ? E_UNEXPECTED : XV_E_NOT_OPEN;
  (void)session_.queue.Push(frame);
  NoteQueue();
  return S_OK;
}

void CEncoderFFM::NoteQueue() {
  const std::size_t waiting = session_.queue.Size();
  session_.stats.videoDeque.store(static_cast<std::int64_t>(waiting), std::memory_order_relaxed);
  session_.precedence.Note(waiting);
}

Status CEncoderFFM::Repeat(std::int64_t count, std::int64_t pts) {
  if (!session_.host.shown) return S_OK;
  for (std::int64_t i = 0; i < count; ++i) {
    session_.stats.Count(Remark::kRepeat);
    RETURN_IF_FAILED(Submit({session_.host.shown, pts + i, true}));
  }
  return S_OK;
}

// The last picture stands until the last frame's time is over. Gives the tick behind it.
std::int64_t CEncoderFFM::HoldLastPicture() {
  const HostSide& host = session_.host;
  const StreamHolder* video = session_.tracks.video;
  if (video == nullptr || video->synthetic || session_.failure.status().Failed()) return 0;
  const PtsClock& clock = host.preparation.clock;
  const std::int64_t count =
      RepeatsAtTheEnd(clock, host.owed, session_.plan.options, host.countsPictures);
  // What is owed has no ticks left: it stands behind the last one.
  const std::int64_t first = std::max(clock.lastPts() + 1, clock.End() - count);
  (void)Repeat(count, first);
  return first + count;
}

// Containers that lay pictures and sound side by side end with the shorter of both.
void CEncoderFFM::FillSound(std::int64_t end) {
  const HostSide& host = session_.host;
  if (!host.fillsSound || end <= 0) return;
  constexpr AVRational kUnits = {1, static_cast<int>(kTimeUnitsPerSecond)};
  session_.sound.FillUntil(av_rescale_q(end, host.preparation.codec.timeBase, kUnits),
                           session_.plan.sound);
}

void CEncoderFFM::EncodePass(const QueuedFrame& frame) {
  session_.pictures.Encode(frame);
  session_.sound.Encode(!frame.frame);
  session_.outputs.EndPass(session_.pictures.frames());
}

void CEncoderFFM::EncodeSoundAlone() {
  session_.sound.Encode(false);
  session_.outputs.EndPass(++session_.host.frames);
}

// The next picture, never one where the host's thread encodes. While none comes, nothing waits on
// its way to the file.
std::optional<QueuedFrame> CEncoderFFM::NextFrame() {
  while (!session_.queue.AwaitItem(kIdleFlush)) session_.outputs.main.FlushWaiting();
  return session_.queue.Pop();
}

void CEncoderFFM::WorkerMain() {
  const Status ended = Guarded([this] {
    while (const auto frame = NextFrame()) {
      NoteQueue();
      if (frame->frame && !session_.isOpen && StopsAtOnce()) {
        session_.stats.CountDrop();
      } else {
        EncodePass(*frame);
      }
    }
    return Status();
  });
  session_.failure.Keep(ended, "encoding thread", "");
  // Whoever waits for room learns that there will be none.
  session_.queue.Abort();
  NoteQueue();
}

// A vendor's encoder that waits for its device is woken where a stop must not wait.
void CEncoderFFM::AwaitWorker(std::uint32_t timeout) {
  HwEncoder* const hardware = session_.tracks.video->hw.Filled();
  if (hardware == nullptr) {
    (void)worker_.AwaitEnd(timeout);
    return;
  }
  constexpr std::uint32_t kLook = 100;  // ms
  for (std::uint32_t spent = 0; spent < timeout; spent += kLook) {
    if (worker_.AwaitEnd(std::min(kLook, timeout - spent))) return;
    if (StopsAtOnce()) hardware->Interrupt();
  }
}

// The end mark goes through the queue, so that every frame ahead of it is encoded first.
void CEncoderFFM::Drain(std::uint32_t timeout) {
  if (session_.tracks.video == nullptr) {
    session_.sound.Encode(true);
  } else if (!UsesQueue()) {
    EncodePass({});
  } else {
    (void)session_.queue.Push({});
    session_.queue.End();
    AwaitWorker(timeout);
  }
}

void CEncoderFFM::CloserMain() {
  const Status closed = Guarded([this] { return Close(kInfinite, true); });
  if (closed == Status(E_OUTOFMEMORY)) session_.stats.Fail("closing", "", closed);
}

// What waits for the encoder may be seconds of its work: the host's thread is not held up by it.
void CEncoderFFM::CloseBeside() {
  session_.isOpen = false;
  if (closer_.Start(this, &CEncoderFFM::CloserMain).Failed()) CloserMain();
}

Status CEncoderFFM::EncoderClose(std::uint32_t timeout) {
  const bool wasOpen = session_.isOpen.exchange(false);
  (void)closer_.Stop(kInfinite);
  return Close(timeout, wasOpen);
}

Status CEncoderFFM::Close(std::uint32_t timeout, bool wasOpen) {
  if (!EncoderIsOpen()) return S_FALSE;
  const bool written = !session_.host.needHeader;
  if (wasOpen && written) {
    FillSound(HoldLastPicture());
    Drain(timeout);
  }
  session_.queue.Abort();
  // A worker that is still at work holds what comes next: the trailer's muxer and all contexts.
  (void)worker_.Stop(kWorkerGrace, true);
  Status result;
  if (written) result = FinishMain(session_);
  Cleanup(session_);
  return result.Failed() ? result : Status(S_OK);
}

}  // namespace xv
