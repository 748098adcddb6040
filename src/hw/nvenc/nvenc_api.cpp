#include "hw/nvenc/nvenc_api.h"

#include <cstring>
#include <span>
#include <string_view>

namespace xv {
namespace {

constexpr const char* kErrorNames[] = {"NV_ENC_SUCCESS",
                                       "NV_ENC_ERR_NO_ENCODE_DEVICE",
                                       "NV_ENC_ERR_UNSUPPORTED_DEVICE",
                                       "NV_ENC_ERR_INVALID_ENCODERDEVICE",
                                       "NV_ENC_ERR_INVALID_DEVICE",
                                       "NV_ENC_ERR_DEVICE_NOT_EXIST",
                                       "NV_ENC_ERR_INVALID_PTR",
                                       "NV_ENC_ERR_INVALID_EVENT",
                                       "NV_ENC_ERR_INVALID_PARAM",
                                       "NV_ENC_ERR_INVALID_CALL",
                                       "NV_ENC_ERR_OUT_OF_MEMORY",
                                       "NV_ENC_ERR_ENCODER_NOT_INITIALIZED",
                                       "NV_ENC_ERR_UNSUPPORTED_PARAM",
                                       "NV_ENC_ERR_LOCK_BUSY",
                                       "NV_ENC_ERR_NOT_ENOUGH_BUFFER",
                                       "NV_ENC_ERR_INVALID_VERSION",
                                       "NV_ENC_ERR_MAP_FAILED",
                                       "NV_ENC_ERR_NEED_MORE_INPUT",
                                       "NV_ENC_ERR_ENCODER_BUSY",
                                       "NV_ENC_ERR_EVENT_NOT_REGISTERD",
                                       "NV_ENC_ERR_GENERIC",
                                       "NV_ENC_ERR_INCOMPATIBLE_CLIENT_KEY",
                                       "NV_ENC_ERR_UNIMPLEMENTED",
                                       "NV_ENC_ERR_RESOURCE_REGISTER_FAILED",
                                       "NV_ENC_ERR_RESOURCE_NOT_REGISTERED",
                                       "NV_ENC_ERR_RESOURCE_NOT_MAPPED"};
static_assert(std::size(kErrorNames) == NV_ENC_ERR_RESOURCE_NOT_MAPPED + 1);

struct Advice {
  int code;
  std::string_view call;  // "": any
  const char* words;
};
constexpr Advice kAdvice[] = {
    {NV_ENC_ERR_OUT_OF_MEMORY, "nvEncOpenEncodeSessionEx",
     "the driver allows no more encoding sessions at once, or the device's memory is full"},
    {NV_ENC_ERR_OUT_OF_MEMORY, "", "the device's memory is full"},
    {NV_ENC_ERR_INCOMPATIBLE_CLIENT_KEY, "", "the driver allows no more encoding sessions at once"},
    {NV_ENC_ERR_NO_ENCODE_DEVICE, "", "the device has no encoder"},
    {NV_ENC_ERR_UNSUPPORTED_DEVICE, "", "the device has no encoder that this driver can use"},
    {NV_ENC_ERR_DEVICE_NOT_EXIST, "", "the device is lost; a new recording starts it again"},
    {NV_ENC_ERR_INVALID_VERSION, "",
     "the driver does not speak this version; another one is needed"},
};

}  // namespace

bool SameGuid(const GUID& a, const GUID& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

const char* NvencErrorName(int code) {
  const std::span names(kErrorNames);
  if (code < 0 || code >= static_cast<int>(names.size())) return "an unknown error";
  return names[static_cast<std::size_t>(code)];
}

std::string NvencErrorText(const char* call, int code) {
  std::string text =
      std::string(call) + ": " + NvencErrorName(code) + " (" + std::to_string(code) + ")";
  for (const Advice& advice : kAdvice) {
    if (advice.code != code || (!advice.call.empty() && advice.call != call)) continue;
    return text + ": " + advice.words;
  }
  return text;
}

}  // namespace xv
