#pragma once

#include <optional>
#include <vector>

#include "component/encoder_channel.h"
#include "contracts/encoder_base.h"

namespace xv {

// The encoder of the component path, behind the contract that both encoders meet: no queue and no
// thread, everything happens within the host's call. One host thread at a time.
class XvEncoderFFM2 final : public XvEncoderBaseLegacy {
 public:
  // `trackMask`: counts in place of the frames' own. The report outlives this.
  XvEncoderFFM2(std::optional<std::uint32_t> trackMask, PathReport& report)
      : trackMask_(trackMask), report_(report) {}
  ~XvEncoderFFM2() override;

  bool EncoderIsOpen() override { return !channels_.empty(); }
  // XV_E_ALREADY_OPEN: one open channel at a time.
  Status EncoderOpen(const char* target, const XV_AV_PROPS* props, const XV_TIME* time,
                     XMLParse::XMLNodePtr attributes) override;
  // The frame gets its corrected time. XV_E_NOT_OPEN: no channel, or a frame without IXfFrame.
  Status EncoderPut(const EncoderInput& input) override;
  // S_FALSE: nothing was open.
  Status EncoderClose(std::uint32_t timeout) override;

 private:
  Status PutFrame(IXfFrame* frame);

  const std::optional<std::uint32_t> trackMask_;
  PathReport& report_;
  std::vector<Ref<XvEncoderChannel>> channels_;
};

// The packet that holds a frame's picture, or null.
Ref<IXfPacket> EncodedPacketOf(IUnknown* frame);

}  // namespace xv
