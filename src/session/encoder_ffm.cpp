#include "session/encoder_ffm.h"

#include "codec/ffmpeg.h"
#include "session/audio_stage.h"
#include "session/close.h"
#include "session/open.h"
#include "session/video_stage.h"
#include "xvwriter/writer.h"

namespace xv {
namespace {

constexpr std::uint32_t kWorkerGrace = 1000;  // ms until the first warning

}  // namespace

CEncoderFFM::CEncoderFFM(SessionStats& stats, XMLParse::XMLNodePtr ownNode) {
  StartFFmpeg();
  session_.stats = &stats;
  session_.ownNode = std::move(ownNode);
}

CEncoderFFM::~CEncoderFFM() { (void)EncoderClose(kInfinite); }

bool CEncoderFFM::EncoderIsOpen() { return session_.main.exists(); }

Status CEncoderFFM::EncoderOpen(const char* target, const XV_AV_PROPS* props, const XV_TIME* time,
                                XMLParse::XMLNodePtr attributes) {
  if (target == nullptr || props == nullptr || !attributes) return E_POINTER;
  if (session_.main.exists()) (void)EncoderClose(kInfinite);
  RETURN_IF_FAILED(OpenSession(session_, target, *props, time, attributes));
  if (session_.videoBuffers < 1 || session_.VideoHolder() == nullptr) return S_OK;
  const Status started = worker_.Start(this, &CEncoderFFM::WorkerMain);
  if (started.Failed()) Cleanup(session_);
  return started;
}

Status CEncoderFFM::EncoderPut(const EncoderInput& input) {
  const Status result = PutFrame(session_, *this, input);
  // An output that could not be opened has been cleaned up; the worker has nothing left to serve.
  if (!session_.main.exists()) (void)worker_.Stop(kWorkerGrace, true);
  return result;
}

void CEncoderFFM::WorkerMain() {
  while (worker_.IsRunning()) {
    if (!worker_.WaitWake(kInfinite)) continue;
    bool more = false;
    const auto frame = session_.queue.Pop(&more);
    if (!frame) continue;
    session_.stats->videoDeque.store(static_cast<std::int64_t>(session_.queue.Size()),
                                     std::memory_order_relaxed);
    if (more) worker_.Wake();
    VideoStage(session_, *frame);
    if (!frame->frame) break;
  }
}

// The end mark goes through the queue, so that every frame ahead of it is encoded first.
void CEncoderFFM::Drain(std::uint32_t timeout) {
  if (session_.VideoHolder() == nullptr) {
    AudioStage(session_, true);
  } else if (worker_.State() == ThreadState::kNone) {
    VideoStage(session_, {});
  } else {
    session_.queue.Push({});
    worker_.Wake();
    (void)worker_.AwaitEnd(timeout);
  }
}

Status CEncoderFFM::EncoderClose(std::uint32_t timeout) {
  const bool wasOpen = session_.isOpen.exchange(false);
  if (!session_.main.exists()) return S_FALSE;
  if (wasOpen && !session_.needHeader) Drain(timeout);
  // A worker that is still at work holds what comes next: the trailer's muxer and all contexts.
  (void)worker_.Stop(kWorkerGrace, true);
  Status result;
  if (!session_.needHeader) result = FinishMain(session_);
  Cleanup(session_);
  return result.Failed() ? result : Status(S_OK);
}

}  // namespace xv
