#pragma once

#include <cstddef>
#include <cstdint>

#include "support/vendor/nvenc_offer.h"

// What the header asks of the structures that a client fills. Each fault is a line of the report.
namespace xv::vendor {

class Rules {
 public:
  Rules(const char* call, std::uint32_t api) : call_(call), api_(api) {}

  // "<call>: <text>".
  void Broke(const std::string& text) const;
  // The word of the API of the session: structure number, and the top bit of extended ones.
  bool Version(std::uint32_t got, unsigned number, const char* structure,
               bool extended = false) const;
  void Zero(const void* data, std::size_t bytes, const char* member) const;
  // Members that came with that major version of the API.
  bool Since(unsigned major) const { return (api_ & 0xFF) >= major; }

 private:
  const char* call_;
  std::uint32_t api_;
};

NVENCSTATUS CheckInitialize(const Rules& rules, const Settings& settings, std::uint32_t api,
                            const NV_ENC_INITIALIZE_PARAMS& params);
NVENCSTATUS CheckPicture(const Rules& rules, bool hevc, const NV_ENC_PIC_PARAMS& picture);
NVENCSTATUS CheckCreateInput(const Rules& rules, const NV_ENC_CREATE_INPUT_BUFFER& buffer);
NVENCSTATUS CheckCreateOutput(const Rules& rules, const NV_ENC_CREATE_BITSTREAM_BUFFER& buffer);
NVENCSTATUS CheckLockInput(const Rules& rules, const NV_ENC_LOCK_INPUT_BUFFER& lock);
NVENCSTATUS CheckLockOutput(const Rules& rules, const NV_ENC_LOCK_BITSTREAM& lock);
NVENCSTATUS CheckSequence(const Rules& rules, const NV_ENC_SEQUENCE_PARAM_PAYLOAD& payload);
NVENCSTATUS CheckOpen(const Rules& rules, const NV_ENC_OPEN_ENCODE_SESSION_EX_PARAMS& params);

}  // namespace xv::vendor
