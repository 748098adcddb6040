#pragma once

#include "contracts/encoder_base.h"
#include "platform/thread.h"
#include "session/intake.h"
#include "session/session.h"

namespace xv {

// The encoder of the main path: a conductor over the stages open, intake, video stage, audio stage,
// packet writing and output files, which share one Session. The worker runs from the end of open,
// when there is a video stream and a queue, to the end of close.
class CEncoderFFM final : public XvEncoderBaseLegacy, private IntakeOwner {
 public:
  // `stats` outlives the encoder. `ownNode` may be null.
  CEncoderFFM(SessionStats& stats, XMLParse::XMLNodePtr ownNode);
  ~CEncoderFFM() override;

  bool EncoderIsOpen() override;
  Status EncoderOpen(const char* target, const XV_AV_PROPS* props, const XV_TIME* time,
                     XMLParse::XMLNodePtr attributes) override;
  Status EncoderPut(const EncoderInput& input) override;
  Status EncoderClose(std::uint32_t timeout) override;

 private:
  Status CloseEncoder(std::uint32_t timeout) override { return EncoderClose(timeout); }
  XvThreadBase& Worker() override { return worker_; }
  void WorkerMain();
  void Drain(std::uint32_t timeout);

  Session session_;
  XvThread<CEncoderFFM> worker_;
};

}  // namespace xv
