#pragma once

#include <functional>
#include <optional>

#include "contracts/encoder_base.h"
#include "platform/thread.h"
#include "session/session.h"

namespace xv {

// The encoder of the main path: a conductor over the stages open, intake, video stage, audio stage,
// packet delivery and output files, which work on the parts of one Session. The worker runs from
// the end of open, when there is a video stream and a queue, to the end of close.
class CEncoderFFM final : public XvEncoderBaseLegacy {
 public:
  // `stats` outlives the encoder. `stopsAtOnce` (null: never) is asked on any thread while a stop
  // runs: whether it gives up what is not encoded yet.
  explicit CEncoderFFM(SessionStats& stats, std::function<bool()> stopsAtOnce = {});
  ~CEncoderFFM() override;

  bool EncoderIsOpen() override;
  Status EncoderOpen(const char* target, const XV_AV_PROPS* props, const XV_TIME* time,
                     XMLParse::XMLNodePtr attributes) override;
  // Takes one frame of the host: opens the outputs with the first one, watches the disk, hands the
  // sound on, prepares the picture and queues it, or encodes it right here.
  //   S_OK            taken.
  //   S_FALSE         dropped or skipped.
  //   XV_E_NOT_OPEN   not open, or closed while this call waited for room.
  //   XV_E_DISK_FULL  too little free space; a thread closes the encoder, which EncoderClose and
  //                   the next open wait for.
  //   E_UNEXPECTED    the worker stopped while this call waited for room.
  //   others          the worker's earlier failure, or this frame's.
  Status EncoderPut(const EncoderInput& input) override;
  Status EncoderClose(std::uint32_t timeout) override;

 private:
  Status OpenWithFirstFrame();
  Status TakeFrame(const EncoderInput& input);
  Status TakePicture(const EncoderInput& input);
  // Queues one picture, waiting for room, or encodes it where there is no queue.
  Status QueuePicture(const EncoderInput& input);
  Status Submit(const QueuedFrame& frame);
  void NoteQueue();
  // `count` repeats of the picture that was taken last, from the stamp `pts` on.
  Status Repeat(std::int64_t count, std::int64_t pts);
  std::int64_t HoldLastPicture();
  void FillSound(std::int64_t end);
  bool UsesQueue() const;
  bool StopsAtOnce() const;
  // One pass of the stages: a picture, the sound that goes with it, the side files.
  void EncodePass(const QueuedFrame& frame);
  void EncodeSoundAlone();
  std::optional<QueuedFrame> NextFrame();
  void WorkerMain();
  void Drain(std::uint32_t timeout);
  void AwaitWorker(std::uint32_t timeout);
  void CloseBeside();
  void CloserMain();
  Status Close(std::uint32_t timeout, bool wasOpen);

  Session session_;
  XvThread<CEncoderFFM> worker_;
  XvThread<CEncoderFFM> closer_;  // after the disk watch
};

}  // namespace xv
