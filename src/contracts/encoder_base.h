#pragma once

#include <cstdint>

#include "base/auto_obj_base.h"
#include "base/status.h"
#include "tree/node.h"
#include "xvwriter/frames.h"

namespace xv {

// What one EncoderPut carries. The pointers are borrowed for the call.
struct EncoderInput {
  const XV_AV_PROPS* props;
  const XV_TIME* time;  // corrected
  std::uint32_t videoSize;
  const std::uint8_t* video;
  std::uint32_t audioSize;
  const std::uint8_t* audio;
  IXvFrame* frame;
  bool encodedPicture = false;  // the frame carries its picture as a packet that is passed on
};

// The contract that both encoders meet. One host thread at a time.
class XvEncoderBaseLegacy : public AutoObjBase<XvEncoderBaseLegacy, IUnknown> {
 public:
  ~XvEncoderBaseLegacy() override;

  // A muxing context exists.
  virtual bool EncoderIsOpen() = 0;
  // Prepares the output; nothing is written before the first frame. `time` may be null.
  // The session node is read and copied, never kept.
  virtual Status EncoderOpen(const char* target, const XV_AV_PROPS* props, const XV_TIME* time,
                             XMLParse::XMLNodePtr attributes) = 0;
  virtual Status EncoderPut(const EncoderInput& input) = 0;
  // Drains and finishes the output. `timeout` in milliseconds bounds the wait for the worker.
  virtual Status EncoderClose(std::uint32_t timeout) = 0;
};

}  // namespace xv
