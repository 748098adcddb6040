#pragma once

#include "base/status.h"
#include "contracts/encoder_base.h"
#include "platform/thread.h"
#include "session/session.h"

namespace xv {

// What intake asks of the conductor.
class IntakeOwner {
 public:
  virtual Status CloseEncoder(std::uint32_t timeout) = 0;
  virtual XvThreadBase& Worker() = 0;

 protected:
  ~IntakeOwner() = default;
};

// Takes one frame of the host: opens the outputs with the first one, watches the disk, hands the
// sound to the audio buffer, prepares the picture and queues it, or encodes it right here.
//   S_OK            taken.
//   S_FALSE         dropped or skipped.
//   XV_E_NOT_OPEN   not open, or closed while this call waited for room.
//   XV_E_DISK_FULL  too little free space; the encoder has been closed.
//   E_UNEXPECTED    the worker stopped while this call waited for room.
//   others          the worker's earlier failure, or this frame's.
Status PutFrame(Session& session, IntakeOwner& owner, const EncoderInput& input);

}  // namespace xv
